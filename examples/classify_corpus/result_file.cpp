#include "result_file.h"

#include <zam/zam.h>

#include <fstream>
#include <system_error>
#include <utility>

#include "library_path.h"
#include "part_path.h"
#include "result_form.h"
#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;

namespace {

ZaM::wstring Wide(std::string const& printable) {
  return DecodeUtf8(printable).value_or(ZaM::wstring());
}

void WriteClasses(Findings const& findings, ZaM::ZamXmlOutStream& stream) {
  for (std::size_t id = 1; id <= findings.ClassCount(); ++id) {
    stream.CreateNode(form::classElement);
    stream.AddProperty(form::id, id);
    stream.AddProperty(form::name, Wide(findings.ClassNames()[id]));
    stream.CloseNode(form::classElement);
  }
}

void WriteDocument(TestedDocument const& document, ZaM::ZamXmlOutStream& stream) {
  stream.CreateNode(form::document);
  stream.AddProperty(form::path, Wide(document.name));
  stream.AddProperty(form::classId, document.classId);
  document.Result().Save(form::result, &stream);
  stream.CloseNode(form::document);
}

void WriteFolds(Findings const& findings, ZaM::ZamXmlOutStream& stream) {
  auto document = findings.Tested().begin();
  for (auto const& [number, size] : findings.folds) {
    stream.CreateNode(form::fold);
    stream.AddProperty(form::number, number);
    stream.AddProperty(form::learned, size.learned);
    stream.AddProperty(form::tested, size.tested);
    for (; document != findings.Tested().end() && document->fold == number; ++document)
      WriteDocument(*document, stream);
    stream.CloseNode(form::fold);
  }
}

void WriteRoot(Findings const& findings, ZaM::ZamXmlOutStream& stream) {
  stream.CreateNode(form::root);
  stream.AddProperty(form::versionNumber, form::version);
  stream.AddProperty(form::corpus, Wide(findings.corpus));
  stream.AddProperty(form::documents, findings.documents);
  stream.AddProperty(form::minWordLength, findings.settings.minWordLength);
  stream.AddProperty(form::digits, findings.settings.useDigits);
  stream.AddProperty(form::maxResults, findings.settings.maxResults);
  WriteClasses(findings, stream);
  WriteFolds(findings, stream);
  stream.CloseNode(form::root);
}

}  // namespace

ResultFile::ResultFile(fs::path path) : target(std::move(path)) {
  if (target.empty()) return;
  std::error_code unknown;
  fs::file_status const there = fs::status(target, unknown);
  if (fs::exists(there) && !fs::is_regular_file(there)) fail("it is there, and no file");
  fs::path place = PartOf(target);
  if (!LibraryPath(place)) fail("its name isn't UTF-8, or has a backslash");
  if (!std::ofstream(place, std::ios::app)) fail("its folder can't be written to");
  part = std::move(place);
}

ResultFile::~ResultFile() {
  std::error_code ignored;
  if (!part.empty()) fs::remove(part, ignored);
}

void ResultFile::Write(Findings const& findings) {
  if (part.empty()) return;
  bool const isCompressed = target.extension() == ".gz";
  ZaM::ZamXmlOutStream stream(isCompressed ? ZaM::StorageCompressed : ZaM::StorageFile, *LibraryPath(part));
  WriteRoot(findings, stream);
  stream.Close();
  if (!stream.IsWritten()) fail("the disk may be full");
  std::error_code error;
  fs::rename(part, target, error);
  if (error) fail(error.message());
  part.clear();
}

void ResultFile::fail(std::string const& reason) const {
  throw RunError{"can't write " + Printable(target.native()) + ": " + reason};
}

}  // namespace classify

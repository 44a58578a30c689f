#include "result_file.h"

#include <zam/zam.h>

#include <utility>

#include "library_path.h"
#include "result_form.h"

namespace classify {

namespace fs = std::filesystem;

namespace {

void WriteClasses(Findings const& findings, ZaM::ZamXmlOutStream& stream) {
  for (std::size_t id = 1; id <= findings.ClassCount(); ++id) {
    stream.CreateNode(form::classElement);
    stream.AddProperty(form::id, id);
    stream.AddProperty(form::name, ZaM::FromUtf8(findings.ClassNames()[id]));
    stream.CloseNode(form::classElement);
  }
}

void WriteDocument(TestedDocument const& document, ZaM::ZamXmlOutStream& stream) {
  stream.CreateNode(form::document);
  stream.AddProperty(form::path, ZaM::FromUtf8(document.name));
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
  stream.AddProperty(form::corpus, ZaM::FromUtf8(findings.corpus));
  stream.AddProperty(form::documents, findings.documents);
  stream.AddProperty(form::minWordLength, findings.settings.minWordLength);
  stream.AddProperty(form::digits, findings.settings.useDigits);
  stream.AddProperty(form::maxResults, findings.settings.maxResults);
  WriteClasses(findings, stream);
  WriteFolds(findings, stream);
  stream.CloseNode(form::root);
}

}  // namespace

ResultFile::ResultFile(fs::path const& path) : isCompressed(path.extension() == ".gz"), file(path) {
  if (!LibraryPath(file.Part())) file.Fail("the name of its folder isn't UTF-8, or has a backslash");
}

PendingFile ResultFile::Write(Findings const& findings) && {
  ZaM::ZamXmlOutStream stream(isCompressed ? ZaM::StorageCompressed : ZaM::StorageFile, *LibraryPath(file.Part()));
  WriteRoot(findings, stream);
  stream.Close();
  if (!stream.IsWritten()) file.Fail("the disk may be full");
  return std::move(file);
}

}  // namespace classify

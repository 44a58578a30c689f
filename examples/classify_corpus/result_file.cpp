#include "result_file.h"

#include <system_error>
#include <utility>
#include <vector>

#include "number_text.h"
#include "run_error.h"
#include "tags.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;

ResultFile::ResultFile(fs::path path, Corpus const& source) : corpus(source), target(std::move(path)) {
  if (target.empty()) return;
  std::error_code unknown;
  fs::file_status const there = fs::status(target, unknown);
  if (fs::exists(there) && !fs::is_regular_file(there)) fail("it is there, and no file");
  fs::path place = target;
  place += ".part";
  stream.open(place, std::ios::binary | std::ios::trunc);
  if (!stream) fail("its folder can't be written to");
  part = std::move(place);
}

ResultFile::~ResultFile() {
  std::error_code ignored;
  if (!part.empty()) fs::remove(part, ignored);
}

void ResultFile::Add(DocumentFile const& file, ZaM::DocumentNode& node) {
  if (part.empty()) return;
  std::vector<ZaM::IndexedResult> best;
  if (auto* result = dynamic_cast<ZaM::Result*>(node.GetRepresentation(ResultTag()))) best = result->GetBestResults(2);
  best.resize(2);
  stream << corpus.NameOf(file) << '\t' << corpus.classNames[file.classId] << field(best[0]) << field(best[1]) << '\n';
}

void ResultFile::Commit() {
  if (part.empty()) return;
  stream.close();
  if (!stream) fail("the disk may be full");
  std::error_code error;
  fs::rename(part, target, error);
  if (error) fail(error.message());
  part.clear();
}

std::string ResultFile::field(ZaM::IndexedResult const& result) const {
  return '\t' + corpus.classNames[result.GetIndex()] + '\t' + Fixed(result.GetValue(), 4);
}

void ResultFile::fail(std::string const& reason) const {
  throw RunError{"can't write " + Printable(target.native()) + ": " + reason};
}

}  // namespace classify

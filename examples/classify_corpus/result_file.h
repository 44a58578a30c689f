// The file that keeps what a run found.
#ifndef CLASSIFY_CORPUS_RESULT_FILE_H
#define CLASSIFY_CORPUS_RESULT_FILE_H

#include <filesystem>
#include <string>

#include "findings.h"

namespace classify {

/// One XML document, as docs/formats.md describes it; a gzip file if its name ends in ".gz". Read by result_loader.h.
///
/// It is written beside its place, and moves there when it is complete: no other program ever sees half of it.
class ResultFile {
 public:
  /// Makes sure that the file can be made, so that a long run isn't lost. An empty name writes nothing. Throws RunError
  /// if it can't.
  explicit ResultFile(std::filesystem::path path);
  ResultFile(ResultFile const&) = delete;
  ResultFile& operator=(ResultFile const&) = delete;
  /// Takes away what didn't get into its place.
  ~ResultFile();

  /// Writes all of it, and puts it in its place. Throws RunError if that fails, on a full disk too.
  void Write(Findings const& findings);

 private:
  [[noreturn]] void fail(std::string const& reason) const;

  std::filesystem::path target;
  std::filesystem::path part;  // where it is written; empty before and after
};

}  // namespace classify

#endif

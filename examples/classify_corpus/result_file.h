// The file that keeps what a run found.
#ifndef CLASSIFY_CORPUS_RESULT_FILE_H
#define CLASSIFY_CORPUS_RESULT_FILE_H

#include <filesystem>

#include "findings.h"
#include "pending_file.h"

namespace classify {

/// One XML document, as docs/formats.md describes it; a gzip file if its name ends in ".gz". Read by result_loader.h.
class ResultFile {
 public:
  /// Makes sure that the file can be made, so that a long run isn't lost. Throws RunError if it can't.
  explicit ResultFile(std::filesystem::path const& path);

  /// Writes all of it; what is left to do is to commit it. Throws RunError if that fails, on a full disk too.
  PendingFile Write(Findings const& findings) &&;

 private:
  bool isCompressed;
  PendingFile file;
};

}  // namespace classify

#endif

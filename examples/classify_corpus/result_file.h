// The file with a line for each tested document.
#ifndef CLASSIFY_CORPUS_RESULT_FILE_H
#define CLASSIFY_CORPUS_RESULT_FILE_H

#include <zam/zam.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "corpus.h"

namespace classify {

/// Writes beside its place, and moves there when it is complete: no other program ever sees half of it.
class ResultFile {
 public:
  /// An empty name writes nothing. Throws RunError if the file can't be made.
  ResultFile(std::filesystem::path path, Corpus const& corpus);
  ResultFile(ResultFile const&) = delete;
  ResultFile& operator=(ResultFile const&) = delete;
  /// Takes away what wasn't committed.
  ~ResultFile();

  /// A line for a document with this node: document, class, best class, confidence, second class, confidence. A class
  /// is "-" where there is none. Thresholds aren't applied: that is up to the reader.
  void Add(DocumentFile const& file, ZaM::DocumentNode& node);

  /// Puts the file in its place. Throws RunError if that fails.
  void Commit();

 private:
  std::string field(ZaM::IndexedResult const& result) const;
  [[noreturn]] void fail(std::string const& reason) const;

  Corpus const& corpus;
  std::filesystem::path target;
  std::filesystem::path part;  // where it is written; empty before and after
  std::ofstream stream;
};

}  // namespace classify

#endif

// What became of documents, as records that other programs read.
#ifndef CLASSIFY_CORPUS_RECORD_FORMAT_H
#define CLASSIFY_CORPUS_RECORD_FORMAT_H

#include <string>

#include "decision.h"
#include "learned_classes.h"
#include "options.h"

namespace classify {

/// Makes the parts of one output, as docs/formats.md describes them; all in UTF-8, paths made printable.
class RecordFormat {
 public:
  RecordFormat(Options const& given, LearnedClasses const& learned) : options(given), classes(learned) {}

  /// What stands before the first record, and after the last one.
  std::string Opening() const;
  std::string Closing() const;

  /// The record of a document; null stands for the result of one that couldn't be read.
  std::string Record(std::string const& path, ZaM::SparseResult* result) const;

 private:
  std::string Fields(std::string const& path, Decision const* decision) const;
  std::string Json(std::string const& path, Decision const* decision) const;
  std::string Xml(std::string const& path, Decision const* decision, ZaM::SparseResult* result) const;

  Options const& options;
  LearnedClasses const& classes;
};

}  // namespace classify

#endif

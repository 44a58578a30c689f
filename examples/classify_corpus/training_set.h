// The documents that classes learn from.
#ifndef CLASSIFY_CORPUS_TRAINING_SET_H
#define CLASSIFY_CORPUS_TRAINING_SET_H

#include <cstddef>
#include <set>
#include <span>
#include <vector>

#include "word_vector.h"

namespace classify {

/// Vectors over a vocabulary, each with the class of its document. They lie one after the other in memory: learning
/// passes over them again and again.
class TrainingSet {
 public:
  explicit TrainingSet(std::size_t vocabularySize) : termCount(vocabularySize) {}

  /// `vector` may be empty.
  void Add(std::span<WeightedTerm const> vector, unsigned int classId) {
    terms.insert(terms.end(), vector.begin(), vector.end());
    ends.push_back(terms.size());
    classIds.push_back(classId);
  }

  std::size_t Size() const { return classIds.size(); }
  std::size_t TermCount() const { return termCount; }
  /// Of the classes that have a document, ascending.
  std::vector<unsigned int> ClassIds() const {
    std::set<unsigned int> const ids(classIds.begin(), classIds.end());
    return {ids.begin(), ids.end()};
  }
  unsigned int ClassOf(std::size_t document) const { return classIds[document]; }
  std::span<WeightedTerm const> VectorOf(std::size_t document) const {
    std::size_t const begin = document == 0 ? 0 : ends[document - 1];
    return {terms.data() + begin, ends[document] - begin};
  }

 private:
  std::size_t termCount;
  std::vector<WeightedTerm> terms;
  std::vector<std::size_t> ends;  // by document, in `terms`
  std::vector<unsigned int> classIds;
};

}  // namespace classify

#endif

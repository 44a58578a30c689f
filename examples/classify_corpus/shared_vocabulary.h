// The vocabulary of training documents that ranks have read together.
#ifndef CLASSIFY_CORPUS_SHARED_VOCABULARY_H
#define CLASSIFY_CORPUS_SHARED_VOCABULARY_H

#include <array>
#include <cstdint>
#include <vector>

#include "communicator.h"
#include "vocabulary.h"

namespace classify {

/// A rank's part in a vocabulary that nobody has to hold: a stretch of it, and what its own documents need of the rest.
///
/// A rank counts the terms of its documents, and sends each count to the rank in whose stretch of hashes the term lies.
/// That adds the counts up, drops terms that are too rare, numbers the others as a single process would, and answers
/// with their numbers and weights.
class SharedVocabulary {
 public:
  /// `training` are this rank's documents.
  SharedVocabulary(std::vector<Document const*> const& training, Communicator& ranks);

  /// How many terms the whole has.
  std::size_t Size() const { return size; }

  /// What `Vocabulary::Weigh` of the whole gives, for a document that the object was made with.
  std::vector<WeightedTerm> Weigh(Terms const& terms) const;

  /// Terms of one kind, ascending. The stretches of all ranks, one after the other, are the terms of that kind.
  struct Stretch {
    std::vector<std::uint32_t> hashes;
    std::vector<float> weights;
    std::uint32_t begin = 0;  // the number of the first one
  };
  std::array<Stretch, termKindCount> const& Own() const { return own; }

 private:
  void Number(Communicator& ranks);

  std::array<Stretch, termKindCount> own;
  std::size_t size = 0;
  Vocabulary local{{}, {}};            // of this rank's documents
  std::vector<std::uint32_t> numbers;  // in the whole, by those in `local`
};

}  // namespace classify

#endif

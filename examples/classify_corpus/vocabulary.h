// Which terms count, and how much each says.
#ifndef CLASSIFY_CORPUS_VOCABULARY_H
#define CLASSIFY_CORPUS_VOCABULARY_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "corpus_reader.h"
#include "term_extractor.h"
#include "word_vector.h"

namespace classify {

/// In how many documents a term stands.
struct TermCount {
  std::uint32_t hash;
  std::uint32_t documents;
};

/// The terms of a kind that stand in the documents, in the order of their hashes.
std::vector<TermCount> CountTerms(std::vector<Document const*> const& documents, TermKind kind);

/// Whether a term that stands in so many training documents counts at all.
bool IsKnown(TermKind kind, std::uint32_t documents);

/// The part of a term's weight that is the same for all documents, of which there are `total`.
float RarityWeight(TermKind kind, std::uint32_t documents, std::size_t total);

/// The terms of a set of training documents, each with a number from 0 up and a weight.
///
/// A term's weight in a document grows with the logarithm of its count there, and with the logarithm of its rarity in
/// the training documents (tf·idf):
///
///     weight = weight of its kind · (1 + ln count) · (1 + ln(training documents / training documents that have it))
///
/// Then the document's weights are scaled to a vector of length 1, so that long documents weigh as much as short ones.
class Vocabulary {
 public:
  explicit Vocabulary(std::vector<Document const*> const& training);

  /// A vocabulary as it was: its terms, ascending, with the part of their weights that is the same for all documents.
  Vocabulary(std::vector<TermKey> keys, std::vector<float> weights);

  /// How many terms there are.
  std::size_t Size() const { return keys.size(); }

  std::vector<TermKey> const& Keys() const { return keys; }
  std::vector<float> const& Weights() const { return weights; }

  /// The vector of a document, as `WordVector::Create` takes it, with those of its terms that are known.
  std::vector<WeightedTerm> Weigh(Terms const& terms) const;

 private:
  void MakeIndex();
  std::size_t BucketOf(TermKey const& key) const;

  std::vector<TermKey> keys;          // ascending; the place is the term's number
  std::vector<float> weights;         // by number, the part that is the same for all documents
  unsigned int shift = 0;             // of a hash, to its bucket
  std::vector<std::uint32_t> starts;  // by bucket, where its terms begin; one more for the end
};

}  // namespace classify

#endif

// What the classifier knows of a document: which terms stand in it, and how much each says.
#ifndef CLASSIFY_CORPUS_WORD_VECTOR_H
#define CLASSIFY_CORPUS_WORD_VECTOR_H

#include <zam/zam.h>

#include <cstdint>
#include <span>
#include <vector>

namespace classify {

/// A term of a document, by its number in the vocabulary, with its weight.
struct WeightedTerm {
  std::uint32_t index;
  float weight;
};

/// A sparse vector over a vocabulary, for a document's feature chain.
///
/// Invariant: ascending indices, each once; the squares of the weights add up to 1, unless the vector is empty.
/// Empty is how a document without any known term looks: it isn't valid, and the classifier passes it over.
/// Owning:    made by `Create` with a count of 1, ended by `Release`.
class WordVector : public ZaM::Node, public ZaM::Representation, public ZaM::BulkDot {
 public:
  static WordVector* Create(std::vector<WeightedTerm> terms);

  /// The cosine of the angle between two documents over the same vocabulary: 1 for equal ones, 0 for those without a
  /// common term. `other` is a WordVector.
  double dot(ZaM::Representation const& other) const override;

  /// The same for many: laid out by its terms once, this vector needs no search for those of each other one.
  void DotAll(ZaM::Representation const* const* others, std::size_t count, double* products) const override;

  bool IsValid() const override { return !terms.empty(); }
  std::span<WeightedTerm const> Terms() const { return terms; }

 protected:
  explicit WordVector(std::vector<WeightedTerm> given);

 private:
  std::vector<WeightedTerm> terms;
};

}  // namespace classify

#endif

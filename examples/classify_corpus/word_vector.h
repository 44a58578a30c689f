// What the classifier knows of a document: which terms stand in it, and how much each says.
#ifndef CLASSIFY_CORPUS_WORD_VECTOR_H
#define CLASSIFY_CORPUS_WORD_VECTOR_H

#include <zam/zam.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace classify {

/// A term of a document, by its number in the vocabulary, with its weight.
struct WeightedTerm {
  std::uint32_t index;
  float weight;
};

class WordVector;

/// Many vectors by their terms, so that a product with all of them passes over the terms that they don't share.
class TermIndex {
 public:
  explicit TermIndex(std::span<WordVector const* const> vectors);

  /// The product with each of the first `count` vectors.
  void Multiply(std::span<WeightedTerm const> terms, std::size_t count, double* products) const;

 private:
  struct Occurrence {
    std::uint32_t vector;
    float weight;
  };

  std::vector<std::size_t> starts;  // by term, and an end
  std::vector<Occurrence> occurrences;
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

  /// The same for many, by their index where they are the first vectors of one, in its order.
  void DotAll(ZaM::Representation const* const* others, std::size_t count, double* products) const override;

  /// Makes these vectors find each other by an index, which doesn't see what becomes of them.
  static void ShareIndex(std::span<WordVector* const> vectors);

  bool IsValid() const override { return !terms.empty(); }
  std::span<WeightedTerm const> Terms() const { return terms; }

 protected:
  explicit WordVector(std::vector<WeightedTerm> given);

 private:
  static TermIndex const* IndexOf(Representation const* const* vectors, std::size_t count);

  std::vector<WeightedTerm> terms;
  std::shared_ptr<TermIndex const> sharedIndex;  // null unless this vector is in one
  std::size_t place = 0;                         // in the index
};

}  // namespace classify

#endif

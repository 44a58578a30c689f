// What a class has learned: a weight for every term of the vocabulary.
#ifndef CLASSIFY_CORPUS_CLASS_MODEL_H
#define CLASSIFY_CORPUS_CLASS_MODEL_H

#include <zam/zam.h>

#include <vector>

namespace classify {

/// A class of the class tree, and its linear model.
///
///     score(document) = bias + Σ weight[term] · document[term]
///
/// Training aims at a score of 1 for the documents of the class and of -1 for all others, which is therefore the range
/// that the classifier maps to confidences from 0 to 1. Scores may lie beyond it: a confidence above 1 belongs to a
/// document that is even more typical than was asked for.
///
/// Owning: made by `Create` with a count of 1, ended by `Release`.
class ClassModel : public ZaM::DocumentNode, public ZaM::Representation {
 public:
  /// `termWeights` has one number for each term of the vocabulary.
  static ClassModel* Create(unsigned int classId, std::vector<float> termWeights, double bias);

  /// The score of a `WordVector` over the same vocabulary; NaN, which never wins, for anything else.
  double dot(Representation const& document) const override;

  std::vector<float> const& Weights() const { return weights; }
  double Bias() const { return bias; }

  bool IsValid() const override { return !weights.empty(); }
  double GetMinimum() const override { return -1.0; }
  double GetMaximum() const override { return 1.0; }

 protected:
  ClassModel(unsigned int id, std::vector<float> termWeights, double startingScore);

 private:
  std::vector<float> weights;  // by the term's index
  double bias;
};

}  // namespace classify

#endif

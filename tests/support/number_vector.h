// Representations and classes with content, as an application would bring them.
#ifndef TESTS_SUPPORT_NUMBER_VECTOR_H
#define TESTS_SUPPORT_NUMBER_VECTOR_H

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "zam/zam.h"

namespace ZaM::test {

/// A document's representation: numbers, valid if there are any.
class NumberVector : public Node, public Representation {
 public:
  static NumberVector* Create(std::vector<double> numbers) {
    return CreateCounted([&] { return new NumberVector(std::move(numbers)); });
  }

  bool IsValid() const override { return !numbers.empty(); }

  std::vector<double> const numbers;

 protected:
  explicit NumberVector(std::vector<double> given) : numbers(std::move(given)) {}
};

/// A class whose score of a NumberVector is the scalar product with its weights, as far as both go.
class ClassNode : public DocumentNode, public Representation {
 public:
  static ClassNode* Create(unsigned int classId, std::vector<double> weights, double minimum = 1.0,
                           double maximum = 1.0) {
    return CreateCounted([&] { return new ClassNode(classId, std::move(weights), minimum, maximum); });
  }

  double dot(Representation const& other) const override {
    if (score) return score(other);
    auto const& numbers = static_cast<NumberVector const&>(other).numbers;
    std::size_t const size = std::min(weights.size(), numbers.size());
    double sum = -0.0;  // the neutral element, which keeps the sign of a single zero
    for (std::size_t i = 0; i < size; ++i) sum += weights[i] * numbers[i];
    return sum;
  }
  bool IsValid() const override { return valid; }
  double GetMinimum() const override { return minimum; }
  double GetMaximum() const override { return maximum; }

  std::function<double(Representation const&)> score;  // instead of the product, if set
  bool valid = true;

 protected:
  ClassNode(unsigned int id, std::vector<double> given, double low, double high)
      : DocumentNode(id, nullptr), weights(std::move(given)), minimum(low), maximum(high) {}

 private:
  std::vector<double> weights;
  double minimum;
  double maximum;
};

}  // namespace ZaM::test

#endif

#include "zam/algorithms/eigen_iteration.h"

#include <algorithm>
#include <cmath>

namespace ZaM::detail {

bool IsPositive(double value) {
  return value > zeroThreshold && std::isfinite(value);
}

EigenIteration::EigenIteration(CentredGram const& matrix, std::vector<std::int8_t> const& activity,
                               std::size_t vectorCount)
    : product(matrix, activity),
      length(product.Length()),
      count(std::min(vectorCount, length)),
      vectors(count * length),
      images(count * length),
      innerProducts(count) {
  for (std::size_t i = 0; i < count; ++i) innerProducts[i].resize(i + 1);
}

void EigenIteration::LoadVectors(std::vector<std::vector<double>> const& rows) {
  for (std::size_t i = 0; i < count; ++i) {
    double* const vector = vectors.data() + i * length;
    product.Gather(rows[i], vector);
    double const factor = 1.0 / std::sqrt(InnerProduct(vector, vector, length));
    bool const usable = std::isfinite(factor) && factor > 0.0;
    for (std::size_t k = 0; k < length; ++k) vector[k] = usable ? vector[k] * factor : 0.0;
  }
}

unsigned int EigenIteration::Run(double epsilon, unsigned int maxPasses, std::function<void()> const& beforePass) {
  unsigned int passes = 0;
  do {
    beforePass();
    product.Multiply(vectors.data(), count, images.data());
    converged = epsilon > OffDiagonalShare();
    Orthogonalize();
    bool const vanished = !NormalizeImages();
    converged = converged || vanished;
    ++passes;
  } while (!converged && passes != maxPasses);
  return passes;
}

// How far the images are from being orthogonal; not a number if there is nothing to compare with.
double EigenIteration::OffDiagonalShare() {
  double off = 0.0;
  double trace = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      innerProducts[i][j] = InnerProduct(Image(i), Image(j), length);
      off += std::abs(innerProducts[i][j]);
    }
    innerProducts[i][i] = InnerProduct(Image(i), Image(i), length);
    trace += innerProducts[i][i];
  }
  return off / trace;
}

// Modified Gram-Schmidt. A column of inner products is computed anew just before it is used: until then each pivot
// would change it again.
void EigenIteration::Orthogonalize() {
  for (std::size_t pivot = 0; pivot + 1 < count; ++pivot) {
    double const squaredLength = innerProducts[pivot][pivot];
    if (IsPositive(squaredLength)) {
      for (std::size_t j = pivot + 1; j < count; ++j) {
        SubtractScaled(Image(j), innerProducts[j][pivot] / squaredLength, Image(pivot), length);
      }
    }
    for (std::size_t j = pivot + 1; j < count; ++j) {
      innerProducts[j][pivot + 1] = InnerProduct(Image(j), Image(pivot + 1), length);
    }
  }
}

// The images become the next vectors. False if none is left.
bool EigenIteration::NormalizeImages() {
  bool anyLeft = false;
  for (std::size_t i = 0; i < count; ++i) {
    double const squaredLength = innerProducts[i][i];
    bool const usable = squaredLength >= zeroThreshold && std::isfinite(squaredLength);
    double const factor = usable ? 1.0 / std::sqrt(squaredLength) : 0.0;
    double* const vector = vectors.data() + i * length;
    // Not a product with 0, which undefined numbers would survive.
    for (std::size_t k = 0; k < length; ++k) vector[k] = usable ? factor * Image(i)[k] : 0.0;
    anyLeft = anyLeft || usable;
  }
  return anyLeft;
}

double EigenIteration::Eigenvalue(std::size_t vector) const {
  if (vector >= count) return 0.0;
  double const squaredLength = innerProducts[vector][vector];
  return IsPositive(squaredLength) ? std::sqrt(squaredLength) : 0.0;
}

void EigenIteration::StoreVectors(std::vector<std::vector<double>>& rows) const {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    product.Scatter(i < count ? vectors.data() + i * length : nullptr, rows[i]);
  }
}

}  // namespace ZaM::detail

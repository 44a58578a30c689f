#include "zam/algorithms/eigen_iteration.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace ZaM::detail {

bool IsPositive(double value) {
  return value > ZeroThreshold && std::isfinite(value);
}

EigenIteration::EigenIteration(CentredGram const& matrix, std::vector<std::int8_t> const& activity,
                               std::size_t vectorCount)
    : gram(matrix) {
  for (std::size_t i = 0; i < activity.size(); ++i) {
    if (activity[i] > 0) order.push_back(i);
  }
  length = order.size();
  count = std::min(vectorCount, length);
  std::sort(order.begin(), order.end(),
            [&](auto a, auto b) { return std::pair(activity[a], a) < std::pair(activity[b], b); });

  std::int8_t former = 0;
  for (std::size_t const example : order) {
    addMember(example, activity[example], former);
    rowSums.push_back(gram.rowSums[example]);
  }
  vectors.resize(count * length);
  images.resize(count * length);
  innerProducts.resize(count);
  for (std::size_t i = 0; i < count; ++i) innerProducts[i].resize(i + 1);
}

void EigenIteration::addMember(std::size_t example, std::int8_t activity, std::int8_t& former) {
  if (activity != former) {
    std::size_t const first = groups.empty() ? 0 : groups.back().first + groups.back().size;
    groups.push_back({.first = first, .size = 0, .members = {}});
    former = activity;
  }
  Group& group = groups.back();
  if (group.members.empty() || group.members.back().end != example) group.members.push_back({example, example});
  ++group.members.back().end;
  ++group.size;
}

void EigenIteration::LoadVectors(std::vector<std::vector<double>> const& rows) {
  for (std::size_t i = 0; i < count; ++i) {
    double* const vector = vectors.data() + i * length;
    for (std::size_t k = 0; k < length; ++k) vector[k] = order[k] < rows[i].size() ? rows[i][order[k]] : 0.0;
    double const factor = 1.0 / std::sqrt(InnerProduct(vector, vector, length));
    bool const usable = std::isfinite(factor) && factor > 0.0;
    for (std::size_t k = 0; k < length; ++k) vector[k] = usable ? vector[k] * factor : 0.0;
  }
}

unsigned int EigenIteration::Run(double epsilon, unsigned int maxPasses) {
  unsigned int passes = 0;
  bool converged = false;
  bool vanished = false;
  do {
    gramTimesEigenVectors();
    converged = epsilon > offDiagonalShare();
    orthogonalize();
    vanished = !normalizeImages();
    ++passes;
  } while (!converged && !vanished && passes != maxPasses);
  return passes;
}

void EigenIteration::gramTimesEigenVectors() {
  for (Group const& group : groups) {
    MultiplySymmetric(gram.lowerTriangle, group.members, vectors.data() + group.first, images.data() + group.first,
                      count, length);
    centreImages(group);
  }
}

// The centring of the matrix is of rank two, so it needn't be done entry by entry: with s the sum of the vector and q
// its inner product with the row sums, row j of the image loses ((r[j] - T/n) · s + q) / n.
void EigenIteration::centreImages(Group const& group) {
  double const inverse = 1.0 / gram.exampleCount;
  double const* const sums = rowSums.data() + group.first;
  for (std::size_t i = 0; i < count; ++i) {
    double const* const vector = vectors.data() + i * length + group.first;
    double const vectorSum = std::accumulate(vector, vector + group.size, 0.0);
    double const weightedSum = InnerProduct(vector, sums, group.size);
    double* const row = image(i) + group.first;
    for (std::size_t j = 0; j < group.size; ++j) {
      row[j] = inverse * (row[j] - inverse * ((sums[j] - inverse * gram.total) * vectorSum + weightedSum));
    }
  }
}

// How far the images are from being orthogonal; not a number if there is nothing to compare with.
double EigenIteration::offDiagonalShare() {
  double off = 0.0;
  double trace = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      innerProducts[i][j] = InnerProduct(image(i), image(j), length);
      off += std::abs(innerProducts[i][j]);
    }
    innerProducts[i][i] = InnerProduct(image(i), image(i), length);
    trace += innerProducts[i][i];
  }
  return off / trace;
}

// Modified Gram-Schmidt. A column of inner products is computed anew just before it is used: until then each pivot
// would change it again.
void EigenIteration::orthogonalize() {
  for (std::size_t pivot = 0; pivot + 1 < count; ++pivot) {
    double const squaredLength = innerProducts[pivot][pivot];
    if (IsPositive(squaredLength)) {
      for (std::size_t j = pivot + 1; j < count; ++j) {
        SubtractScaled(image(j), innerProducts[j][pivot] / squaredLength, image(pivot), length);
      }
    }
    for (std::size_t j = pivot + 1; j < count; ++j) {
      innerProducts[j][pivot + 1] = InnerProduct(image(j), image(pivot + 1), length);
    }
  }
}

// The images become the next vectors. False if none is left.
bool EigenIteration::normalizeImages() {
  bool anyLeft = false;
  for (std::size_t i = 0; i < count; ++i) {
    double const squaredLength = innerProducts[i][i];
    bool const usable = squaredLength >= ZeroThreshold && std::isfinite(squaredLength);
    double const factor = usable ? 1.0 / std::sqrt(squaredLength) : 0.0;
    double* const vector = vectors.data() + i * length;
    // Not a product with 0, which undefined numbers would survive.
    for (std::size_t k = 0; k < length; ++k) vector[k] = usable ? factor * image(i)[k] : 0.0;
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
    for (std::size_t k = 0; k < length; ++k) rows[i][order[k]] = i < count ? vectors[i * length + k] : 0.0;
  }
}

}  // namespace ZaM::detail

// Under a name of its own: where a program uses Eigen too and compiles it for another processor, the linker mustn't
// take one copy of a template for both.
#define Eigen ZamEigen  // NOLINT(readability-identifier-naming)
#include "zam/algorithms/small_eigenproblem.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <numeric>

namespace ZaM::detail {

EigenPairs SolveSmallEigenproblem(double const* matrix, std::size_t size, std::size_t stride) {
  auto const count = static_cast<Eigen::Index>(size);
  Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> const solver(
      Eigen::Map<Eigen::MatrixXd const, 0, Eigen::OuterStride<>>(
          matrix, count, count, Eigen::OuterStride<>(static_cast<Eigen::Index>(stride))));
  auto const& values = solver.eigenvalues();
  if (solver.info() != Eigen::Success || !values.allFinite()) return {};

  std::vector<Eigen::Index> order(size);
  std::iota(order.begin(), order.end(), Eigen::Index{0});
  std::sort(order.begin(), order.end(), [&](auto a, auto b) { return std::abs(values[a]) > std::abs(values[b]); });
  EigenPairs pairs;
  for (Eigen::Index const i : order) {
    pairs.values.push_back(values[i]);
    auto const vector = solver.eigenvectors().col(i);
    pairs.vectors.insert(pairs.vectors.end(), vector.data(), vector.data() + count);
  }
  return pairs;
}

}  // namespace ZaM::detail

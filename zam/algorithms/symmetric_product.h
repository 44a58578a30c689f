// Dense arithmetic of the principal components: a symmetric matrix times some vectors, and what goes with it.
#ifndef ZAM_ALGORITHMS_SYMMETRIC_PRODUCT_H
#define ZAM_ALGORITHMS_SYMMETRIC_PRODUCT_H

#include <cstddef>
#include <vector>

#include "zam/algorithms/symmetric_kernel.h"

namespace ZaM::detail {

/// Indices from `begin` up to, but without, `end`.
struct IndexRange {
  std::size_t begin;
  std::size_t end;
};

/// Multiplies the part of a symmetric matrix that belongs to `members` with `vectorCount` vectors:
///
///     products[p * stride + i] = sum over k of G[m(i)][m(k)] * vectors[p * stride + k]
///
/// where m(0), m(1), … are the indices in `members`, in rising order, and i and k count them from 0. `members` are
/// disjoint and rising; `stride` is at least their number.
///
/// G is held as its lower triangle: row i of a member has at least i + 1 entries. Only entries of members with members
/// are read. `products` doesn't overlap `vectors`; nothing after the last member is written.
/// Throws std::bad_alloc before anything is written.
void MultiplySymmetric(std::vector<std::vector<double>> const& lowerTriangle, std::vector<IndexRange> const& members,
                       double const* vectors, double* products, std::size_t vectorCount, std::size_t stride,
                       SymmetricKernel const& kernel = BestSymmetricKernel());

[[nodiscard]] double InnerProduct(double const* x, double const* y, std::size_t count);

/// y -= factor * x. The two don't overlap.
void SubtractScaled(double* y, double factor, double const* x, std::size_t count);

/// products[r] += the inner product of row r and y.
void AddInnerProducts(RowBlock rows, double const* y, std::size_t count, double* products);

/// y -= the sum of factors[r] * row r. `y` is none of the rows.
void SubtractScaledRows(double* y, double const* factors, RowBlock rows, std::size_t count);

}  // namespace ZaM::detail

#endif

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

/// The same for two vectors and members without gaps, summed in another order: faster while a cache holds the matrix.
void MultiplySymmetricPair(std::vector<std::vector<double>> const& lowerTriangle, IndexRange members,
                           double const* vectors, double* products, std::size_t stride,
                           SymmetricKernel const& kernel = BestSymmetricKernel());

[[nodiscard]] double InnerProduct(double const* x, double const* y, std::size_t count);

/// y -= factor * x. The two don't overlap.
void SubtractScaled(double* y, double factor, double const* x, std::size_t count);

/// products[p * stride + r] += the inner product of row r and vector p.
void AddInnerProducts(RowBlock rows, RowBlock vectors, std::size_t count, double* products, std::size_t stride);

/// Subtracts from vector p the sum of factors[p * stride + r] * row r. No vector is one of the rows.
void SubtractScaledRows(MutableRows vectors, double const* factors, std::size_t stride, RowBlock rows,
                        std::size_t count);

/// Rotates rows of `width` numbers, a multiple of 4, that lie side by side, by the last rotation first.
void RotateRows(double* rows, std::size_t width, std::vector<PlaneRotation> const& rotations);

}  // namespace ZaM::detail

#endif

// All eigenvectors of a small symmetric matrix; internal.
#ifndef ZAM_ALGORITHMS_SMALL_EIGENPROBLEM_H
#define ZAM_ALGORITHMS_SMALL_EIGENPROBLEM_H

#include <cstddef>
#include <vector>

namespace ZaM::detail {

/// Eigenvalues, and the eigenvector that belongs to each.
struct EigenPairs {
  std::vector<double> values;   // by falling magnitude
  std::vector<double> vectors;  // of unit length, one after the other
};

/// Reads the lower triangle of a matrix of `size` columns, entry (i, j) at `matrix[j * stride + i]`. Gives nothing
/// where numbers leave the range of doubles. Throws std::bad_alloc.
EigenPairs SolveSmallEigenproblem(double const* matrix, std::size_t size, std::size_t stride);

}  // namespace ZaM::detail

#endif

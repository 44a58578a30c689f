// Eigenvectors of a small symmetric matrix; internal.
#ifndef ZAM_ALGORITHMS_SMALL_EIGENPROBLEM_H
#define ZAM_ALGORITHMS_SMALL_EIGENPROBLEM_H

#include <cstddef>
#include <memory>
#include <vector>

#include "zam/algorithms/symmetric_kernel.h"

namespace ZaM::detail {

/// Makes a matrix tridiagonal and then diagonal by plane rotations, which it keeps: an eigenvector is what they make of
/// a unit vector. So nobody pays for eigenvectors that aren't asked for; the last entries alone come with the values.
/// See G. Golub, C. Van Loan: "Matrix Computations", sections on the symmetric QR algorithm.
///
/// All members throw std::bad_alloc.
class SmallEigenproblem {
 public:
  /// One of no size.
  SmallEigenproblem() = default;

  /// Entry (i, j) of the lower triangle is at `lowerTriangle[i * (i + 1) / 2 + j]`. Entries more than `bandwidth` below
  /// the diagonal count as zero.
  SmallEigenproblem(std::vector<double> const& lowerTriangle, std::size_t matrixSize, std::size_t bandwidth,
                    std::size_t lastCount);

  /// The eigenvalues by falling magnitude. None where numbers leave the range of doubles.
  [[nodiscard]] std::vector<double> const& Values() const { return values; }

  /// The first `vectorCount` eigenvectors, of unit length, one after the other.
  [[nodiscard]] std::vector<double> Vectors(std::size_t vectorCount) const;

  /// The last `lastCount` entries of an eigenvector.
  [[nodiscard]] double const* LastEntries(std::size_t index) const {
    return lastEntries.data() + order[index] * entryCount;
  }

 private:
  struct Reflections;

  void Rotate(std::vector<double> const& lowerTriangle, std::size_t bandwidth, double scale);
  void Reflect(std::vector<double> const& lowerTriangle, std::size_t bandwidth, double scale);
  [[nodiscard]] bool Diagonalize();
  [[nodiscard]] bool IsNegligible(std::size_t index) const;
  void RotateEntries(PlaneRotation const& rotation);
  void Sweep(std::size_t start, std::size_t end);

  std::size_t size = 0;
  std::vector<double> values;
  std::vector<std::size_t> order;  // where each of them is in `diagonal`
  std::vector<double> diagonal;
  std::vector<double> subdiagonal;
  std::size_t entryCount = 0;  // of each vector in `lastEntries`
  std::vector<double> lastEntries;
  std::vector<PlaneRotation> rotations;
  std::shared_ptr<Reflections const> reflections;  // that came before the rotations, or null
};

}  // namespace ZaM::detail

#endif

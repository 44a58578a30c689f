// Orthogonal iteration on a centred Gram matrix; internal.
//
// Multiplying a vector by a matrix again and again turns it towards the eigenvector with the greatest eigenvalue.
// Several vectors that are kept orthogonal turn towards several eigenvectors. For the matrix with the rows (2 1) and (1
// 2), the first of two vectors goes by (1 0), (2 1), (5 4), (14 13) towards (1 1), whose eigenvalue is 3; the second
// one, held at a right angle to it, towards (1 -1), whose eigenvalue is 1.
#ifndef ZAM_ALGORITHMS_EIGEN_ITERATION_H
#define ZAM_ALGORITHMS_EIGEN_ITERATION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "zam/algorithms/centred_product.h"

namespace ZaM::detail {

/// Below this a squared length or an eigenvalue counts as zero.
inline constexpr double zeroThreshold = 1e-12;

/// Whether `value` is a number to divide by: neither zero nor without a bound nor undefined.
bool IsPositive(double value);

/// Finds the leading eigenvectors of a centred Gram matrix by orthogonal (simultaneous) iteration: all vectors are
/// multiplied by the matrix, orthogonalised in their order by Gram-Schmidt, and normalised, until their images are
/// orthogonal by themselves. See G. Golub, C. Van Loan: "Matrix Computations", section on orthogonal iteration.
///
/// Vectors beyond the number of active examples can't be independent: they stay zero and cost nothing.
///
/// Throws std::bad_alloc out of the constructor, and what its user throws at the end of a pass.
class EigenIteration {
 public:
  /// `activity` has an entry for each example; the matrix and its sums must outlive this object.
  EigenIteration(CentredGram const& matrix, std::vector<std::int8_t> const& activity, std::size_t vectorCount);

  /// Takes the start vectors, the entries of `rows` at the active examples, and normalises them. A row that ends early
  /// counts as zero after its end, and one without length, or with one that isn't finite, stays zero.
  void LoadVectors(std::vector<std::vector<double>> const& rows);

  /// Iterates until the inner products of the images sum up to less than `epsilon` times their squared lengths, or
  /// `maxPasses` are done, or no vector is left; at least one pass. Returns the number of passes. `beforePass` may
  /// throw.
  unsigned int Run(double epsilon, unsigned int maxPasses, std::function<void()> const& beforePass);

  /// Whether the last run ended since the images were orthogonal, or no vector was left.
  [[nodiscard]] bool Converged() const { return converged; }

  /// The eigenvalue that belongs to a vector, after a run: the length of its image. 0 if it vanished.
  [[nodiscard]] double Eigenvalue(std::size_t vector) const;

  /// Puts the vectors, of unit length or zero, to the active examples' places in `rows`, which must reach them.
  void StoreVectors(std::vector<std::vector<double>>& rows) const;

 private:
  double OffDiagonalShare();
  void Orthogonalize();
  bool NormalizeImages();
  double* Image(std::size_t vector) { return images.data() + vector * length; }

  CentredProduct product;
  std::size_t length;  // of a vector: the number of active examples
  std::size_t count;   // of vectors that can be independent
  bool converged = false;
  std::vector<double> vectors;                     // row by row
  std::vector<double> images;                      // their products with the matrix, row by row
  std::vector<std::vector<double>> innerProducts;  // of the images: a lower triangle
};

}  // namespace ZaM::detail

#endif

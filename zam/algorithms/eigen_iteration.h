// Orthogonal iteration on a centred Gram matrix; internal.
#ifndef ZAM_ALGORITHMS_EIGEN_ITERATION_H
#define ZAM_ALGORITHMS_EIGEN_ITERATION_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zam/algorithms/symmetric_product.h"

namespace ZaM::detail {

/// Below this a squared length or an eigenvalue counts as zero.
inline constexpr double ZeroThreshold = 1e-12;

/// Whether `value` is a number to divide by: neither zero nor without a bound nor undefined.
bool IsPositive(double value);

/// A Gram matrix with the sums that centre it: the entry (j, k) of the centred matrix, divided by n, is
/// (G[j][k] - (r[j] + r[k] - T/n) / n) / n.
struct CentredGram {
  std::vector<std::vector<double>> const& lowerTriangle;  // row i with i + 1 entries, for each active example
  std::vector<double> const& rowSums;                     // r
  double total;                                           // T
  double exampleCount;                                    // n
};

/// Finds the leading eigenvectors of a centred Gram matrix by orthogonal (simultaneous) iteration: all vectors are
/// multiplied by the matrix, orthogonalised in their order by Gram-Schmidt, and normalised, until their images are
/// orthogonal by themselves. See G. Golub, C. Van Loan: "Matrix Computations", section on orthogonal iteration.
///
/// Only active examples take part, those with an activity above 0. They couple with examples of the same activity
/// alone, so that the matrix falls into one block per activity. The vectors are held without gaps, the examples sorted
/// by activity. Vectors beyond the number of active examples can't be independent: they stay zero and cost nothing.
///
/// Throws std::bad_alloc out of every operation but StoreVectors; the vectors of the caller are then unchanged.
class EigenIteration {
 public:
  /// `activity` has an entry for each example; the matrix and its sums must outlive this object.
  EigenIteration(CentredGram const& matrix, std::vector<std::int8_t> const& activity, std::size_t vectorCount);

  /// Takes the start vectors, the entries of `rows` at the active examples, and normalises them. A row that ends early
  /// counts as zero behind its end, and one without length, or with one that isn't finite, stays zero.
  void LoadVectors(std::vector<std::vector<double>> const& rows);

  /// Iterates until the inner products of the images sum up to less than `epsilon` times their squared lengths, or
  /// `maxPasses` are done, or no vector is left; at least one pass. Returns the number of passes.
  unsigned int Run(double epsilon, unsigned int maxPasses);

  /// The eigenvalue that belongs to a vector, after a run: the length of its image. 0 if it vanished.
  [[nodiscard]] double Eigenvalue(std::size_t vector) const;

  /// Puts the vectors, of unit length or zero, to the active examples' places in `rows`, which must reach them.
  void StoreVectors(std::vector<std::vector<double>>& rows) const;

 private:
  struct Group {
    std::size_t first;                // where its examples begin in a vector
    std::size_t size;                 // how many they are
    std::vector<IndexRange> members;  // the examples
  };

  void addMember(std::size_t example, std::int8_t activity, std::int8_t& former);
  void gramTimesEigenVectors();
  void centreImages(Group const& group);
  double offDiagonalShare();
  void orthogonalize();
  bool normalizeImages();
  double* image(std::size_t vector) { return images.data() + vector * length; }

  CentredGram gram;
  std::vector<std::size_t> order;  // the example at each place of a vector
  std::size_t length = 0;          // of a vector: the number of active examples
  std::size_t count = 0;           // of vectors that can be independent
  std::vector<Group> groups;
  std::vector<double> rowSums;                     // of the examples in `order`
  std::vector<double> vectors;                     // row by row
  std::vector<double> images;                      // their products with the matrix, row by row
  std::vector<std::vector<double>> innerProducts;  // of the images: a lower triangle
};

}  // namespace ZaM::detail

#endif

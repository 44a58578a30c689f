// Block Lanczos iteration on a centred Gram matrix; internal.
#ifndef ZAM_ALGORITHMS_KRYLOV_ITERATION_H
#define ZAM_ALGORITHMS_KRYLOV_ITERATION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "zam/algorithms/centred_product.h"
#include "zam/algorithms/small_eigenproblem.h"

namespace ZaM::detail {

/// Finds the leading eigenvectors of a centred Gram matrix, those with the eigenvalues of greatest magnitude, in far
/// fewer passes than EigenIteration: each pass adds a block of vectors to an orthonormal basis, which holds all that
/// was learned of the matrix before, and not the last images alone. From time to time the best approximations within
/// the basis are taken (Rayleigh and Ritz); when the basis is full, they replace it (a thick restart), unless a cache
/// holds the matrix: then the basis grows. See K. Wu, H.
/// Simon: "Thick-restart Lanczos method for large symmetric eigenvalue problems", SIAM J. Matrix Anal. Appl. 22 (2000).
///
/// A block of b vectors finds no more than b eigenvectors of one eigenvalue. Where so many were found, as many random
/// vectors as are wanted come in, and several passes more must change nothing: for the identity, a block of 8 alone
/// would never find a ninth one.
///
/// It starts from fixed random vectors, and needs no others. Vectors beyond the number of active examples stay zero.
///
/// Throws std::bad_alloc out of the constructor, BaseException with id 5 when memory runs out in a run, and what its
/// user throws before a pass.
class KrylovIteration {
 public:
  /// `activity` has an entry for each example; the matrix and its sums must outlive this object.
  KrylovIteration(CentredGram const& matrix, std::vector<std::int8_t> const& activity, std::size_t vectorCount);

  /// Iterates until each residual ‖A e - λ e‖ is at most `epsilon` times the greatest eigenvalue, as far as the
  /// arithmetic allows, or `maxPasses` are done; at least one pass, and none without an active example. Returns the
  /// number of passes.
  unsigned int Run(double epsilon, unsigned int maxPasses, std::function<void()> const& beforePass);

  /// Whether the last run ended since all residuals were small enough.
  [[nodiscard]] bool Converged() const { return converged; }

  /// The magnitude of the eigenvalue that belongs to a vector, after a run. 0 if it vanished.
  [[nodiscard]] double Eigenvalue(std::size_t index) const;

  /// Puts the vectors, of unit length or zero, to the active examples' places in `rows`, which must reach them.
  void StoreVectors(std::vector<std::vector<double>>& rows) const;

 private:
  void Reserve(std::size_t vectorCount);
  [[nodiscard]] bool PrepareNextPass(double tolerance, unsigned int passes, bool isLast);
  [[nodiscard]] std::size_t Forecast(double excess);
  [[nodiscard]] std::size_t VectorsWorthApproximating() const;
  void MultiplyBlock();
  void ProjectImages();
  void TakePartsOff(std::size_t first);
  void MakeNextBlock();
  [[nodiscard]] double Residual(std::size_t index) const;
  [[nodiscard]] double Excess(double bound) const;
  [[nodiscard]] bool HasFullCluster(double bound) const;
  void KeepApproximations(std::size_t kept);
  void WidenBlock();
  void FillRandomly(std::size_t index);
  void Orthogonalize(std::size_t index);
  [[nodiscard]] double Norm(double const* vector) const;
  [[nodiscard]] bool IsCached() const;
  double* Vector(std::size_t index) { return basis.data() + index * length; }
  double* Image(std::size_t index) { return images.data() + index * length; }

  CentredProduct product;
  std::size_t length;  // of a vector: the number of active examples
  std::size_t count;   // of vectors that can be independent
  std::size_t width;   // of a block
  bool converged = false;

  std::size_t capacity = 0;        // of the basis
  std::size_t size = 0;            // of the basis
  std::size_t next = 0;            // how many vectors after the basis are the next block
  std::size_t last = 0;            // how many vectors of the basis came in last
  std::vector<double> basis;       // row by row, orthonormal, with the next block after it
  std::vector<double> images;      // of the last block, which become the next one
  std::size_t coupled = 0;         // the first vector of the basis that the images of the last block reach
  std::size_t bandwidth = 0;       // of the projection
  std::vector<double> projection;  // of the matrix onto the basis: the lower triangle, row by row
  std::vector<double> parts;       // of the images along the basis, image by image
  std::vector<double> lengths;     // of the images before they are made a block
  std::vector<double> along;       // the parts of one vector along those before it
  std::vector<double> rotated;     // pieces of approximations
  std::vector<double> coupling;    // of the last block, `width` columns, with the next one
  SmallEigenproblem ritz;          // of the projection
  std::size_t due = 0;             // the size of the basis at which approximations are taken next
  std::size_t formerSize = 0;      // of the basis, when they were taken last
  double formerMissing = 0.0;      // the decades by which residuals were too great then
  unsigned int freshUntil = 0;     // the pass up to which random vectors have not shown what they hold
  double scale = 0.0;              // the greatest length of an image
  std::minstd_rand random{271828};
};

}  // namespace ZaM::detail

#endif

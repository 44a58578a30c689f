// The innermost loops of the symmetric product: their interface, and the choice among them.
//
// The loops are written once (symmetric_kernel_loops.h) and compiled for several levels of processors; which of them
// run is decided when the program runs.
#ifndef ZAM_ALGORITHMS_SYMMETRIC_KERNEL_H
#define ZAM_ALGORITHMS_SYMMETRIC_KERNEL_H

#include <cstddef>

namespace ZaM::detail {

/// A piece of the lower triangle.
struct SymmetricTile {
  double const* const* rows;  ///< for each row, where its entries in the tile's columns begin
  std::size_t rowCount;
  std::size_t columnCount;
  bool onDiagonal;  ///< row r has r + 1 entries, the last of them on the diagonal; else each row has `columnCount`
  bool fetchAhead;  ///< `rows` goes on for `rowsAhead` rows, which aren't in a cache yet
};

/// How many rows are fetched ahead at most.
constexpr std::size_t rowsAhead = 8;

/// Some indices' parts of a group of vectors and of their products. Numbers of one index lie side by side.
struct GroupPart {
  double const* vectors;
  double* products;
};

/// Loops over a group of `width` vectors at a time. All pointers to parts of a group are aligned to its width.
struct GroupLoops {
  std::size_t width;

  /// Moves elements of up to `width` vectors, given one after the other at a distance of `stride`, side by side. Those
  /// that are missing count as 0.
  void (*interleave)(double const* vectors, std::size_t vectorCount, std::size_t stride, std::size_t count,
                     double* group);

  /// The way back.
  void (*separate)(double const* group, std::size_t vectorCount, std::size_t stride, std::size_t count,
                   double* vectors);

  /// Adds what the tile's entries contribute to the products of its rows and, as columns of the upper triangle, to
  /// those of its columns. For a tile on the diagonal the two are the same part.
  void (*addTile)(SymmetricTile const& tile, GroupPart rows, GroupPart columns);
};

/// Rows of numbers, one after the other at a distance of `stride`.
struct RowBlock {
  double const* first;
  std::size_t stride;
  std::size_t count;
};

/// The same, to be changed.
struct MutableRows {
  double* first;
  std::size_t stride;
  std::size_t count;
};

/// A rotation in the plane of two neighbouring rows.
struct PlaneRotation {
  double cosine;
  double sine;
  std::size_t row;  // the first of the two
};

/// All loops for one level of processors.
struct SymmetricKernel {
  char const* name;
  GroupLoops group;
  double (*innerProduct)(double const* x, double const* y, std::size_t count);
  void (*subtractScaled)(double* y, double factor, double const* x, std::size_t count);
  void (*addInnerProducts)(RowBlock rows, RowBlock vectors, std::size_t count, double* products, std::size_t stride);
  void (*subtractScaledRows)(MutableRows vectors, double const* factors, std::size_t stride, RowBlock rows,
                             std::size_t count);

  /// A whole lower triangle times two vectors, which are `stride` apart as their products are.
  void (*multiplyPair)(double const* const* rows, std::size_t count, double const* vectors, double* products,
                       std::size_t stride);

  /// Rotates rows of `width` numbers, a multiple of 4, that lie side by side, by the last rotation first.
  void (*rotateRows)(double* rows, std::size_t width, PlaneRotation const* rotations, std::size_t count);
};

/// What any machine can run.
extern SymmetricKernel const portableSymmetricKernel;

/// Kernels for more than that which this machine can run, the best one first. Ends in a null.
SymmetricKernel const* const* VectorSymmetricKernels();

/// The best kernel that this machine can run.
SymmetricKernel const& BestSymmetricKernel();

}  // namespace ZaM::detail

#endif

// The loops of SymmetricKernel, once and for all levels of processors: each level's source file includes this, and is
// compiled for that level as a whole. So nothing here may come from elsewhere but types: a function that the linker
// shares among files would be taken from any of them, and might then run where the processor can't.
//
// Each entry below the diagonal is loaded once, and serves its row and its column. A block of rows keeps its vectors
// and its sums in registers, while the columns' vectors and products pass by. With the numbers of a group of vectors
// side by side, every step is one multiply-add of whole registers, no register holds a sum of its own parts, and no
// entry is moved, neither in memory nor within a register. Measured by benchmarks/pca_benchmark.
#ifndef ZAM_ALGORITHMS_SYMMETRIC_KERNEL_LOOPS_H
#define ZAM_ALGORITHMS_SYMMETRIC_KERNEL_LOOPS_H

#include <cstddef>
#include <utility>

#include "zam/algorithms/symmetric_kernel.h"

namespace ZaM::detail {
namespace {

#define ZAM_ALWAYS_INLINE __attribute__((always_inline)) inline

template <int width>
struct RegisterOf {
  using Type __attribute__((vector_size(8 * width))) = double;
};

template <int width>
using Register = typename RegisterOf<width>::Type;

/// From any address, and to any.
template <int width>
ZAM_ALWAYS_INLINE Register<width> Load(double const* from) {
  Register<width> numbers;
  __builtin_memcpy(&numbers, from, sizeof numbers);
  return numbers;
}

template <int width>
ZAM_ALWAYS_INLINE void Store(Register<width> const& numbers, double* to) {
  __builtin_memcpy(to, &numbers, sizeof numbers);
}

/// The loops for `width` vectors, which are one register, and `blockRows` rows at a time.
template <int width, int blockRows>
class Loops {
  static_assert(blockRows <= rowsAhead);
  static constexpr std::size_t entriesPerCacheLine = 8;

 public:
  static constexpr GroupLoops Table() { return {width, Interleave, Separate, AddTile}; }

 private:
  using Vector = Register<width>;
  template <int count>
  using Sequence = std::make_integer_sequence<int, count>;

  static Vector const* At(double const* group, std::size_t index) {
    return reinterpret_cast<Vector const*>(group) + index;
  }
  static Vector* At(double* group, std::size_t index) { return reinterpret_cast<Vector*>(group) + index; }

  /// Swaps the lanes of `low` that have a bit set with those of `high` that have it not.
  template <int bit, int... lane>
  ZAM_ALWAYS_INLINE static void SwapLanes(Vector& low, Vector& high, std::integer_sequence<int, lane...>) {
    Vector const former = low;
    low = __builtin_shufflevector(former, high, ((lane & bit) != 0 ? lane - bit + width : lane)...);
    high = __builtin_shufflevector(former, high, ((lane & bit) != 0 ? lane + width : lane + bit)...);
  }

  /// Turns a square of numbers: lane k of row p becomes lane p of row k.
  template <int bit = 1>
  ZAM_ALWAYS_INLINE static void Transpose(Vector (&rows)[width]) {
    if constexpr (bit < width) {
      for (int row = 0; row < width; ++row)
        if ((row & bit) == 0) SwapLanes<bit>(rows[row], rows[row + bit], Sequence<width>{});
      Transpose<2 * bit>(rows);
    }
  }

  static void Interleave(double const* vectors, std::size_t vectorCount, std::size_t stride, std::size_t count,
                         double* group) {
    std::size_t k = 0;
    for (; k + width <= count; k += width) {
      Vector rows[width];
      for (std::size_t p = 0; p < width; ++p)
        rows[p] = p < vectorCount ? Load<width>(vectors + p * stride + k) : Vector{};
      Transpose(rows);
      for (std::size_t p = 0; p < width; ++p) *At(group, k + p) = rows[p];
    }
    for (; k < count; ++k)
      for (std::size_t p = 0; p < width; ++p) group[k * width + p] = p < vectorCount ? vectors[p * stride + k] : 0.0;
  }

  static void Separate(double const* group, std::size_t vectorCount, std::size_t stride, std::size_t count,
                       double* vectors) {
    std::size_t k = 0;
    for (; k + width <= count; k += width) {
      Vector rows[width];
      for (std::size_t p = 0; p < width; ++p) rows[p] = *At(group, k + p);
      Transpose(rows);
      for (std::size_t p = 0; p < vectorCount; ++p) Store<width>(rows[p], vectors + p * stride + k);
    }
    for (; k < count; ++k)
      for (std::size_t p = 0; p < vectorCount; ++p) vectors[p * stride + k] = group[k * width + p];
  }

  /// One column of a block of rows.
  template <int... row>
  ZAM_ALWAYS_INLINE static void AddColumn(double const* const* rows, std::size_t k, Vector const* own, Vector* sums,
                                          GroupPart columns, std::integer_sequence<int, row...>) {
    Vector const vector = *At(columns.vectors, k);
    Vector product = *At(columns.products, k);
    ((sums[row] = sums[row] + rows[row][k] * vector, product = product + rows[row][k] * own[row]), ...);
    *At(columns.products, k) = product;
  }

  /// `count` columns of a block of rows. Fetches what lies below them, if it is to.
  template <int... row>
  ZAM_ALWAYS_INLINE static void AddRows(double const* const* firstRow, std::size_t count, bool fetchNext,
                                        GroupPart part, GroupPart columns,
                                        std::integer_sequence<int, row...> sequence) {
    double const* const rows[] = {firstRow[row]...};
    Vector const own[] = {*At(part.vectors, row)...};
    Vector sums[] = {*At(part.products, row)...};
    std::size_t k = 0;
    if (fetchNext) {
      double const* const next[] = {firstRow[sizeof...(row) + row]...};
      for (; k + entriesPerCacheLine <= count; k += entriesPerCacheLine) {
        (__builtin_prefetch(next[row] + k), ...);
        for (std::size_t j = k; j < k + entriesPerCacheLine; ++j) AddColumn(rows, j, own, sums, columns, sequence);
      }
    }
    for (; k < count; ++k) AddColumn(rows, k, own, sums, columns, sequence);
    ((*At(part.products, row) = sums[row]), ...);
  }

  /// The square on the diagonal that belongs to a block of rows, whose entries begin `offset` after `rows`.
  static void AddSquare(double const* const* rows, std::size_t rowCount, std::size_t offset, GroupPart part) {
    for (std::size_t r = 0; r < rowCount; ++r) {
      double const* const entries = rows[r] + offset;
      Vector const own = *At(part.vectors, r);
      Vector sum = *At(part.products, r) + entries[r] * own;
      for (std::size_t k = 0; k < r; ++k) {
        sum = sum + entries[k] * *At(part.vectors, k);
        *At(part.products, k) = *At(part.products, k) + entries[k] * own;
      }
      *At(part.products, r) = sum;
    }
  }

  template <int count>
  ZAM_ALWAYS_INLINE static std::size_t AddBlocks(SymmetricTile const& tile, std::size_t r, GroupPart rows,
                                                 GroupPart columns) {
    for (; r + count <= tile.rowCount; r += count) {
      auto const columnCount = tile.onDiagonal ? r : tile.columnCount;
      GroupPart const part{rows.vectors + r * width, rows.products + r * width};
      AddRows(tile.rows + r, columnCount, tile.fetchAhead, part, columns, Sequence<count>{});
      if (tile.onDiagonal) AddSquare(tile.rows + r, count, r, part);
    }
    return r;
  }

  static void AddTile(SymmetricTile const& tile, GroupPart rows, GroupPart columns) {
    auto const next = AddBlocks<blockRows>(tile, 0, rows, columns);
    AddBlocks<1>(tile, next, rows, columns);
  }
};

/// The sum of products in one fixed order, with four registers of sums to hide how long an addition takes.
template <int width>
double InnerProductLoop(double const* x, double const* y, std::size_t count) {
  constexpr std::size_t step = width;
  Register<width> sums[4] = {};
  std::size_t k = 0;
  for (; k + 4 * step <= count; k += 4 * step)
    for (std::size_t i = 0; i < 4; ++i)
      sums[i] = sums[i] + Load<width>(x + k + i * step) * Load<width>(y + k + i * step);
  auto const together = (sums[0] + sums[1]) + (sums[2] + sums[3]);
  double sum = 0.0;
  for (std::size_t i = 0; i < width; ++i) sum += together[i];
  for (; k < count; ++k) sum += x[k] * y[k];
  return sum;
}

template <int width>
void SubtractScaledLoop(double* y, double factor, double const* x, std::size_t count) {
  std::size_t k = 0;
  for (; k + width <= count; k += width) Store<width>(Load<width>(y + k) - factor * Load<width>(x + k), y + k);
  for (; k < count; ++k) y[k] -= factor * x[k];
}

template <int width>
ZAM_ALWAYS_INLINE double Sum(Register<width> const& numbers) {
  double sum = numbers[0];
  for (int lane = 1; lane < width; ++lane) sum += numbers[lane];
  return sum;
}

/// Several rows and vectors at a time, so that a number is loaded once for all of the others.
template <int width, int blockRows, int vectorCount>
void AddInnerProductsOfBlocks(RowBlock rows, double const* vectors, std::size_t vectorStride, std::size_t count,
                              double* products, std::size_t productStride) {
  std::size_t r = 0;
  for (; r + blockRows <= rows.count; r += blockRows) {
    double const* const first = rows.first + r * rows.stride;
    Register<width> sums[vectorCount][blockRows] = {};
    std::size_t k = 0;
    for (; k + width <= count; k += width) {
      Register<width> factors[vectorCount];
      for (std::size_t p = 0; p < vectorCount; ++p) factors[p] = Load<width>(vectors + p * vectorStride + k);
      for (std::size_t i = 0; i < blockRows; ++i) {
        auto const row = Load<width>(first + i * rows.stride + k);
        for (std::size_t p = 0; p < vectorCount; ++p) sums[p][i] = sums[p][i] + row * factors[p];
      }
    }
    for (std::size_t p = 0; p < vectorCount; ++p) {
      for (std::size_t i = 0; i < blockRows; ++i) {
        double sum = Sum<width>(sums[p][i]);
        for (std::size_t j = k; j < count; ++j) sum += first[i * rows.stride + j] * vectors[p * vectorStride + j];
        products[p * productStride + r + i] += sum;
      }
    }
  }
  for (; r < rows.count; ++r)
    for (std::size_t p = 0; p < vectorCount; ++p)
      products[p * productStride + r] +=
          InnerProductLoop<width>(rows.first + r * rows.stride, vectors + p * vectorStride, count);
}

template <int width, int blockRows>
void AddInnerProductsLoop(RowBlock rows, RowBlock vectors, std::size_t count, double* products, std::size_t stride) {
  double const* vector = vectors.first;
  std::size_t left = vectors.count;
  for (; left >= 2; left -= 2, vector += 2 * vectors.stride, products += 2 * stride)
    AddInnerProductsOfBlocks<width, blockRows, 2>(rows, vector, vectors.stride, count, products, stride);
  if (left > 0) AddInnerProductsOfBlocks<width, blockRows, 1>(rows, vector, vectors.stride, count, products, stride);
}

template <int width, int blockRows, int vectorCount>
void SubtractScaledBlocks(double* vectors, std::size_t vectorStride, double const* factors, std::size_t factorStride,
                          RowBlock rows, std::size_t count) {
  std::size_t r = 0;
  for (; r + blockRows <= rows.count; r += blockRows) {
    double const* const first = rows.first + r * rows.stride;
    double own[vectorCount][blockRows];
    for (std::size_t p = 0; p < vectorCount; ++p)
      for (std::size_t i = 0; i < blockRows; ++i) own[p][i] = factors[p * factorStride + r + i];
    std::size_t k = 0;
    for (; k + width <= count; k += width) {
      Register<width> numbers[vectorCount];
      for (std::size_t p = 0; p < vectorCount; ++p) numbers[p] = Load<width>(vectors + p * vectorStride + k);
      for (std::size_t i = 0; i < blockRows; ++i) {
        auto const row = Load<width>(first + i * rows.stride + k);
        for (std::size_t p = 0; p < vectorCount; ++p) numbers[p] = numbers[p] - own[p][i] * row;
      }
      for (std::size_t p = 0; p < vectorCount; ++p) Store<width>(numbers[p], vectors + p * vectorStride + k);
    }
    for (; k < count; ++k)
      for (std::size_t p = 0; p < vectorCount; ++p)
        for (std::size_t i = 0; i < blockRows; ++i)
          vectors[p * vectorStride + k] -= own[p][i] * first[i * rows.stride + k];
  }
  for (; r < rows.count; ++r)
    for (std::size_t p = 0; p < vectorCount; ++p)
      SubtractScaledLoop<width>(vectors + p * vectorStride, factors[p * factorStride + r], rows.first + r * rows.stride,
                                count);
}

template <int width, int blockRows>
void SubtractScaledRowsLoop(MutableRows vectors, double const* factors, std::size_t stride, RowBlock rows,
                            std::size_t count) {
  double* vector = vectors.first;
  std::size_t left = vectors.count;
  for (; left >= 2; left -= 2, vector += 2 * vectors.stride, factors += 2 * stride)
    SubtractScaledBlocks<width, blockRows, 2>(vector, vectors.stride, factors, stride, rows, count);
  if (left > 0) SubtractScaledBlocks<width, blockRows, 1>(vector, vectors.stride, factors, stride, rows, count);
}

/// What the entries of two rows up to column `row` contribute. The numbers of a vector lie in a register as those of a
/// row do: with two vectors alone, a register for each entry would be half empty.
template <int width>
ZAM_ALWAYS_INLINE void AddTwoRows(double const* const* rows, std::size_t row, double const* vectors, double* products,
                                  std::size_t stride) {
  using Vector = Register<width>;
  double const* const upper = rows[row];
  double const* const lower = rows[row + 1];
  double const upperOwn[2] = {vectors[row], vectors[stride + row]};
  double const lowerOwn[2] = {vectors[row + 1], vectors[stride + row + 1]};
  Vector upperSums[2] = {};
  Vector lowerSums[2] = {};
  std::size_t k = 0;
  for (; k + width <= row; k += width) {
    Vector const above = Load<width>(upper + k);
    Vector const below = Load<width>(lower + k);
    Vector const vector[2] = {Load<width>(vectors + k), Load<width>(vectors + stride + k)};
    Vector const product[2] = {Load<width>(products + k), Load<width>(products + stride + k)};
    Store<width>(product[0] + above * upperOwn[0] + below * lowerOwn[0], products + k);
    Store<width>(product[1] + above * upperOwn[1] + below * lowerOwn[1], products + stride + k);
    for (std::size_t p = 0; p < 2; ++p) {
      upperSums[p] = upperSums[p] + above * vector[p];
      lowerSums[p] = lowerSums[p] + below * vector[p];
    }
  }
  for (std::size_t p = 0; p < 2; ++p) {
    double const* const x = vectors + p * stride;
    double* const y = products + p * stride;
    double upperSum = Sum<width>(upperSums[p]) + upper[row] * upperOwn[p] + lower[row] * lowerOwn[p];
    double lowerSum = Sum<width>(lowerSums[p]) + lower[row] * upperOwn[p] + lower[row + 1] * lowerOwn[p];
    for (std::size_t j = k; j < row; ++j) {
      upperSum += upper[j] * x[j];
      lowerSum += lower[j] * x[j];
      y[j] += upper[j] * upperOwn[p] + lower[j] * lowerOwn[p];
    }
    y[row] = upperSum;
    y[row + 1] = lowerSum;
  }
}

template <int width>
void MultiplyPairLoop(double const* const* rows, std::size_t count, double const* vectors, double* products,
                      std::size_t stride) {
  std::size_t row = 0;
  for (; row + 2 <= count; row += 2) AddTwoRows<width>(rows, row, vectors, products, stride);
  if (row == count) return;
  for (std::size_t p = 0; p < 2; ++p) {
    double const* const x = vectors + p * stride;
    double* const y = products + p * stride;
    SubtractScaledLoop<width>(y, -x[row], rows[row], row);
    y[row] = InnerProductLoop<width>(rows[row], x, row + 1);
  }
}

/// Some columns of the rows. A rotation's upper row is the lower one of the next rotation most of the time, so it stays
/// in registers.
template <int width, int registers>
void RotateStrip(double* strip, std::size_t rowWidth, PlaneRotation const* rotations, std::size_t count) {
  if (count == 0) return;
  Register<width> held[registers] = {};
  double* place = nullptr;  // of the row that is held
  while (count-- > 0) {
    PlaneRotation const& rotation = rotations[count];
    double* const upper = strip + rotation.row * rowWidth;
    double* const lower = upper + rowWidth;
    if (place != lower) {
      for (std::ptrdiff_t i = 0; i < registers; ++i) {
        if (place) Store<width>(held[i], place + i * width);
        held[i] = Load<width>(lower + i * width);
      }
    }
    for (std::ptrdiff_t i = 0; i < registers; ++i) {
      Register<width> const former = Load<width>(upper + i * width);
      Store<width>(rotation.sine * former + rotation.cosine * held[i], lower + i * width);
      held[i] = rotation.cosine * former - rotation.sine * held[i];
    }
    place = upper;
  }
  for (std::ptrdiff_t i = 0; i < registers; ++i) Store<width>(held[i], place + i * width);
}

template <int width>
void RotateRowsLoop(double* rows, std::size_t rowWidth, PlaneRotation const* rotations, std::size_t count) {
  constexpr std::size_t strip = std::size_t{4} * width;
  std::size_t k = 0;
  for (; k + strip <= rowWidth; k += strip) RotateStrip<width, 4>(rows + k, rowWidth, rotations, count);
  std::size_t const left = (rowWidth - k) / width;
  if (left == 3) RotateStrip<width, 3>(rows + k, rowWidth, rotations, count);
  if (left == 2) RotateStrip<width, 2>(rows + k, rowWidth, rotations, count);
  if (left == 1) RotateStrip<width, 1>(rows + k, rowWidth, rotations, count);
}

template <int width, int blockRows>
constexpr SymmetricKernel MakeSymmetricKernel(char const* name) {
  return {name,
          Loops<width, blockRows>::Table(),
          InnerProductLoop<width>,
          SubtractScaledLoop<width>,
          AddInnerProductsLoop<width, blockRows>,
          SubtractScaledRowsLoop<width, blockRows>,
          MultiplyPairLoop<width>,
          RotateRowsLoop<width>};
}

}  // namespace
}  // namespace ZaM::detail

#endif

// Under a name of its own: where a program uses Eigen too and compiles it for another processor, the linker mustn't
// take one copy of a template for both.
#define Eigen ZamEigen  // NOLINT(readability-identifier-naming)
#include "zam/algorithms/small_eigenproblem.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "zam/algorithms/symmetric_product.h"

namespace ZaM::detail {

namespace {

// Numbers are scaled so that the greatest is 1. Squares of what is no smaller than this are numbers still.
constexpr double tiny = 1e-100;

/// The plane rotation that makes (x, z) to (length, 0).
struct Turn {
  double cosine;
  double sine;
  double length;
};

Turn TurnTo(double x, double z) {
  double const length = std::sqrt(x * x + z * z);
  return length > 0.0 ? Turn{x / length, z / length, length} : Turn{1.0, 0.0, 0.0};
}

void Rotate(Turn const& turn, double& x, double& y) {
  double const former = x;
  x = turn.cosine * former + turn.sine * y;
  y = turn.cosine * y - turn.sine * former;
}

/// Rotates a symmetric matrix of two rows.
void Rotate(Turn const& turn, double& upper, double& off, double& lower) {
  double const both = turn.sine * (lower - upper) + 2.0 * turn.cosine * off;
  upper += turn.sine * both;
  lower -= turn.sine * both;
  off = turn.cosine * both - off;
}

/// The lower triangle of a band matrix, column by column, with room for one more diagonal.
class Band {
 public:
  Band(std::vector<double> const& lowerTriangle, std::size_t size, std::size_t bandwidth, double scale)
      : count(size), width(bandwidth), entries(size * (bandwidth + 2)) {
    for (std::size_t i = 0; i < size; ++i)
      for (std::size_t j = i - std::min(i, bandwidth); j <= i; ++j)
        At(i, j) = lowerTriangle[i * (i + 1) / 2 + j] / scale;
  }

  double& At(std::size_t i, std::size_t j) { return entries[j * (width + 1) + i]; }

  /// Rotates rows and columns `row - 1` and `row`, so that the entry of `row` in `column` vanishes.
  Turn Clear(std::size_t row, std::size_t column) {
    std::size_t const former = row - 1;
    Turn const turn = TurnTo(At(former, column), At(row, column));
    for (std::size_t j = column; j < former; ++j) Rotate(turn, At(former, j), At(row, j));
    Rotate(turn, At(former, former), At(row, former), At(row, row));
    for (std::size_t i = row + 1; i < std::min(count, row + width + 1); ++i) Rotate(turn, At(i, former), At(i, row));
    At(row, column) = 0.0;
    return turn;
  }

 private:
  std::size_t count;
  std::size_t width;
  std::vector<double> entries;
};

using RowMajorMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

auto AsMatrix(std::vector<double>& rows, std::size_t rowCount) {
  return Eigen::Map<RowMajorMatrix>(rows.data(), static_cast<Eigen::Index>(rowCount),
                                    static_cast<Eigen::Index>(rows.size() / rowCount));
}

}  // namespace

struct SmallEigenproblem::Reflections {
  Eigen::Tridiagonalization<Eigen::MatrixXd> tridiagonalization;
};

SmallEigenproblem::SmallEigenproblem(std::vector<double> const& lowerTriangle, std::size_t matrixSize,
                                     std::size_t bandwidth, std::size_t lastCount)
    : size(matrixSize),
      diagonal(matrixSize),
      subdiagonal(matrixSize),
      entryCount(lastCount),
      lastEntries(matrixSize * lastCount) {
  for (std::size_t j = 0; j < entryCount; ++j) lastEntries[(size - entryCount + j) * entryCount + j] = 1.0;
  rotations.reserve(size * size);
  double scale = 0.0;
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t j = i - std::min(i, bandwidth); j <= i; ++j) {
      double const magnitude = std::abs(lowerTriangle[i * (i + 1) / 2 + j]);
      if (!std::isfinite(magnitude)) return;
      scale = std::max(scale, magnitude);
    }
  }
  if (scale == 0.0) scale = 1.0;
  if (4 * bandwidth < size)
    Rotate(lowerTriangle, bandwidth, scale);
  else
    Reflect(lowerTriangle, bandwidth, scale);
  if (!Diagonalize()) return;

  order.resize(size);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](auto a, auto b) { return std::abs(diagonal[a]) > std::abs(diagonal[b]); });
  for (std::size_t const i : order) values.push_back(scale * diagonal[i]);
}

// Two entries are what a cached matrix has, and what the compiler needs to know to be fast.
inline void SmallEigenproblem::RotateEntries(PlaneRotation const& rotation) {
  Turn const turn{rotation.cosine, rotation.sine, 0.0};
  double* const x = lastEntries.data() + rotation.row * entryCount;
  double* const y = x + entryCount;
  if (entryCount == 2) {
    detail::Rotate(turn, x[0], y[0]);
    detail::Rotate(turn, x[1], y[1]);
  } else {
    for (std::size_t j = 0; j < entryCount; ++j) detail::Rotate(turn, x[j], y[j]);
  }
}

// An entry that is cleared makes another one `bandwidth` rows below, which is chased down to the end at once: the band
// stays narrow.
void SmallEigenproblem::Rotate(std::vector<double> const& lowerTriangle, std::size_t bandwidth, double scale) {
  Band band(lowerTriangle, size, bandwidth, scale);
  for (std::size_t first = 0; first + 2 < size; ++first) {
    for (std::size_t below = std::min(bandwidth, size - 1 - first); below >= 2; --below) {
      std::size_t column = first;
      for (std::size_t row = first + below; row < size && std::abs(band.At(row, column)) > tiny; row += bandwidth) {
        Turn const turn = band.Clear(row, column);
        column = row - 1;
        rotations.push_back({turn.cosine, turn.sine, column});
        RotateEntries(rotations.back());
      }
    }
  }
  for (std::size_t i = 0; i < size; ++i) diagonal[i] = band.At(i, i);
  for (std::size_t i = 1; i < size; ++i) subdiagonal[i - 1] = band.At(i, i - 1);
}

void SmallEigenproblem::Reflect(std::vector<double> const& lowerTriangle, std::size_t bandwidth, double scale) {
  auto const count = static_cast<Eigen::Index>(size);
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(count, count);
  for (std::size_t i = 0; i < size; ++i)
    for (std::size_t j = i - std::min(i, bandwidth); j <= i; ++j)
      matrix(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) = lowerTriangle[i * (i + 1) / 2 + j] / scale;
  auto const made = std::make_shared<Reflections>(Reflections{Eigen::Tridiagonalization<Eigen::MatrixXd>(matrix)});
  Eigen::VectorXd::Map(diagonal.data(), count) = made->tridiagonalization.diagonal();
  Eigen::VectorXd::Map(subdiagonal.data(), count - 1) = made->tridiagonalization.subDiagonal();
  reflections = made;
  AsMatrix(lastEntries, size).applyOnTheLeft(reflections->tridiagonalization.matrixQ().adjoint());
}

// Eigenvalues part from the end on, where an iteration leaves the small ones.
bool SmallEigenproblem::Diagonalize() {
  std::size_t sweepsLeft = 30 * size;
  for (std::size_t end = size - 1; end > 0;) {
    if (IsNegligible(end - 1)) {
      --end;
      continue;
    }
    if (sweepsLeft-- == 0) return false;
    std::size_t start = end - 1;
    while (start > 0 && !IsNegligible(start - 1)) --start;
    Sweep(start, end);
  }
  return true;
}

bool SmallEigenproblem::IsNegligible(std::size_t index) const {
  return std::abs(subdiagonal[index]) <= 0.5 * std::numeric_limits<double>::epsilon();
}

// A step of the implicit QR algorithm with Wilkinson's shift. No root lies between one rotation and the next, but for
// the numbers of the next but one: the processor takes several at a time.
void SmallEigenproblem::Sweep(std::size_t start, std::size_t end) {
  double const half = 0.5 * (diagonal[end - 1] - diagonal[end]);
  double const off = subdiagonal[end - 1];
  double const root = std::sqrt(half * half + off * off);
  double x = diagonal[start] - (diagonal[end] - off / (half + std::copysign(root, half)) * off);
  double z = subdiagonal[start];
  double upper = diagonal[start];
  double middle = subdiagonal[start];
  std::size_t const kept = rotations.size();
  rotations.resize(kept + end - start);
  PlaneRotation* rotation = rotations.data() + kept;
  for (std::size_t k = start; k < end; ++k, ++rotation) {
    double const squaredLength = x * x + z * z;
    if (squaredLength < tiny * tiny) {  // it falls apart here
      subdiagonal[k] = middle;
      rotations.resize(kept + k - start);
      return;
    }
    double const lower = diagonal[k + 1];
    double const inverse = 1.0 / squaredLength;
    double const length = std::sqrt(squaredLength);
    double const inverseLength = 1.0 / length;
    double const cosine = x * inverseLength;
    double const sine = z * inverseLength;
    *rotation = {cosine, sine, k};
    RotateEntries(*rotation);
    double const turned = (z * (lower - upper) + 2.0 * x * middle) * inverse;
    if (k > start) subdiagonal[k - 1] = length;
    diagonal[k] = upper + z * turned;
    diagonal[k + 1] = upper = lower - z * turned;
    subdiagonal[k] = middle = x * turned - middle;
    if (k + 1 == end) break;
    x = middle;
    z = sine * subdiagonal[k + 1];
    middle = cosine * subdiagonal[k + 1];
  }
}

std::vector<double> SmallEigenproblem::Vectors(std::size_t vectorCount) const {
  std::size_t const width = (vectorCount + 3) / 4 * 4;  // whole registers
  std::vector<double> rows(size * width);
  for (std::size_t i = 0; i < vectorCount; ++i) rows[order[i] * width + i] = 1.0;
  RotateRows(rows.data(), width, rotations);
  if (reflections) AsMatrix(rows, size).applyOnTheLeft(reflections->tridiagonalization.matrixQ());
  std::vector<double> vectors(size * vectorCount);
  for (std::size_t i = 0; i < vectorCount; ++i)
    for (std::size_t k = 0; k < size; ++k) vectors[i * size + k] = rows[k * width + i];
  return vectors;
}

}  // namespace ZaM::detail

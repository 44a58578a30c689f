#include "zam/algorithms/krylov_iteration.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "zam/algorithms/eigen_iteration.h"
#include "zam/foundation/create_counted.h"

namespace ZaM::detail {

namespace {

// A wider block takes more products to the same result, a narrower one less advantage of an entry that is in a
// register. Both numbers, and how often approximations are taken, by benchmarks/pca_benchmark.
constexpr std::size_t blockWidth = 4;
constexpr std::size_t spareVectors = 22;  // that the basis holds beside seven fifths of those that are wanted

// Parts of vectors that stay in the first cache while the basis passes by.
constexpr std::size_t pieceLength = 512;

// A vector that has lost so much of its length isn't orthogonal enough to what was taken off it.
constexpr double shortened = 0.1;

constexpr double rounding = std::numeric_limits<double>::epsilon();

}  // namespace

KrylovIteration::KrylovIteration(CentredGram const& matrix, std::vector<std::int8_t> const& activity,
                                 std::size_t vectorCount)
    : product(matrix, activity), length(product.Length()), count(std::min(vectorCount, length)) {
  Reserve(std::min(count, blockWidth));
  for (; next < width; ++next) FillRandomly(next);
}

void KrylovIteration::Reserve(std::size_t blockSize) {
  std::size_t const formerCapacity = capacity;
  width = blockSize;
  capacity = std::min(length, 7 * count / 5 + std::max(spareVectors, 2 * width));
  basis.resize((capacity + width) * length);
  images.resize(width * length);
  coupling.resize(width * width);
  parts.resize(capacity * width);
  lengths.resize(width);
  along.resize(capacity + width);
  rotated.resize((count + width) * pieceLength);
  if (capacity != formerCapacity) projection.assign(capacity * capacity, 0.0);
}

unsigned int KrylovIteration::Run(double epsilon, unsigned int maxPasses, std::function<void()> const& beforePass) {
  // A tenth, so that eigenvalues far below the greatest one are right too: their errors fall with the residuals'
  // squares.
  double const tolerance = std::max(0.1 * epsilon, 512.0 * rounding);
  for (unsigned int passes = 0;;) {
    if (passes == maxPasses || next == 0) return passes;
    beforePass();
    MultiplyBlock();
    ++passes;
    bool const full = size + next > capacity || next == 0;
    if (!full && passes != maxPasses && !IsApproximationDue()) continue;

    ReportOutOfMemory([this] { Approximate(); });
    if (ritz.values.empty()) return passes;
    double const bound = tolerance * std::abs(ritz.values[0]);
    converged = size >= count && AreResidualsBelow(bound);
    if (converged && MayLackCopies(bound)) {
      converged = false;
      ReportOutOfMemory([this] { WidenBlock(); });
    } else if (converged || passes == maxPasses) {
      KeepApproximations(std::min(count, size));
      return passes;
    } else if (full) {
      KeepApproximations(std::min(count + width, size - width));
    }
  }
}

void KrylovIteration::MultiplyBlock() {
  product.Multiply(Vector(size), next, images.data());
  last = next;
  size += next;
  ProjectImages();
  MakeNextBlock();
}

// Takes the images' parts along the basis off, which are the projection's new rows; and once more, since otherwise each
// pass would multiply what rounding leaves of them.
void KrylovIteration::ProjectImages() {
  for (std::size_t j = 0; j < last; ++j) scale = std::max(scale, Norm(Image(j)));
  TakePartsOff();
  for (std::size_t j = 0; j < last; ++j)
    for (std::size_t i = 0, row = size - last + j; i <= row; ++i) projection[i * capacity + row] = parts[j * size + i];
  TakePartsOff();
}

void KrylovIteration::TakePartsOff() {
  std::fill(parts.begin(), parts.end(), 0.0);
  for (std::size_t start = 0; start < length; start += pieceLength)
    for (std::size_t j = 0; j < last; ++j)
      AddInnerProducts({basis.data() + start, length, size}, Image(j) + start, std::min(pieceLength, length - start),
                       parts.data() + j * size);
  for (std::size_t start = 0; start < length; start += pieceLength)
    for (std::size_t j = 0; j < last; ++j)
      SubtractScaledRows(Image(j) + start, parts.data() + j * size, {basis.data() + start, length, size},
                         std::min(pieceLength, length - start));
}

// By the modified Gram-Schmidt process. Where an image has nothing new, the space is exhausted in this direction, and a
// random vector goes on.
void KrylovIteration::MakeNextBlock() {
  for (std::size_t j = 0; j < last; ++j) lengths[j] = Norm(Image(j));
  std::fill(coupling.begin(), coupling.end(), 0.0);
  std::size_t const wanted = std::min(width, length - size);
  for (next = 0; next < wanted; ++next) {
    double* const x = Vector(size + next);
    double const left = next < last ? Norm(Image(next)) : 0.0;
    if (left > 64.0 * rounding * scale) {
      for (std::size_t k = 0; k < length; ++k) x[k] = Image(next)[k] / left;
      if (left < shortened * lengths[next]) Orthogonalize(size + next);
    } else {
      FillRandomly(size + next);
      if (next < last) std::fill_n(Image(next), length, 0.0);
    }
    for (std::size_t j = 0; j < last; ++j) {
      double const part = InnerProduct(x, Image(j), length);
      SubtractScaled(Image(j), part, x, length);
      coupling[j * width + next] = part;
    }
  }
}

double KrylovIteration::Norm(double const* vector) const {
  return std::sqrt(InnerProduct(vector, vector, length));
}

void KrylovIteration::FillRandomly(std::size_t index) {
  for (std::size_t k = 0; k < length; ++k) Vector(index)[k] = static_cast<double>(random()) / random.max() - 0.5;
  Orthogonalize(index);
}

// Makes a vector orthogonal to all before it, and as long as 1. What was much shortened isn't orthogonal enough.
void KrylovIteration::Orthogonalize(std::size_t index) {
  double* const x = Vector(index);
  for (int times = 0; times < 3; ++times) {
    double const before = Norm(x);
    std::fill(along.begin(), along.end(), 0.0);
    AddInnerProducts({basis.data(), length, index}, x, length, along.data());
    SubtractScaledRows(x, along.data(), {basis.data(), length, index}, length);
    double const after = Norm(x);
    if (after > 0.0)
      for (std::size_t k = 0; k < length; ++k) x[k] /= after;
    if (after > shortened * before) break;
  }
}

// An approximation is due when the passes since the last one have taken about twice its time.
bool KrylovIteration::IsApproximationDue() const {
  constexpr double passesTime = 0.045;  // for each entry and vector, where that of an approximation is size³
  double const entries = static_cast<double>(length) * static_cast<double>(length);
  double const sizeCubed = static_cast<double>(size) * static_cast<double>(size) * static_cast<double>(size);
  return size >= count + last && passesTime * entries * static_cast<double>(size - formerSize) >= 2.0 * sizeCubed;
}

void KrylovIteration::Approximate() {
  formerSize = size;
  ritz = {};
  for (std::size_t i = 0; i < size; ++i)
    for (std::size_t j = i; j < size; ++j)
      if (!std::isfinite(projection[i * capacity + j])) return;
  ritz = SolveSmallEigenproblem(projection.data(), size, capacity);
  if (!ritz.values.empty() && !std::isfinite(ritz.values[0] * ritz.values[0])) ritz = {};
}

// What the matrix makes of an approximation lies in the basis, apart from what the last block couples with the next
// one.
bool KrylovIteration::AreResidualsBelow(double bound) const {
  for (std::size_t i = 0; i < count; ++i) {
    double const* const weights = ritz.vectors.data() + (i + 1) * size - last;
    double squaredLength = 0.0;
    for (std::size_t k = 0; k < next; ++k) {
      double sum = 0.0;
      for (std::size_t j = 0; j < last; ++j) sum += coupling[j * width + k] * weights[j];
      squaredLength += sum * sum;
    }
    if (!(std::sqrt(squaredLength) <= bound)) return false;
  }
  return true;
}

// Whether as many equal eigenvalues were found as a block can find.
bool KrylovIteration::MayLackCopies(double bound) const {
  if (width >= count || next == 0) return false;
  std::vector<double> values(ritz.values.begin(), ritz.values.begin() + static_cast<std::ptrdiff_t>(count));
  std::sort(values.begin(), values.end());
  std::size_t equal = 1;
  for (std::size_t i = 1; i < count; ++i) {
    equal = values[i] - values[i - 1] <= 4.0 * bound ? equal + 1 : 1;
    if (equal >= width && std::abs(values[i]) > 4.0 * bound) return true;
  }
  return false;
}

// Replaces the basis by its best approximations. The next block still follows it.
void KrylovIteration::KeepApproximations(std::size_t kept) {
  for (std::size_t start = 0; start < length; start += pieceLength) {
    std::size_t const piece = std::min(pieceLength, length - start);
    std::fill(rotated.begin(), rotated.end(), 0.0);
    for (std::size_t i = 0; i < kept; ++i)
      SubtractScaledRows(rotated.data() + i * pieceLength, ritz.vectors.data() + i * size,
                         {basis.data() + start, length, size}, piece);
    for (std::size_t i = 0; i < kept; ++i)
      for (std::size_t k = 0; k < piece; ++k) Vector(i)[start + k] = -rotated[i * pieceLength + k];
  }
  std::copy_n(Vector(size), next * length, Vector(kept));
  size = kept;
  formerSize = kept;
  std::fill(projection.begin(), projection.end(), 0.0);
  for (std::size_t i = 0; i < kept; ++i) projection[i * capacity + i] = ritz.values[i];
}

void KrylovIteration::WidenBlock() {
  Reserve(count);
  KeepApproximations(count);
  for (; next < std::min(width, length - size); ++next) FillRandomly(size + next);
}

double KrylovIteration::Eigenvalue(std::size_t index) const {
  if (index >= std::min(count, ritz.values.size())) return 0.0;
  double const value = std::abs(ritz.values[index]);
  return IsPositive(value * value) ? value : 0.0;
}

void KrylovIteration::StoreVectors(std::vector<std::vector<double>>& rows) const {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    product.Scatter(Eigenvalue(i) > 0.0 ? basis.data() + i * length : nullptr, rows[i]);
  }
}

}  // namespace ZaM::detail

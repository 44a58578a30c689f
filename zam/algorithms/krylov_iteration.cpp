#include "zam/algorithms/krylov_iteration.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "zam/algorithms/eigen_iteration.h"
#include "zam/foundation/create_counted.h"

namespace ZaM::detail {

namespace {

// A wider block takes more products to the same result, a narrower one less advantage of an entry that is in a
// register. So a matrix that stays in a cache, of up to so many examples, gets a narrow one. These numbers, and those
// below that tell when approximations are taken, by benchmarks/pca_benchmark.
constexpr std::size_t cachedLength = 512;
constexpr std::size_t narrowWidth = 2;
constexpr std::size_t blockWidth = 4;

// The basis holds so many vectors beside seven fifths of those that are wanted. That of a cached matrix grows instead
// of being replaced.
constexpr std::size_t spareVectors = 22;

// Parts of some vectors of the basis that stay in the first cache while a block passes by.
constexpr std::size_t pieceLength = 256;
constexpr std::size_t pieceRows = 8;

// A vector that has lost so much of its length isn't orthogonal enough to what was taken off it.
constexpr double shortened = 0.1;

// After so many passes, vectors that came in at random show which eigenvectors they hold. Of 3,000 random spectra with
// clusters, two passes left two that lacked a copy, three none.
constexpr unsigned int passesOfFreshBlock = 5;

constexpr double rounding = std::numeric_limits<double>::epsilon();
constexpr double smallestResidual = 512.0 * rounding;  // beside the greatest eigenvalue

}  // namespace

KrylovIteration::KrylovIteration(CentredGram const& matrix, std::vector<std::int8_t> const& activity,
                                 std::size_t vectorCount)
    : product(matrix, activity), length(product.Length()), count(std::min(vectorCount, length)) {
  width = std::min(count, IsCached() ? narrowWidth : blockWidth);
  bandwidth = width;
  due = count + 17;
  Reserve(std::min(length, 7 * count / 5 + std::max(spareVectors, 2 * width)));
  for (; next < width; ++next) FillRandomly(next);
}

bool KrylovIteration::IsCached() const {
  return length <= cachedLength;
}

void KrylovIteration::Reserve(std::size_t vectorCount) {
  capacity = vectorCount;
  basis.resize((capacity + width) * length);
  images.resize(width * length);
  coupling.resize(width * width);
  parts.resize(capacity * width);
  lengths.resize(width);
  along.resize(capacity + width);
  rotated.resize((count + width) * pieceLength);
  projection.resize(capacity * (capacity + 1) / 2);
}

unsigned int KrylovIteration::Run(double epsilon, unsigned int maxPasses, std::function<void()> const& beforePass) {
  // A tenth, so that eigenvalues far below the greatest one are right too: their errors fall with the residuals'
  // squares.
  double const tolerance = std::max(0.1 * epsilon, smallestResidual);
  converged = length == 0;
  for (unsigned int passes = 0;;) {
    if (passes == maxPasses || next == 0) return passes;
    beforePass();
    MultiplyBlock();
    ++passes;
    if (!ReportOutOfMemory([&] { return PrepareNextPass(tolerance, passes, passes == maxPasses); })) return passes;
  }
}

// False if there is none.
bool KrylovIteration::PrepareNextPass(double tolerance, unsigned int passes, bool isLast) {
  if (size + next > capacity && IsCached()) Reserve(std::min(length, 2 * capacity));
  bool const full = size + next > capacity || next == 0;
  if (!full && !isLast && size < due) return true;

  ritz = {projection, size, bandwidth, last};
  if (ritz.Values().empty() || !std::isfinite(ritz.Values()[0] * ritz.Values()[0])) {
    ritz = {};
    return false;
  }
  double const bound = tolerance * std::abs(ritz.Values()[0]);
  double const excess = Excess(bound);
  bool const decided = size >= count && (passes >= freshUntil || next == 0);
  bool const found = decided && excess <= 1.0;
  bool const mayLackCopies = found && HasFullCluster(bound);
  converged = found && !mayLackCopies;
  if (converged || isLast) {
    KeepApproximations(std::min(count, size));
    return false;
  }
  std::size_t const ahead = Forecast(excess);
  due = size + std::min(ahead, VectorsWorthApproximating());
  if (mayLackCopies) {
    WidenBlock();
    freshUntil = passes + passesOfFreshBlock;
    due = size + passesOfFreshBlock * width;
  } else if (full) {
    KeepApproximations(std::min(count + width, size - width));
    due = size + std::min(ahead, (capacity - size) / 2);
  }
  return true;
}

// How many vectors it will take until the residuals are small enough. They fall ever faster, so that a forecast from
// the last two is rather late than early.
std::size_t KrylovIteration::Forecast(double excess) {
  auto const now = static_cast<double>(size);
  double const missing = std::log10(std::max(excess, 1.0));
  double ahead = std::min(0.1 * missing, 0.5) * now;
  if (formerMissing > missing)
    ahead = std::min(ahead, missing / (formerMissing - missing) * static_cast<double>(size - formerSize));
  formerMissing = missing;
  formerSize = size;
  return static_cast<std::size_t>(ahead) + 1;
}

// An approximation takes about 20 ns for each entry of the projection, and a vector of a pass 0.045 ns for each entry
// of the matrix. Where approximations take no more than four times as long as the vectors, they needn't wait.
std::size_t KrylovIteration::VectorsWorthApproximating() const {
  return 1 + static_cast<std::size_t>(4.0 * 20.0 / 0.045 * static_cast<double>(size * size) /
                                      static_cast<double>(length * length));
}

void KrylovIteration::MultiplyBlock() {
  if (next == narrowWidth && IsCached())
    product.MultiplyPair(Vector(size), images.data());
  else
    product.Multiply(Vector(size), next, images.data());
  last = next;
  size += next;
  ProjectImages();
  MakeNextBlock();
}

// Takes the images' parts along the basis off; those along the vectors that they can reach are the projection's new
// rows. What rounding leaves is taken off with the parts along all others, or each pass would multiply it.
void KrylovIteration::ProjectImages() {
  for (std::size_t j = 0; j < last; ++j) scale = std::max(scale, Norm(Image(j)));
  TakePartsOff(coupled);
  for (std::size_t j = 0; j < last; ++j) {
    std::size_t const row = size - last + j;
    for (std::size_t i = coupled; i <= row; ++i) projection[row * (row + 1) / 2 + i] = parts[j * size + i];
  }
  TakePartsOff(0);
  coupled = size - last;
}

void KrylovIteration::TakePartsOff(std::size_t first) {
  std::fill(parts.begin(), parts.end(), 0.0);
  for (std::size_t start = 0; start < length; start += pieceLength)
    for (std::size_t row = first; row < size; row += pieceRows)
      AddInnerProducts({Vector(row) + start, length, std::min(pieceRows, size - row)}, {Image(0) + start, length, last},
                       std::min(pieceLength, length - start), parts.data() + row, size);
  for (std::size_t start = 0; start < length; start += pieceLength)
    for (std::size_t row = first; row < size; row += pieceRows)
      SubtractScaledRows({Image(0) + start, length, last}, parts.data() + row, size,
                         {Vector(row) + start, length, std::min(pieceRows, size - row)},
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
    AddInnerProducts({basis.data(), length, index}, {x, length, 1}, length, along.data(), index);
    SubtractScaledRows({x, length, 1}, along.data(), index, {basis.data(), length, index}, length);
    double const after = Norm(x);
    if (after > 0.0)
      for (std::size_t k = 0; k < length; ++k) x[k] /= after;
    if (after > shortened * before) break;
  }
}

// What the matrix makes of an approximation lies in the basis, apart from what the last block couples with the next
// one.
double KrylovIteration::Residual(std::size_t index) const {
  double const* const weights = ritz.LastEntries(index);
  double squaredLength = 0.0;
  for (std::size_t k = 0; k < next; ++k) {
    double sum = 0.0;
    for (std::size_t j = 0; j < last; ++j) sum += coupling[j * width + k] * weights[j];
    squaredLength += sum * sum;
  }
  return std::sqrt(squaredLength);
}

// The greatest residual, as a multiple of what is allowed: `bound` for what is wanted; for all others so much that none
// of them can turn out to be one of those. While the basis is replaced, most of the others never come so far.
double KrylovIteration::Excess(double bound) const {
  std::vector<double> const& values = ritz.Values();
  if (size < count) return 1.0 / bound;
  std::vector<double> allowed(IsCached() ? size : std::min(size, count + 1), bound);
  for (std::size_t i = count; i < allowed.size(); ++i)
    allowed[i] = std::max(bound, std::abs(values[count - 1]) - std::abs(values[i]));
  double excess = 0.0;
  for (std::size_t i = 0; i < allowed.size(); ++i) excess = std::max(excess, Residual(i) / allowed[i]);
  return excess;
}

// Whether as many equal eigenvalues were found as a block can find.
bool KrylovIteration::HasFullCluster(double bound) const {
  if (width >= count || next == 0) return false;
  std::vector<double> values(ritz.Values().begin(), ritz.Values().begin() + static_cast<std::ptrdiff_t>(count));
  std::sort(values.begin(), values.end());
  for (std::size_t i = 0; i + width <= count; ++i)
    if (values[i + width - 1] - values[i] <= 4.0 * bound && std::abs(values[i]) > 4.0 * bound) return true;
  return false;
}

// Replaces the basis by its best approximations. The next block still follows it.
void KrylovIteration::KeepApproximations(std::size_t kept) {
  std::vector<double> const weights = ritz.Vectors(kept);
  for (std::size_t start = 0; start < length; start += pieceLength) {
    std::size_t const piece = std::min(pieceLength, length - start);
    std::fill(rotated.begin(), rotated.end(), 0.0);
    SubtractScaledRows({rotated.data(), pieceLength, kept}, weights.data(), size, {basis.data() + start, length, size},
                       piece);
    for (std::size_t i = 0; i < kept; ++i)
      for (std::size_t k = 0; k < piece; ++k) Vector(i)[start + k] = -rotated[i * pieceLength + k];
  }
  std::copy_n(Vector(size), next * length, Vector(kept));
  size = kept;
  formerMissing = 0.0;
  std::fill(projection.begin(), projection.end(), 0.0);
  for (std::size_t i = 0; i < kept; ++i) projection[i * (i + 1) / 2 + i] = ritz.Values()[i];
  coupled = 0;
  bandwidth = length;
}

// Random vectors come in beside the next ones.
void KrylovIteration::WidenBlock() {
  if (!IsCached()) KeepApproximations(count);
  width = count;
  bandwidth = std::max(bandwidth, width);
  Reserve(std::min(length, std::max(capacity, size + passesOfFreshBlock * width)));
  for (; next < std::min(width, length - size); ++next) FillRandomly(size + next);
}

double KrylovIteration::Eigenvalue(std::size_t index) const {
  if (index >= std::min(count, ritz.Values().size())) return 0.0;
  double const value = std::abs(ritz.Values()[index]);
  return IsPositive(value * value) ? value : 0.0;
}

void KrylovIteration::StoreVectors(std::vector<std::vector<double>>& rows) const {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    product.Scatter(Eigenvalue(i) > 0.0 ? basis.data() + i * length : nullptr, rows[i]);
  }
}

}  // namespace ZaM::detail

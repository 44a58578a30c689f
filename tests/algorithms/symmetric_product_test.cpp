// Every kernel of this machine gives what plain loops give, whatever the sizes, and touches members only.
#include "zam/algorithms/symmetric_product.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <utility>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/create_counted.h"

namespace ZaM::detail {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

std::vector<SymmetricKernel const*> EveryKernel() {
  std::vector<SymmetricKernel const*> kernels{&portableSymmetricKernel};
  for (auto const* const* kernel = VectorSymmetricKernels(); *kernel; ++kernel) kernels.push_back(*kernel);
  return kernels;
}

std::vector<std::size_t> Indices(std::vector<IndexRange> const& members) {
  std::vector<std::size_t> indices;
  for (auto const& range : members)
    for (auto i = range.begin; i < range.end; ++i) indices.push_back(i);
  return indices;
}

/// A random lower triangle for `members`, NaN wherever one of two isn't a member, and empty rows where none is.
std::vector<std::vector<double>> MakeTriangle(std::vector<std::size_t> const& members, std::mt19937& engine) {
  std::vector<std::vector<double>> triangle(members.empty() ? 0 : members.back() + 1);
  for (auto const i : members) {
    triangle[i].assign(i + 1, nan);
    for (auto const k : members)
      if (k <= i) triangle[i][k] = std::uniform_real_distribution<double>(-1, 1)(engine);
  }
  return triangle;
}

void ExpectPlainProduct(SymmetricKernel const& kernel, std::vector<IndexRange> const& ranges, std::size_t vectorCount) {
  std::mt19937 engine(7);
  auto const members = Indices(ranges);
  auto const triangle = MakeTriangle(members, engine);
  auto const stride = members.size() + vectorCount % 3;
  std::vector<double> vectors(vectorCount * stride);
  for (auto& x : vectors) x = std::uniform_real_distribution<double>(-1, 1)(engine);
  std::vector<double> products(vectors.size(), nan);
  if (vectorCount == 2 && ranges.size() == 1)
    MultiplySymmetricPair(triangle, ranges[0], vectors.data(), products.data(), stride, kernel);
  else
    MultiplySymmetric(triangle, ranges, vectors.data(), products.data(), vectorCount, stride, kernel);
  for (std::size_t p = 0; p < vectorCount; ++p) {
    for (std::size_t i = 0; i < stride; ++i) {
      auto const product = products[p * stride + i];
      if (i >= members.size()) {
        ASSERT_TRUE(std::isnan(product)) << "written past the members";
        continue;
      }
      double expected = 0;
      for (std::size_t k = 0; k < members.size(); ++k) {
        auto const [low, high] = std::minmax(members[i], members[k]);
        expected += triangle[high][low] * vectors[p * stride + k];
      }
      ASSERT_NEAR(product, expected, 1e-13 * static_cast<double>(members.size()))
          << kernel.name << ", member " << i << " of " << members.size() << ", vector " << p << " of " << vectorCount;
    }
  }
}

TEST(SymmetricProductTest, EqualsThePlainDoubleLoopAndReadsMembersOnly) {
  std::vector<std::vector<IndexRange>> const memberLists = {
      {},
      {{0, 1}},
      {{0, 7}},
      {{0, 64}},
      {{3, 133}},
      {{0, 530}},
      {{1, 2}, {4, 5}, {6, 7}, {9, 10}, {11, 13}, {20, 37}},
      {{2, 101}, {103, 103}, {104, 200}, {230, 371}},
  };
  for (auto const* const kernel : EveryKernel())
    for (auto const& members : memberLists)
      for (std::size_t const vectorCount : {0U, 1U, 2U, 3U, 4U, 5U, 8U, 11U, 21U})
        ExpectPlainProduct(*kernel, members, vectorCount);
}

TEST(SymmetricProductTest, RowsAreTakenAsOneByOne) {
  std::mt19937 engine(7);
  std::size_t const stride = 41;
  for (auto const* const kernel : EveryKernel()) {
    for (std::size_t count = 0; count < stride; ++count) {
      for (std::size_t rowCount = 0; rowCount < 20; ++rowCount) {
        std::size_t const vectorCount = rowCount % 4;
        std::vector<double> numbers(rowCount * stride), y(vectorCount * stride), factors(vectorCount * rowCount);
        for (auto* const list : {&numbers, &y, &factors})
          for (auto& x : *list) x = static_cast<double>(engine() % 100);  // so that nothing is rounded
        RowBlock const rows{numbers.data(), stride, rowCount};
        std::vector<double> sums(factors.size(), 0.5);
        auto expectedSums = sums, expected = y;
        for (std::size_t r = 0; r < rowCount; ++r) {
          for (std::size_t k = 0; k < vectorCount * count; ++k) {
            std::size_t const p = k / count, at = k % count;
            expectedSums[p * rowCount + r] += numbers[r * stride + at] * y[p * stride + at];
            expected[p * stride + at] -= factors[p * rowCount + r] * numbers[r * stride + at];
          }
        }
        kernel->addInnerProducts(rows, {y.data(), stride, vectorCount}, count, sums.data(), rowCount);
        kernel->subtractScaledRows({y.data(), stride, vectorCount}, factors.data(), rowCount, rows, count);
        ASSERT_EQ(sums, expectedSums) << kernel->name;
        ASSERT_EQ(y, expected) << kernel->name;

        std::size_t const width = count / 4 * 4;
        std::vector<double> turned(numbers.begin(), numbers.begin() + static_cast<std::ptrdiff_t>(rowCount * width));
        auto expectedTurned = turned;
        std::vector<PlaneRotation> rotations;
        for (std::size_t i = 0; i + 1 < rowCount; ++i) rotations.push_back({0.0, 1.0, i * 3 % (rowCount - 1)});
        for (std::size_t i = rotations.size(); i-- > 0;) {
          double* const upper = expectedTurned.data() + rotations[i].row * width;
          for (std::size_t k = 0; k < width; ++k) upper[width + k] = std::exchange(upper[k], -upper[width + k]);
        }
        kernel->rotateRows(turned.data(), width, rotations.data(), rotations.size());
        ASSERT_EQ(turned, expectedTurned) << kernel->name;
      }
    }
  }
}

TEST(SymmetricProductTest, WritesNothingIfMemoryRunsOut) {
  std::mt19937 engine(7);
  std::vector<IndexRange> const members = {{0, 3}, {5, 9}};
  auto const triangle = MakeTriangle(Indices(members), engine);
  std::vector<double> const vectors(14, 1.0);
  std::vector<double> products(14, 2.0);
  auto const multiply = [&] {
    ReportOutOfMemory([&] { MultiplySymmetric(triangle, members, vectors.data(), products.data(), 2, 7); });
  };
  auto const failures = test::FailEachAllocation(multiply, [&] { EXPECT_EQ(products, std::vector<double>(14, 2.0)); });
  EXPECT_GE(failures, 6U);  // members, rows, moved entries, groups, their vectors and products
}

}  // namespace
}  // namespace ZaM::detail

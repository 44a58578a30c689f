// Matrices that are made of their eigenvalues, which are what has to be found in them.
#include "zam/algorithms/krylov_iteration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace ZaM::detail {
namespace {

using Matrix = std::vector<std::vector<double>>;

class KrylovIterationTest : public ::testing::Test {
 protected:
  double Share() { return std::uniform_real_distribution<double>(0, 1)(random); }
  std::size_t Below(std::size_t bound) { return random() % bound; }

  /// The lower triangle of a matrix with these eigenvalues: random reflections turn the diagonal one.
  Matrix MakeTriangle(std::vector<double> const& spectrum) {
    std::size_t const size = spectrum.size();
    Matrix a(size, std::vector<double>(size));
    for (std::size_t i = 0; i < size; ++i) a[i][i] = spectrum[i];
    for (int times = 0; times < 3; ++times) {
      std::vector<double> v(size);
      for (double& x : v) x = Share() - 0.5;
      double const factor = 2.0 / InnerProduct(v.data(), v.data(), size);
      for (auto& row : a) SubtractScaled(row.data(), factor * InnerProduct(row.data(), v.data(), size), v.data(), size);
      std::vector<double> sums(size);
      for (std::size_t i = 0; i < size; ++i) SubtractScaled(sums.data(), -v[i], a[i].data(), size);
      for (std::size_t i = 0; i < size; ++i) SubtractScaled(a[i].data(), factor * v[i], sums.data(), size);
    }
    for (std::size_t i = 0; i < size; ++i) a[i].resize(i + 1);
    return a;
  }

  struct Found {
    std::vector<double> values;
    Matrix vectors;
    unsigned int passes;
    bool converged;
  };

  Found Run(Matrix const& triangle, std::size_t count, double epsilon = 1e-6, unsigned int maxPasses = 1000) {
    std::size_t const size = triangle.size();
    std::vector<double> const noSums(size);
    CentredGram const matrix{.lowerTriangle = triangle, .rowSums = noSums, .total = 0.0, .exampleCount = 1.0};
    KrylovIteration iteration(matrix, std::vector<std::int8_t>(size, 1), count);
    Found found{std::vector<double>(count), Matrix(count, std::vector<double>(size)), 0, false};
    unsigned int calls = 0;
    found.passes = iteration.Run(epsilon, maxPasses, [&] { ++calls; });
    EXPECT_EQ(calls, found.passes);
    found.converged = iteration.Converged();
    for (std::size_t i = 0; i < count; ++i) found.values[i] = iteration.Eigenvalue(i);
    iteration.StoreVectors(found.vectors);
    return found;
  }

  void ExpectSpectrum(std::vector<double> spectrum, std::size_t count, double epsilon) {
    std::size_t const size = spectrum.size();
    Matrix const triangle = MakeTriangle(spectrum);
    Found const found = Run(triangle, count, epsilon);
    EXPECT_TRUE(found.converged);
    std::sort(spectrum.begin(), spectrum.end(), [](double a, double b) { return std::abs(a) > std::abs(b); });
    double const greatest = std::abs(spectrum[0]);
    for (std::size_t i = 0; i < count; ++i) {
      double const expected = i < size && std::abs(spectrum[i]) > 1e-6 ? std::abs(spectrum[i]) : 0.0;
      ASSERT_NEAR(found.values[i], expected, 1e-9 * greatest + (expected > 1e-5 ? 0.0 : 1e-5)) << i;
      std::vector<double> const& e = found.vectors[i];
      if (found.values[i] == 0.0) {
        ASSERT_EQ(InnerProduct(e.data(), e.data(), size), 0.0);
        continue;
      }
      for (std::size_t j = 0; j <= i; ++j)
        ASSERT_NEAR(InnerProduct(e.data(), found.vectors[j].data(), size), i == j ? 1.0 : 0.0, 1e-10);
      std::vector<double> image(size);
      MultiplySymmetric(triangle, {{0, size}}, e.data(), image.data(), 1, size);
      double residuals[2];  // for either sign of the eigenvalue
      for (int const sign : {0, 1}) {
        std::vector<double> difference = image;
        SubtractScaled(difference.data(), (sign == 0 ? 1.0 : -1.0) * found.values[i], e.data(), size);
        residuals[sign] = std::sqrt(InnerProduct(difference.data(), difference.data(), size));
      }
      ASSERT_LE(std::min(residuals[0], residuals[1]), (std::max(epsilon, 1e-12) + 1e-12) * greatest) << i;
    }
  }

  std::mt19937 random{1};
};

TEST_F(KrylovIterationTest, FindsTheGreatestOfAnySpectrum) {
  struct {
    char const* name;
    double (*value)(double index, double share);
  } const spectra[] = {
      {"all zero", [](double, double) { return 0.0; }},
      {"all equal", [](double, double) { return -3.0; }},
      {"39 copies after three", [](double i, double) { return i < 3    ? 9.0 - i
                                                              : i < 42 ? 5.0
                                                                       : 1.0 / (i + 1.0); }},
      {"39 that nearly are", [](double i, double x) { return i < 39 ? 5.0 + 1e-10 * x : x; }},
      {"seven close to seven",
       [](double i, double) { return i < 14 ? 1.0 - 0.01 * std::floor(i / 7) : 0.98 * std::pow(0.97, i); }},
      {"crowded", [](double i, double x) { return i < 6 ? 30.0 - 4.0 * i : 1.0 + 0.01 * x; }},
      {"of either sign",
       [](double i, double x) { return (std::fmod(i, 2) == 0 ? 1.0 : -1.0) * (x + 100.0 / (i + 1.0)); }},
      {"pairs of either sign", [](double i, double) { return std::fmod(i, 2) == 0 ? 1.0 + i : -i; }},
      {"of rank 3", [](double i, double x) { return i < 3 ? x + 1.0 : 0.0; }},
      {"of one only", [](double i, double) { return i == 0 ? 1e9 : 0.0; }},
      {"falling", [](double i, double) { return std::pow(0.8, i); }},
      {"falling fast", [](double i, double) { return 1e6 * std::pow(0.1, i); }},
  };
  for (auto const& [name, value] : spectra) {
    for (int round = 0; round < 12; ++round) {
      std::size_t const size = 1 + Below(round == 0 ? 300 : 90);
      std::size_t const count = round % 3 == 0 ? 1 + Below(size + 3) : 1 + Below(12);
      std::vector<double> spectrum(size);
      for (std::size_t i = 0; i < size; ++i) spectrum[i] = value(static_cast<double>(i), Share());
      SCOPED_TRACE(std::string(name) + ": " + std::to_string(count) + " of " + std::to_string(size));
      ASSERT_NO_FATAL_FAILURE(ExpectSpectrum(spectrum, count, round % 2 == 0 ? 1e-6 : 1e-7));
    }
  }
  std::vector<double> copies(200, 1.0);
  std::fill_n(copies.begin(), 39, 2.0);
  ExpectSpectrum(copies, 41, 1e-6);
}

TEST_F(KrylovIterationTest, EndsWithWhatItHasAtTheLastPass) {
  std::vector<double> spectrum(80);
  for (std::size_t i = 0; i < 80; ++i) spectrum[i] = 1.0 + 0.01 * static_cast<double>(i);
  Matrix const triangle = MakeTriangle(spectrum);
  unsigned int const needed = Run(triangle, 6).passes;
  for (unsigned int const most : {1U, 2U, needed}) {
    Found const found = Run(triangle, 6, 1e-6, most);
    EXPECT_EQ(found.passes, most);
    EXPECT_EQ(found.converged, most == needed);
    EXPECT_TRUE(found.values[0] > 1.2 && found.values[0] < 1.8);
    EXPECT_EQ(found.values[5] == 0.0, most < 3);  // the basis has fewer vectors than that
  }
}

TEST_F(KrylovIterationTest, FindsNothingWhereNumbersAreNone) {
  for (double const unfit :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e308}) {
    Matrix triangle = MakeTriangle(std::vector<double>(30, 1.0));
    triangle[7][3] = unfit;
    Found const found = Run(triangle, 6);
    EXPECT_EQ(found.values, std::vector<double>(6));
    EXPECT_EQ(found.vectors, Matrix(6, std::vector<double>(30)));
    EXPECT_FALSE(found.converged);
  }
  EXPECT_TRUE(Run({}, 6).converged) << "there is nothing to find";
}

}  // namespace
}  // namespace ZaM::detail

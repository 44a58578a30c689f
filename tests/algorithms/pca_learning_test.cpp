// Learned, grown and shrunk models against the principal components that dense vectors have by themselves.
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "tests/algorithms/pca_fixture.h"

namespace ZaM::test {
namespace {

constexpr double notNumber = std::numeric_limits<double>::quiet_NaN();

using Activities = std::vector<std::int8_t>;
using Matrix = std::vector<Vector>;

struct EigenPair {
  double value;
  Vector vector;  // of unit length
};

/// All of a symmetric matrix's, greatest value first, by Jacobi's rotations.
std::vector<EigenPair> Eigen(Matrix a) {
  std::size_t const size = a.size();
  Matrix v(size, Vector(size));
  for (std::size_t i = 0; i < size; ++i) v[i][i] = 1.0;
  auto const rotate = [](double& x, double& y, double c, double s) {
    double const former = x;
    x = c * former - s * y;
    y = s * former + c * y;
  };
  for (int sweep = 0; sweep < 30; ++sweep) {
    for (std::size_t p = 0; p < size; ++p) {
      for (std::size_t q = p + 1; q < size; ++q) {
        double const angle = 0.5 * std::atan2(2.0 * a[p][q], a[q][q] - a[p][p]);
        double const c = std::cos(angle);
        double const s = std::sin(angle);
        for (std::size_t k = 0; k < size; ++k) rotate(a[k][p], a[k][q], c, s);
        for (std::size_t k = 0; k < size; ++k) rotate(a[p][k], a[q][k], c, s);
        for (std::size_t k = 0; k < size; ++k) rotate(v[p][k], v[q][k], c, s);
      }
    }
  }
  std::vector<EigenPair> pairs(size);
  for (std::size_t i = 0; i < size; ++i) pairs[i] = {a[i][i], v[i]};
  std::sort(pairs.begin(), pairs.end(), [](auto const& x, auto const& y) { return x.value > y.value; });
  return pairs;
}

Vector Mean(Matrix const& points) {
  Vector mean(points[0].size());
  for (Vector const& point : points) {
    for (std::size_t k = 0; k < mean.size(); ++k) mean[k] += point[k] / static_cast<double>(points.size());
  }
  return mean;
}

/// The covariance matrix with the divisor n.
Matrix Covariance(Matrix const& points) {
  Vector const mean = Mean(points);
  Matrix sums(mean.size(), Vector(mean.size()));
  for (Vector const& point : points) {
    for (std::size_t k = 0; k < mean.size(); ++k) {
      for (std::size_t l = 0; l < mean.size(); ++l) sums[k][l] += (point[k] - mean[k]) * (point[l] - mean[l]);
    }
  }
  for (Vector& row : sums) {
    for (double& sum : row) sum /= static_cast<double>(points.size());
  }
  return sums;
}

class PcaLearningTest : public PcaFixture {
 protected:
  /// Around a centre that is far from the origin; each axis has half the spread of the one before.
  Vector RandomPoint(std::size_t axes, double scale = 1.0) {
    Vector point(axes);
    for (std::size_t k = 0; k < axes; ++k) {
      point[k] = scale * (std::ldexp(std::uniform_real_distribution(-1.0, 1.0)(random), 3 - static_cast<int>(k)) + 5.0);
    }
    return point;
  }
  Matrix RandomPoints(std::size_t count, std::size_t axes) {
    Matrix points(count);
    for (Vector& point : points) point = RandomPoint(axes);
    return points;
  }

  /// The model is that of the primal principal components of `points`, its active examples.
  void ExpectComponentsOf(Matrix const& points) {
    StoredModel const model = Model();
    auto const components = Eigen(Covariance(points));
    double const rootN = std::sqrt(static_cast<double>(points.size()));
    Vector const mean = Mean(points);
    Matrix documents = points;
    documents.push_back(RandomPoint(mean.size()));
    Matrix projected;
    for (Vector const& document : documents) projected.push_back(Project(document));
    for (std::size_t i = 0; i < model.dimension; ++i) {
      bool const present = i < components.size() && components[i].value > 1e-9 * components[0].value;
      ASSERT_NEAR(model.eigenValues[i], present ? components[i].value : 0.0, 1e-8 * components[0].value);
      double sign = 0.0;
      double sum = 0.0;
      for (std::size_t j = 0; j < documents.size(); ++j) {
        double score = 0.0;
        for (std::size_t k = 0; present && k < mean.size(); ++k) {
          score += (documents[j][k] - mean[k]) * components[i].vector[k];
        }
        if (sign == 0.0) sign = score * projected[j][i] < 0.0 ? -1.0 : 1.0;
        double const tolerance = present ? 1e-5 * (std::sqrt(components[0].value) + std::abs(score)) : 0.0;
        ASSERT_NEAR(projected[j][i], sign * score / std::sqrt(rootN), tolerance) << "component " << i << " of " << j;
        if (j < points.size()) sum += projected[j][i];
      }
      ASSERT_NEAR(sum, 0.0, 1e-4 * std::sqrt(components[0].value));
    }
  }

  std::mt19937 random{1};
};

TEST_F(PcaLearningTest, LearnsAndProjectsFourPointsAroundTheOrigin) {
  control.SetDimension(1);
  Learn(fourPoints);
  StoredModel const model = Model();
  EXPECT_NEAR(model.eigenValues.at(0), 2.0, 1e-6);
  EXPECT_NEAR(model.eigenValues.at(1), 0.5, 1e-6);
  EXPECT_NEAR(Product(model.eigenVectors[0], model.eigenVectors[0]), 1.0, 1e-6);
  EXPECT_NEAR(Product(model.eigenVectors[1], model.eigenVectors[1]), 4.0, 1e-6);
  EXPECT_EQ(model.gramRowSums, Vector(1000));
  EXPECT_EQ(model.gramTotal, 0.0);
  struct {
    Vector document;
    double expected;
  } const cases[] = {{{2, 0}, 1.41421}, {{1, 0}, .70711}, {{0, 1}, 0.0}};
  for (auto const& [document, expected] : cases) {
    Vector const found = Project(document);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_NEAR(std::abs(found[0]), expected, 1e-5);
  }
}

TEST_F(PcaLearningTest, EqualsThePrimalComponents) {
  struct {
    std::size_t points, axes;
    unsigned int dimension;
  } const cases[] = {{12, 2, 1}, {30, 5, 3}, {40, 4, 4}, {25, 2, 5}, {10, 6, 0}, {5, 1, 3}, {4, 8, 1}};
  control.SetEpsilon(0.0);
  for (auto const& [count, axes, dimension] : cases) {
    control.SetDimension(dimension);
    Matrix const points = RandomPoints(count, axes);
    Learn(points);
    SCOPED_TRACE(dimension);
    ExpectComponentsOf(points);
  }
}

TEST_F(PcaLearningTest, CouplesExamplesOfOneActivityAndKeepsTheStartAtTheOthers) {
  control.SetDimension(2);
  control.SetEpsilon(0.0);
  Matrix const points = RandomPoints(16, 3);
  SetPoints(points);
  Activities const activities = {-2, 1, 2, 0, 1, 2, 1, 2, 1, -1, 2, 1, 2, 1, 0, 7};
  Run(activities, {learnStep});
  StoredModel const model = Model();

  Matrix centred(16, Vector(16));  // by vectors around the mean of all, active or not
  Vector const mean = Mean(points);
  for (std::size_t j = 0; j < 16; ++j) {
    for (std::size_t k = 0; k < 16; ++k) {
      if (activities[j] <= 0 || activities[j] != activities[k]) continue;
      for (std::size_t l = 0; l < 3; ++l) centred[j][k] += (points[j][l] - mean[l]) * (points[k][l] - mean[l]) / 16.0;
    }
  }
  auto const pairs = Eigen(centred);
  std::set<double> starts;
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_NEAR(model.eigenValues[i], pairs[i].value, 1e-8 * pairs[0].value);
    double const factor = std::sqrt(4.0 / pairs[i].value);
    for (std::size_t j = 0; j < 16; ++j) {
      double const entry = model.eigenVectors[i][j] / factor;
      if (activities[j] > 0) {
        EXPECT_NEAR(std::abs(entry), std::abs(pairs[i].vector[j]), 1e-6);
        continue;
      }
      // The scale of all start vectors shows where the cosine is 1.
      double const start = entry / (model.eigenVectors[1][0] / std::sqrt(4.0 / pairs[1].value));
      if (i != 0) {
        EXPECT_NEAR(start, std::cos(static_cast<double>(i * j) * 2.0 * std::acos(-1.0) / 16.0), 1e-6);
      } else {
        EXPECT_TRUE(start >= 0.0 && start < 1.0);
        EXPECT_NEAR(start * 32768.0, std::round(start * 32768.0), 0.05);
        starts.insert(start);
      }
    }
  }
  EXPECT_EQ(starts.size(), 4U);  // random numbers differ

  // The start vectors i and n - i are the same, so that five examples of rank 4 give three components.
  control.SetDimension(4);
  Learn(RandomPoints(5, 4));
  Vector const values = Model().eigenValues;
  EXPECT_GT(values[2], 1e-3);
  EXPECT_EQ(values[3], 0.0);
}

/// Three of the four points, their vectors (1, 0, 1, 0)·2 and (0, 0, 1, 0)·3, and room for the fourth one at activity
/// 0.
StoredModel ModelOfThree(unsigned int maxIterations, double epsilon) {
  return {.dimension = 1,
          .maxIterations = maxIterations,
          .maxExamples = 5,
          .exampleCount = 4,
          .hasGram = 1,
          .gramTotal = 1.0,
          .epsilon = epsilon,
          .gramRowSums = {0, 0, 1, 0, 0},
          .eigenValues = {9, 9},
          .eigenVectors = {{2, 0, 2, 0, 0}, {0, 0, 3, 0, 0}},
          .gram = {{4}, {-4, 4}, {0, 0, 1}, {0, 0, 0, 0}}};
}

TEST_F(PcaLearningTest, IteratesFromTheFormerVectorsUntilTheImagesAreOrthogonal) {
  // The images after one pass are (4, -4, 1, -1) / √32 and (0, 0, 1, -1) / 4. The sum of their inner products is √2 /
  // 16 and that of their squared lengths 19 / 16: a ratio of 0.07443. Made orthogonal, the second is (-1, 1, 4, -4)
  // / 17.
  Matrix const directions = {{4, -4, 1, -1}, {-1, 1, 4, -4}};
  double const squaredLengths[] = {17.0 / 16.0, 2.0 / 17.0};
  struct {
    unsigned int maxIterations;
    double epsilon;
    bool onePass;
  } const cases[] = {{1, 0.0, true},    {1, notNumber, true}, {2, 0.0744, false}, {2, 0.0745, true},
                     {1000, 0.1, true}, {0, 0.1, true},       {0, 0.0, false}};
  SetPoints(fourPoints);
  for (auto const& [maxIterations, epsilon, onePass] : cases) {
    ASSERT_TRUE(Load(ToBytes(ModelOfThree(maxIterations, epsilon))));
    Run({1, 1, 1, 0}, {insertStep});
    StoredModel const model = Model();
    EXPECT_EQ(model.gramRowSums, Vector(5));
    EXPECT_EQ(model.gramTotal, 0.0);
    EXPECT_EQ(model.gram[3], (Vector{0, 0, -1, 1}));
    for (std::size_t i = 0; i < 2; ++i) {
      double const value = std::sqrt(squaredLengths[i]);
      EXPECT_EQ(std::abs(model.eigenValues[i] - value) < 1e-12, onePass) << epsilon;
      double const factor = std::sqrt(2.0 / value / 34.0);
      for (std::size_t j = 0; onePass && j < 4; ++j) {
        EXPECT_NEAR(model.eigenVectors[i][j], directions[i][j] * factor, 1e-12);
      }
    }
  }
}

TEST_F(PcaLearningTest, InsertsAndRemovesAsIfLearnedAfresh) {
  control.SetDimension(2);
  control.SetEpsilon(0.0);
  control.SetMaxIterations(400);
  for (int round = 0; round < 25; ++round) {
    Matrix points = RandomPoints(8, 4);
    Learn(points);
    Activities states(points.size(), 1);  // 1 or -2, as it will be after the next run
    for (int step = 0; step < 8; ++step) {
      bool const removes = random() % 2 == 0;
      bool const inserts = !removes || random() % 2 == 0;
      Activities marks = states;
      auto inside = std::count(states.begin(), states.end(), 1);
      for (std::size_t i = 0; i < points.size(); ++i) {
        if (removes && states[i] == 1 && inside > 5 && random() % 4 == 0) {
          marks[i] = -1;
          states[i] = -2;
          --inside;
        } else if (inserts && states[i] == -2 && random() % 4 == 0) {
          marks[i] = 0;
          states[i] = 1;
          points[i] = RandomPoint(4);
        }
      }
      for (std::size_t more = inserts ? random() % 3 : 0; more != 0; --more) {
        points.push_back(RandomPoint(4));
        marks.push_back(0);
        states.push_back(1);
      }
      if (random() % 4 == 0) {
        std::string const bytes = Saved();
        analyzer = PcaAnalyzer();
        ASSERT_TRUE(Load(bytes));
      }
      SetPoints(points);
      std::vector<Step> steps;
      if (inserts) steps.push_back(insertStep);
      if (removes) steps.push_back(removeStep);
      Run(marks, steps);

      Matrix active;
      for (std::size_t i = 0; i < points.size(); ++i) {
        if (states[i] == 1) active.push_back(points[i]);
      }
      StoredModel const model = Model();
      double total = 0.0;
      for (std::size_t i = 0; i < points.size(); ++i) {
        double sum = 0.0;
        for (Vector const& other : active) sum += states[i] == 1 ? Product(points[i], other) : 0.0;
        ASSERT_NEAR(model.gramRowSums[i], sum, 1e-8) << "in step " << step << " of round " << round;
        total += sum;
      }
      ASSERT_NEAR(model.gramTotal, total, 1e-7);
      ExpectComponentsOf(active);
    }
  }
}

TEST_F(PcaLearningTest, ForgetsWhatAPlaceGrewWhileItWasOutOfUse) {
  // Eigenvalues far below 1 make factors far above 1, with which the entries of an idle place are multiplied each time.
  control.SetDimension(2);
  control.SetEpsilon(0.0);
  Matrix points = RandomPoints(9, 3);
  for (Vector& point : points) {
    for (double& number : point) number *= 0.01;
  }
  Learn(points);
  Activities marks(9, 1);
  marks[0] = -1;
  Run(marks, {removeStep});
  marks[0] = -2;
  for (int times = 0; times < 200; ++times) {
    marks[1] = times % 2 == 0 ? -1 : 0;
    Run(marks, {times % 2 == 0 ? removeStep : insertStep});
  }
  ExpectComponentsOf({points.begin() + 1, points.end()});
  marks[0] = 0;
  marks[1] = 1;
  Run(marks, {insertStep});
  ExpectComponentsOf(points);
}

}  // namespace
}  // namespace ZaM::test

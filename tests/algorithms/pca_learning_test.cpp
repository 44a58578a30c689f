// Learned, grown and shrunk models against the principal components that dense vectors have by themselves.
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "tests/algorithms/pca_fixture.h"

namespace ZaM::test {
namespace {

struct EigenPair {
  double value;
  Vector vector;  // of unit length
};

/// All of a symmetric matrix's, greatest value first, by Jacobi's rotations.
std::vector<EigenPair> Eigen(Matrix a) {
  std::size_t const size = a.size();
  Matrix v(size, Vector(size));
  for (std::size_t i = 0; i < size; ++i) v[i][i] = 1.0;
  for (int sweep = 0; sweep < 30; ++sweep) {
    for (std::size_t p = 0; p < size; ++p) {
      for (std::size_t q = p + 1; q < size; ++q) {
        double const angle = 0.5 * std::atan2(2.0 * a[p][q], a[q][q] - a[p][p]);
        auto const rotate = [c = std::cos(angle), s = std::sin(angle)](double& x, double& y) {
          double const former = x;
          x = c * former - s * y;
          y = s * former + c * y;
        };
        for (std::size_t k = 0; k < size; ++k) rotate(a[k][p], a[k][q]);
        for (std::size_t k = 0; k < size; ++k) rotate(a[p][k], a[q][k]);
        for (std::size_t k = 0; k < size; ++k) rotate(v[p][k], v[q][k]);
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

Vector Difference(Vector x, Vector const& y) {
  for (std::size_t k = 0; k < x.size(); ++k) x[k] -= y[k];
  return x;
}

/// Of the covariance matrix with the divisor n.
std::vector<EigenPair> PrimalComponents(Matrix const& points) {
  Vector const mean = Mean(points);
  Matrix covariance(mean.size(), Vector(mean.size()));
  for (Vector const& point : points) {
    Vector const x = Difference(point, mean);
    for (std::size_t k = 0; k < x.size() * x.size(); ++k) {
      covariance[k / x.size()][k % x.size()] += x[k / x.size()] * x[k % x.size()] / static_cast<double>(points.size());
    }
  }
  return Eigen(covariance);
}

class PcaLearningTest : public PcaFixture {
 protected:
  PcaLearningTest() {
    control.SetDimension(2);
    control.SetEpsilon(0.0);
  }

  /// Around a centre that is far from the origin; each axis has half the spread of the one before.
  Vector RandomPoint(std::size_t axes, double scale = 1.0) {
    Vector point(axes);
    std::uniform_real_distribution spread(-1.0, 1.0);
    for (std::size_t k = 0; k < axes; ++k) point[k] = scale * (std::ldexp(spread(random), 3 - static_cast<int>(k)) + 5);
    return point;
  }
  Matrix RandomPoints(std::size_t count, std::size_t axes, double scale = 1.0) {
    Matrix points(count);
    for (Vector& point : points) point = RandomPoint(axes, scale);
    return points;
  }

  /// The model is that of the primal principal components of `points`, its active examples: each coordinate is the
  /// score over the fourth root of n, up to one sign per component.
  void ExpectComponentsOf(Matrix const& points) {
    StoredModel const model = Model();
    auto const components = PrimalComponents(points);
    double const root = std::sqrt(static_cast<double>(points.size()));
    Vector const mean = Mean(points);
    Matrix documents = points;
    documents.push_back(RandomPoint(mean.size()));
    Matrix projected;
    for (Vector const& document : documents) projected.push_back(Project(document));
    for (std::size_t i = 0; i < model.dimension; ++i) {
      bool const present = i < components.size() && components[i].value > 1e-9 * components[0].value;
      ASSERT_NEAR(model.eigenValues[i], present ? components[i].value : 0.0, 1e-8 * components[0].value);
      double sign = 0.0;
      for (std::size_t j = 0; j < documents.size(); ++j) {
        double const score = present ? Product(Difference(documents[j], mean), components[i].vector) : 0.0;
        if (sign == 0.0) sign = score * projected[j][i] < 0.0 ? -1.0 : 1.0;
        double const tolerance = present ? 1e-5 * (std::sqrt(components[0].value) + std::abs(score)) : 0.0;
        ASSERT_NEAR(projected[j][i], sign * score / std::sqrt(root), tolerance) << "component " << i << " of " << j;
      }
    }
  }

  /// The sums of the model are those of the Gram matrix of its examples, whatever stands at other places.
  void ExpectSumsOf(Matrix const& points, Activities const& states) {
    StoredModel const model = Model();
    double total = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      double sum = 0.0;
      for (std::size_t j = 0; states[i] == 1 && j < points.size(); ++j)
        sum += states[j] == 1 ? Product(points[i], points[j]) : 0.0;
      ASSERT_NEAR(model.gramRowSums[i], sum, 1e-8) << i;
      total += sum;
    }
    ASSERT_NEAR(model.gramTotal, total, 1e-7);
  }

  std::mt19937 random{1};
};

TEST_F(PcaLearningTest, EqualsThePrimalComponents) {
  struct {
    std::size_t points, axes;
    unsigned int dimension;
    bool accelerated = false;
  } const cases[] = {{12, 2, 1},       {30, 5, 3},      {40, 4, 4},       {25, 2, 5},       {10, 6, 0},
                     {5, 1, 3},        {4, 8, 1},       {12, 2, 1, true}, {30, 5, 3, true}, {25, 2, 5, true},
                     {10, 6, 0, true}, {5, 4, 4, true}, {60, 9, 9, true}, {4, 8, 9, true}};
  for (auto const& [count, axes, dimension, accelerated] : cases) {
    SCOPED_TRACE(dimension);
    control.SetDimension(dimension);
    control.SetEnableAcceleration(accelerated);
    Matrix points = RandomPoints(count, axes);
    Learn(points);
    ExpectComponentsOf(points);

    // Components that aren't there stay away.
    Activities activities(points.size(), 1);
    points.push_back(RandomPoint(axes));
    activities.push_back(0);
    SetPoints(points);
    Run(activities, {insertStep});
    ExpectComponentsOf(points);
  }
}

TEST_F(PcaLearningTest, CouplesExamplesOfOneActivityAndKeepsTheStartAtTheOthers) {
  Matrix const points = RandomPoints(16, 3);
  SetPoints(points);
  Activities const activities = {-2, 1, 2, 0, 1, 2, 1, 2, 1, -1, 2, 1, 2, 1, 0, 7};
  Run(activities, {learnStep});
  StoredModel const model = Model();

  Matrix centred(16, Vector(16));  // around the mean of all, active or not
  Vector const mean = Mean(points);
  for (std::size_t j = 0; j < 16; ++j) {
    for (std::size_t k = 0; k < 16; ++k) {
      bool const coupled = activities[j] > 0 && activities[j] == activities[k];
      centred[j][k] = coupled ? Product(Difference(points[j], mean), Difference(points[k], mean)) / 16.0 : 0.0;
    }
  }
  auto const pairs = Eigen(centred);
  std::set<double> starts;
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_NEAR(model.eigenValues[i], pairs[i].value, 1e-8 * pairs[0].value);
    auto const unscaled = [&](std::size_t row, std::size_t j) {
      return model.eigenVectors[row][j] / std::sqrt(4.0 / pairs[row].value);
    };
    for (std::size_t j = 0; j < 16; ++j) {
      double const start = unscaled(i, j) / unscaled(1, 0);  // where the cosine is 1
      if (activities[j] > 0) {
        EXPECT_NEAR(std::abs(unscaled(i, j)), std::abs(pairs[i].vector[j]), 1e-6);
      } else if (i != 0) {
        EXPECT_NEAR(start, std::cos(static_cast<double>(i * j) * std::acos(-1.0) / 8.0), 1e-6);
      } else {
        EXPECT_TRUE(start >= 0.0 && start < 1.0 && starts.insert(start).second);  // random numbers differ
      }
    }
  }

  // The document's own products are summed up over the active ones.
  Vector const document = RandomPoint(3);
  double missing = 0.0;
  for (std::size_t j = 0; j < 16; ++j) missing += activities[j] > 0 ? 0.0 : Product(document, points[j]) / 16.0;
  for (std::size_t i = 0; i < 2; ++i) {
    double expected = 0.0;
    for (std::size_t j = 0; j < 16; ++j) {
      double const centredProduct = Product(Difference(document, mean), Difference(points[j], mean));
      if (activities[j] > 0) expected += (centredProduct + missing) * model.eigenVectors[i][j] / 16.0;
    }
    EXPECT_NEAR(Project(document)[i], expected, 1e-5 * std::abs(expected));
  }
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
  } const cases[] = {{1, 0.0, true},    {2, 0.0744, false}, {2, 0.0745, true},
                     {1000, 0.1, true}, {0, 0.1, true},     {0, 0.0, false}};
  SetPoints(fourPoints);
  for (auto const& [maxIterations, epsilon, onePass] : cases) {
    // Three of the four points, with two vectors to start from, and a place for the fourth.
    Matrix const vectors = {{2, 0, 2, 0, 0}, {0, 0, 3, 0, 0}};
    Matrix const gram = {{4}, {-4, 4}, {0, 0, 1}, {0, 0, 0, 0}};
    ASSERT_TRUE(Load(ToBytes({1, maxIterations, 5, 4, 1, 1.0, epsilon, {0, 0, 1, 0, 0}, {9, 9}, vectors, gram})));
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
  control.SetMaxIterations(3000);
  control.SetTargetActivity(7);  // doesn't matter to those who come in, as little as how the model was learned before
  struct {
    bool inserts, removes, all;
  } const changes[] = {{true, false, false}, {true, false, true}, {false, true, false}, {true, true, false}};
  for (int round = 0; round < 15; ++round) {
    Matrix points = RandomPoints(8, 4);
    Learn(points);
    Activities states(points.size(), 1);  // 1 in the model, -2 not
    for (int step = 0; step < 8; ++step) {
      auto const& [inserts, removes, all] = changes[random() % std::size(changes)];
      if (random() % 4 == 0) {
        std::string const bytes = Saved();
        analyzer = PcaAnalyzer();
        ASSERT_TRUE(Load(bytes));
      }
      Activities marks = states;
      bool waiting = false;
      for (std::size_t i = 0; i < states.size(); ++i) {
        if (!all && random() % 4 != 0) continue;
        if (removes && states[i] == 1 && std::count(states.begin(), states.end(), 1) > 5) {
          marks[i] = -1;
          states[i] = -2;
        } else if (inserts && (all || states[i] == -2)) {  // another one at a place that was used before
          marks[i] = 0;
          states[i] = 1;
          points[i] = RandomPoint(4);
        } else if (states[i] == -2) {  // for an insertion that this run isn't
          marks[i] = 0;
          waiting = true;
        }
      }
      for (std::size_t more = inserts ? random() % 3 : 0; more != 0; --more) {
        points.push_back(RandomPoint(4));
        marks.push_back(0);
        states.push_back(1);
      }
      SetPoints(points);
      control.SetEnableAcceleration(random() % 2 == 0);
      std::vector<Step> steps(1, inserts ? insertStep : removeStep);
      if (removes) steps.push_back(removeStep);
      Run(marks, steps);

      Matrix active;
      for (std::size_t i = 0; i < points.size(); ++i) {
        if (states[i] == 1) active.push_back(points[i]);
      }
      ExpectSumsOf(points, states);
      bool const changed = std::any_of(marks.begin(), marks.end(), [](int mark) { return mark == 0 || mark == -1; });
      if (changed && !waiting) ExpectComponentsOf(active);  // those that wait count in the divisor
    }
  }
}

TEST_F(PcaLearningTest, ForgetsWhatAPlaceGrewWhileItWasOutOfUse) {
  // Eigenvalues far below 1 make factors far above 1, with which the entries of an idle place are multiplied each time.
  Matrix const points = RandomPoints(9, 3, 0.01);
  for (int const changes : {6, 200}) {
    Learn(points);
    Activities marks(9, 1);
    marks[0] = -1;
    Run(marks, {removeStep});
    marks[0] = -2;
    for (int change = 0; change < changes; ++change) {
      marks[1] = change % 2 == 0 ? -1 : 0;
      Run(marks, {change % 2 == 0 ? removeStep : insertStep});
    }
    ExpectComponentsOf({points.begin() + 1, points.end()});
    marks[0] = 0;
    marks[1] = 1;
    Run(marks, {insertStep});
    ExpectComponentsOf(points);
  }
}

}  // namespace
}  // namespace ZaM::test

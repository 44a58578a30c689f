#include "zam/algorithms/pca_analyzer.h"

#include <cmath>
#include <limits>
#include <memory>

#include "tests/algorithms/pca_fixture.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"

namespace ZaM::test {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double notNumber = std::numeric_limits<double>::quiet_NaN();

Matrix const scattered = {{7, 1, 0}, {-3, 4, 1}, {2, -5, 2}, {0, 2, -1}, {-4, -2, 0}, {5, 3, 1}, {1, 1, 4}};

class PcaAnalyzerTest : public PcaFixture {
 protected:
  PcaAnalyzerTest() { control.SetDimension(2); }

  std::int32_t FailureOf(Step step) {
    SetSteps({step});
    return FailureId([&] { analyzer.DoAlgorithm(&control); });
  }
};

TEST_F(PcaAnalyzerTest, DividesByTheCountThatTheLastStepLeft) {
  struct {
    Activities activities;
    unsigned int targetActivity;
    std::vector<Step> steps;
    double count;
  } const cases[] = {
      {{1, 1, 1, 1}, 1, {}, 4},
      {{1, 1, 2, 3}, 1, {}, 2},
      {{1, 1, 2, 3}, 3, {}, 1},
      {{1, 1, 2, 3}, 9, {}, 0},
      {{1, 1, -56, -56}, 200, {}, 2},
      {{1, 1, -3, 7, 0}, 9, {insertStep}, 4},  // place 4 is null: counted, not inserted
      {{1, 1, -2, 0}, 9, {removeStep}, 3},
  };
  control.SetDimension(1);
  for (auto const& [activities, targetActivity, steps, count] : cases) {
    Learn(fourPoints);
    std::string const before = Saved();
    control.SetTargetActivity(targetActivity);
    Run(activities, steps);
    EXPECT_TRUE(Saved().compare(headerSize, 24000, before, headerSize, 24000) == 0);
    // The scale of the stored vectors stays that of 4 examples, which gives 0.70711.
    EXPECT_NEAR(std::abs(Project({1, 0})[0]), count == 0 ? 99.0 : std::sqrt(0.5) * 4.0 / count, 1e-5) << count;
  }
  Learn({{2, 0}, {-2, 0}, {0, 1}});  // too few
  EXPECT_EQ(Project({1, 0}), none);
  EXPECT_EQ(Saved(), "");
}

TEST_F(PcaAnalyzerTest, RunsAnyStepsInTheirOrder) {
  SetPoints(scattered);
  Run({1, 1, 1, 1, 1}, {learnStep});
  PcaAnalyzer const start = analyzer;
  for (unsigned int flags = 0; flags < 1U << std::size(allSteps); ++flags) {
    std::vector<Step> steps;
    for (std::size_t i = 0; i < std::size(allSteps); ++i) {
      if ((flags >> i & 1) != 0) steps.push_back(allSteps[i]);
    }
    std::pair<std::string, Vector> outcomes[2];
    for (bool const apart : {false, true}) {
      analyzer = start;
      Ref const document(Document({1, 2, 3}));
      control.SetSourceNode(document.Get());
      Offer({1, -1, 1, 1, 1, 0, 0});
      if (!apart) RunSteps(steps);
      for (std::size_t i = 0; apart && i < steps.size(); ++i) RunSteps({steps[i]});
      outcomes[apart] = {Saved(), Coordinates(*document)};
    }
    EXPECT_TRUE(outcomes[0] == outcomes[1]) << flags;
    EXPECT_EQ(outcomes[0].second == none, (flags & 16) == 0);
  }
}

TEST_F(PcaAnalyzerTest, TakesExamplesOutOfTheBlockAndSettingsWithLearningOnly) {
  control.SetMaxExamples(1200);
  control.SetMaxIterations(77);
  Learn(scattered);
  EXPECT_TRUE(control.GetExampleVector().empty() && control.GetActivityVector().empty());
  control.SetMaxExamples(10);
  control.SetMaxIterations(5);
  control.SetEnableRelearn(false);
  Run({1, 1, 1, 1, -1, -1, 1}, {removeStep});
  for (bool const learned : {false, true}) {
    if (learned) RunSteps({learnStep});
    StoredModel const model = Model();
    EXPECT_EQ(model.maxIterations, learned ? 5U : 77U);
    EXPECT_EQ(model.maxExamples, 1200U);
    EXPECT_EQ(model.hasGram, learned ? 0 : 1);
  }
  // What no iteration can reach is stored as what it can.
  struct {
    unsigned int maxIterations, storedIterations;
    double epsilon, storedEpsilon;
  } const extremes[] = {{1U << 20, 1U << 20, 0.0, 0.0},
                        {(1U << 20) + 1, 1U << 20, -1e-300, 0.0},
                        {0xFFFFFFFF, 1U << 20, notNumber, 0.0},
                        {0, 0, infinite, infinite}};
  for (auto const& [maxIterations, storedIterations, epsilon, storedEpsilon] : extremes) {
    control.SetMaxIterations(maxIterations);
    control.SetEpsilon(epsilon);
    Learn(Matrix(4, {0}));
    EXPECT_EQ(Model().maxIterations, storedIterations);
    EXPECT_EQ(Model().epsilon, storedEpsilon);
    EXPECT_TRUE(Load(Saved()));
  }
  Learn(scattered);
  // Vectors of different lengths stay where they are, but what counts is set.
  std::string const before = Saved();
  Offer({1, 1});
  control.SetActivityVector({1});
  control.SetTargetActivity(9);
  RunSteps({examplesStep});
  EXPECT_EQ(control.GetExampleVector().size(), 2U);
  EXPECT_EQ(Project({1, 2, 3}), none);
  EXPECT_TRUE(Saved() == before);
}

// The last attempt is the one that doesn't fail any more, and gives what a first one gives.
TEST_F(PcaAnalyzerTest, StaysWholeWhenAProductOrAnAllocationFails) {
  SetPoints(scattered);
  Run({1, 1, 1, 1, 1}, {learnStep});
  struct {
    Step step;
    Activities activities;
    unsigned int products;
    bool accelerated;
  } const cases[] = {{learnStep, {1, 1, 1, 1, 1}, 15, false},
                     {insertStep, {1, 1, 1, 1, 1, 0, 0}, 14, false},
                     {removeStep, {-1, 1, 1, -1, 1, 1, 1}, 0, true}};
  for (auto const& [step, activities, products, accelerated] : cases) {
    control.SetEnableAcceleration(accelerated);
    Run(activities);
    PcaAnalyzer const start = analyzer;
    std::string const before = step == learnStep ? "" : Saved();
    RunSteps({step});
    std::string const after = Saved();
    ASSERT_FALSE(after.empty());
    auto const unchanged = [&] {
      EXPECT_TRUE(Saved() == before);
      EXPECT_EQ(Project({1, 2, 3}) == none, before.empty());
    };

    analyzer = start;
    EXPECT_GT(FailEachAllocation([&] { analyzer.DoAlgorithm(&control); }, unchanged, {.mayKeepMemory = true}), 5U);
    EXPECT_TRUE(Saved() == after);

    analyzer = start;
    unsigned int left = 0;
    double unfit = 0.0;
    auto const fail = [&](Point const& x, Point const& y) {
      if (left != 0) return --left, Product(x.numbers, y.numbers);
      return unfit != 0.0 ? unfit : throw std::length_error("dot");  // which isn't to count as a lack of memory
    };
    for (unsigned int done = 0; done < products; ++done) {
      for (double const result : {0.0, infinite, -infinite, notNumber, 1.7e308}) {
        if (result != 0.0 && step == learnStep) continue;
        left = done;
        unfit = result;
        Point::onDot = fail;
        if (result == 0.0) {
          EXPECT_THROW(RunSteps({step}), std::length_error);
        } else {
          EXPECT_EQ(FailureOf(step), 1) << result << " for product " << done;
        }
        Point::onDot = nullptr;
        unchanged();
      }
    }
    RunSteps({step});
    EXPECT_TRUE(Saved() == after);
  }
  PcaAnalyzer const other = analyzer;
  std::string const before = Saved();
  Offer({1, 1});
  SetSteps({examplesStep});
  auto const unchanged = [&] { EXPECT_TRUE(control.GetExampleVector().size() == 2 && Saved() == before); };
  PcaControl copy;
  EXPECT_EQ(FailEachAllocation([&] { copy = control; }, [&] { EXPECT_TRUE(copy.GetExampleVector().empty()); }), 2U);
  FailEachAllocation([&] { analyzer.DoAlgorithm(&control); }, unchanged);
  EXPECT_GT(FailEachAllocation([&] { analyzer = other; }, [&] { EXPECT_EQ(Model().exampleCount, 2U); }), 10U);
  EXPECT_TRUE(Saved() == before);
}

TEST_F(PcaAnalyzerTest, ReportsEachPassAndStopsWhereItIsTold) {
  struct : CallBack {
    void Increment(unsigned int step, bool* stop) override {
      CallBack::Increment(step, stop);
      *stop = GetCurrent() == last;
    }
    unsigned int last = 0;  // the pass that isn't done any more
  } callBack;
  analyzer.SetCallBack(&callBack);
  for (bool const accelerated : {false, true}) {
    control.SetEnableAcceleration(accelerated);
    control.SetMaxIterations(1000);
    callBack = {};
    Learn(scattered);
    unsigned int const passes = analyzer.GetPasses();
    EXPECT_EQ(passes, callBack.GetCurrent());
    EXPECT_EQ(passes <= 4, accelerated) << passes;  // two vectors a time for seven examples
    for (unsigned int const most : {1U, passes}) {
      control.SetMaxIterations(most);
      Learn(scattered);
      EXPECT_EQ(analyzer.GetPasses(), most);
      EXPECT_EQ(analyzer.GetConverged(), most == passes);
    }
    std::string const before = Saved();
    for (auto const& [step, activities] : {std::pair(removeStep, Activities{-1, 1, 1, 1, 1, 1, 1}),
                                           std::pair(learnStep, Activities{1, 1, 1, 1, 1, 1, 1})}) {
      callBack = {};
      callBack.last = 2;
      Run(activities);
      EXPECT_EQ(FailureOf(step), 21);
      EXPECT_EQ(callBack.GetCurrent(), 2U);
      EXPECT_TRUE(Saved() == (step == learnStep ? "" : before));
      EXPECT_EQ(analyzer.GetPasses(), step == learnStep ? 0 : passes);
    }
  }
}

TEST_F(PcaAnalyzerTest, LearnsFromFewOrUnfitExamplesWhatTheyAllow) {
  for (double const unfit : {infinite, -infinite, notNumber, 1e308}) {
    control.SetEnableAcceleration(unfit > 0.0);
    Point::onDot = [unfit](Point const& x, Point const& y) {
      return &x != &y && x.numbers == y.numbers ? unfit : Product(x.numbers, y.numbers);
    };
    Learn({{1, 2}, {3, 4}, {3, 4}, {5, 7}, {-4, 1}});
    EXPECT_EQ(Model().eigenValues, Vector(3)) << unfit;
    EXPECT_EQ(Project({1, 1}), Vector(2)) << unfit;
  }
  Point::onDot = nullptr;
  control.SetEnableAcceleration(false);

  // A null pointer counts as zero, and may stand beside every change.
  Learn({{1, 2}, {0, 0}, {3, 5}, {-2, 7}, {0, 0}, {4, 1}});
  std::string const withZeros = Saved();
  examples[1] = examples[4] = {};
  Run({1, 1, 1, 1, 1, 1}, {learnStep});
  EXPECT_TRUE(Saved() == withZeros);
  Run({1, 0, 1, 1, -2, -1}, {removeStep});
  Run({1, 0, 1, 1, 0, 0}, {insertStep});
  EXPECT_EQ(Model().gram[5], (Vector{6, 0, 17, -1, 0, 17}));

  // Fewer than four may be left, and an insertion is enough to begin with.
  control.SetEpsilon(0.0);
  SetPoints(fourPoints);
  for (bool const shrinks : {true, false}) {
    analyzer = PcaAnalyzer();
    if (shrinks) Run({1, 1, 1, 1}, {learnStep});
    Run(shrinks ? Activities{1, 1, 1, -1} : Activities{0, 0, 0, -2}, {shrinks ? removeStep : insertStep});
    Vector const values = Model().eigenValues;
    EXPECT_NEAR(values[0], 8.0 / 3.0, 1e-6);
    EXPECT_NEAR(values[1], 2.0 / 9.0, 1e-6);
    EXPECT_EQ(values[2], 0.0);
  }
  Run({-1, -1, -1, -2}, {removeStep});
  EXPECT_EQ(Model().eigenValues, Vector(4));  // the default dimension, as nothing was learned
  EXPECT_EQ(Project({1, 1}), none);
}

TEST_F(PcaAnalyzerTest, RefusesWhatAModelHasNoRoomOrNoNumbersFor) {
  control.SetEnableRelearn(false);
  Learn(fourPoints);
  std::string const withoutGram = Saved();
  unsigned int const huge = PcaAnalyzer::mostExamples + 1;
  for (auto const& [dimension, maxExamples] : {std::pair(huge, 0U), {0xFFFFFFFF, 0U}, {2U, huge}, {2U, 0xFFFFFFFF}}) {
    control.SetDimension(dimension);
    control.SetMaxExamples(maxExamples);
    EXPECT_EQ(FailureOf(learnStep), 4001);
    EXPECT_TRUE(Saved() == withoutGram);
  }
  ASSERT_TRUE(Load(withoutGram));
  examples.emplace_back(Point::Create({1, 1}));
  struct {
    Activities activities;
    std::int32_t onInsert, onRemove;
  } const cases[] = {{{1, 1, 1, 1}, 0, 0}, {{1, 1, 1, -1}, 0, 53}, {{1, 1, 1, 1, 0}, 53, 0}};
  for (auto const& [activities, onInsert, onRemove] : cases) {
    Run(activities);
    EXPECT_EQ(FailureOf(insertStep), onInsert);
    EXPECT_EQ(FailureOf(removeStep), onRemove);
    Run({1, 1, 1, 1});
    EXPECT_TRUE(Saved() == withoutGram);
  }

  Run({1, 1, 1, 1, 0});
  SetSteps({insertStep});
  FailingAllocation failing(0);  // without memory to tell what is missing
  std::int32_t const id = FailureId([&] { analyzer.DoAlgorithm(&control); });
  failing.Stop();
  EXPECT_EQ(id, 5);

  // More examples than there is room for; in a projection only active ones need a place.
  control.SetMaxExamples(0);
  SetPoints(Matrix(1001, {1, 1}));
  Activities activities(1001, 0);
  Run(activities);
  EXPECT_EQ(FailureOf(learnStep), 8);
  EXPECT_EQ(FailureOf(insertStep), 8);
  EXPECT_EQ(Saved(), "");
  for (std::size_t const active : {0U, 1000U}) {
    activities[active] = 1;
    Run(activities);
    EXPECT_EQ(FailureId([&] { Project({1, 2}); }), active == 0 ? 0 : 8);
  }
}

TEST_F(PcaAnalyzerTest, ProjectsDocumentsAndPassesContainersOver) {
  Ref const root(DocumentNode::Create());
  DocumentNode* const invalid = Document({});
  DocumentNode* const inner = Document({1, 0});
  DocumentNode* const last = Document({2, 0});
  auto* const foreign = ProbeNode::Create("no document");
  for (Node* const child : std::initializer_list<Node*>{invalid, foreign, last}) root->AddChild(child);
  invalid->AddChild(inner);
  auto const project = [&](Node* node, bool batch = true) {
    control.SetSourceNode(node);
    control.SetDoBatch(batch);
    RunSteps({projectStep});
  };
  control.SetDimension(1);
  project(root.Get());  // without a model
  Learn(fourPoints);
  for (Node* const node : std::initializer_list<Node*>{nullptr, foreign}) project(node);
  for (Node* const node : {root.Get(), invalid}) project(node, false);
  for (DocumentNode* const document : {inner, last}) EXPECT_EQ(Coordinates(*document), none);
  project(root.Get());
  for (DocumentNode* const document : {root.Get(), invalid}) EXPECT_EQ(Coordinates(*document), none);
  EXPECT_EQ(Coordinates(*inner), Project({1, 0}));

  // An earlier result is replaced. Where a product or an allocation fails, it stays on this and the later documents.
  Vector const former = Coordinates(*last);
  EXPECT_EQ(former, Project({2, 0}));
  Learn({{1, 0}, {3, 0}, {7, 1}, {2, 5}});
  Point::onDot = [](Point const& x, Point const& y) {
    return x.numbers[0] != 2 ? Product(x.numbers, y.numbers) : throw std::runtime_error("dot");
  };
  EXPECT_THROW(project(root.Get()), std::runtime_error);
  Point::onDot = nullptr;
  EXPECT_EQ(Coordinates(*inner), Project({1, 0}));
  EXPECT_EQ(Coordinates(*last), former);
  control.SetSourceNode(last);
  auto const stays = [&] { EXPECT_EQ(Coordinates(*last), former); };
  EXPECT_GT(FailEachAllocation([&] { analyzer.DoAlgorithm(&control); }, stays, {.mayKeepMemory = true}), 2U);
  EXPECT_EQ(Coordinates(*last), Project({2, 0}));
  EXPECT_EQ(last->GetFeature()->GetFeature()->GetFeature(), nullptr);

  // Under the tag of the documents themselves a result takes their place, and is projected the next time.
  control.SetResultTag(Representation::GetDefaultTag());
  for (int times = 0; times < 2; ++times) {
    project(inner);
    auto const* const result = dynamic_cast<FullResult*>(inner->GetRepresentation(Representation::GetDefaultTag()));
    EXPECT_TRUE(result && result->GetResults().size() == 1 && result->GetResultType(0) == ResultTypeScored);
  }
}

}  // namespace
}  // namespace ZaM::test

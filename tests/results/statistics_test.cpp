// Error matrices and error plots against totals that are taken from lists of documents.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <random>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"

namespace ZaM::test {
namespace {

DocumentNode* addDocument(DocumentNode& parent, unsigned int classId, Node* feature = nullptr) {
  DocumentNode* const document = DocumentNode::Create(classId, nullptr);
  document->AddFeature(feature);
  parent.AddChild(document);
  return document;
}

ErrorPlot* plotOf(DocumentNode& node) {
  return dynamic_cast<ErrorPlot*>(node.GetRepresentation(ErrorPlot::GetDefaultTag()));
}

TEST(StatisticsTest, TellHowWellDocumentsWereClassified) {
  Ref const corpus(DocumentNode::Create());
  DocumentNode& letters = *addDocument(*corpus, 1);
  for (unsigned int const assigned : {1U, 1U, 2U}) {
    auto* const result = FullResult::Create();
    result->SetResultItem(assigned, 0.75F, ResultTypeScored);
    addDocument(letters, 1, result);
  }
  Ref const matrix(ErrorMatrix::Create(3));
  ErrorMatrixVisitor counting(matrix.Get(), 0.5, 0.1);
  counting.SetResultTag(FullResult::GetDefaultTag());
  corpus->Visit(&counting);
  EXPECT_EQ(matrix->GetCorrect(), 2U);
  EXPECT_EQ(matrix->GetResult(1, 2), 1U);

  ErrorPlotVisitor plotting;
  plotting.SetResultTag(FullResult::GetDefaultTag());
  corpus->Visit(&plotting);
  EXPECT_NEAR(plotOf(letters)->GetGoodHistogram()[75], 2.0 / 3.0, 1e-6);
  EXPECT_EQ(plotOf(letters)->GetGoodHistogram()[76], 0.0F);
}

using Decision = std::pair<unsigned int, unsigned int>;  // the true class, and the assigned one

void expectTotals(ErrorMatrix const& matrix, unsigned int classes, std::vector<Decision> const& documents) {
  auto const count = [&](auto condition) {
    return static_cast<unsigned int>(std::count_if(documents.begin(), documents.end(), [&](Decision const& decision) {
      auto const [t, a] = decision;
      return t < classes && a < classes && condition(t, a);
    }));
  };
  auto const isWrong = [](auto t, auto a) { return t != 0 && a != 0 && a != t; };
  EXPECT_EQ(matrix.GetDocCount(), count([](auto t, auto) { return t != 0; }));
  EXPECT_EQ(matrix.GetCorrect(), count([](auto t, auto a) { return t != 0 && a == t; }));
  EXPECT_EQ(matrix.GetRejected(), count([](auto t, auto a) { return t != 0 && a == 0; }));
  EXPECT_EQ(matrix.GetIncorrect(), count(isWrong));
  for (unsigned int id = 0; id < classes; ++id) {
    EXPECT_EQ(matrix.GetClassCount(id), count([&](auto t, auto) { return t == id && t != 0; }));
    EXPECT_EQ(matrix.GetClassExported(id), count([&](auto t, auto a) { return isWrong(t, a) && t == id; }));
    EXPECT_EQ(matrix.GetClassImported(id), count([&](auto t, auto a) { return isWrong(t, a) && a == id; }));
    for (unsigned int other = 0; other < classes + 2; ++other) {
      EXPECT_EQ(matrix.GetResult(id, other), count([&](auto t, auto a) { return t == id && a == other; }));
    }
  }
}

/// The documents that a class's plot has in each bin.
struct Bins {
  DocumentNode* carrier;
  std::array<double, 101> good = {}, bad = {};
};

void expectCurve(std::vector<float> const& curve, std::array<double, 101> const& bins, double count) {
  for (std::size_t i = 0; i < bins.size(); ++i) {
    ASSERT_NEAR(curve.at(i), count == 0 ? 0.0 : std::accumulate(bins.begin() + i, bins.end(), 0.0) / count, 1e-5);
  }
}

TEST(StatisticsTest, CountTheDocumentsOfAnyTree) {
  struct {
    float value;
    std::size_t bin;
  } const confidences[] = {{0.0F, 0},        {-0.0F, 0},    {0.29F, 28},    {0.999F, 99},    {1.0F, 100},
                           {1.5F, 100},      {-0.005F, 0},  {-0.02F, 100},  {0x1p30F, 0},    {-0x1p30F, 0},
                           {0x1p24F, 100},   {0x1p56F, 0},  {0x1p57F, 100}, {-0x1p56F, 0},   {-0x1p57F, 100},
                           {1e38F, 100},     {-1e38F, 100}, {0.3F, 30},     {infinite, 100}, {-infinite, 100},
                           {notANumber, 100}};
  constexpr unsigned int classes = 4;
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    std::vector<Decision> decisions;
    std::map<unsigned int, Bins> plots;
    Ref<DocumentNode> const root(DocumentNode::Create(static_cast<unsigned int>(random() % 6), nullptr));
    plots[root->GetClassId()].carrier = root.Get();  // without a feature: has a plot, and isn't counted
    std::vector<DocumentNode*> path{root.Get()};     // down to the last document
    std::vector<DocumentNode*> others;
    for (int i = 0; i < 30; ++i) {
      path.resize(1 + random() % path.size());
      auto const id = static_cast<unsigned int>(random() % 6), assigned = static_cast<unsigned int>(random() % 6);
      auto const [value, bin] = confidences[random() % std::size(confidences)];
      auto const kind = random() % 8;  // mostly with a valid result
      auto* const result =
          kind < 2 ? nullptr
                   : ProbeResult::Create(kind == 2 ? Items{} : Items{Item(assigned, value), Item(5, 9)}, kind != 3);
      DocumentNode* const document =
          addDocument(*path.back(), id, kind == 1 ? static_cast<Node*>(TaggedNode::Create("Sres")) : result);
      path.push_back(document);
      root->AddChild(i == 7 ? ProbeNode::Create("no document") : nullptr);
      bool const isNew = kind < 2 && !plots.contains(id);
      if (isNew) plots[id].carrier = document;
      if (!isNew) others.push_back(document);
      if (kind != 0) decisions.emplace_back(id, kind > 3 && value >= -1e38F ? assigned : 0);
      if (kind > 3 && plots.contains(id)) ++(assigned == id ? plots[id].good : plots[id].bad)[bin];
    }
    Ref const matrix(ErrorMatrix::Create(classes));
    ErrorMatrixVisitor counting(matrix.Get(), -1e300, -1e300);
    root->Visit(&counting);
    expectTotals(*matrix, classes, decisions);
    ErrorPlotVisitor plotting;
    root->Visit(&plotting);
    for (auto const& [id, bins] : plots) {
      ErrorPlot* const plot = plotOf(*bins.carrier);
      ASSERT_TRUE(plot && plot->GetClassId() == id && plot->AddRefCount() == 2);  // the node's, and this one
      plot->Release();
      double const count =
          std::accumulate(bins.good.begin(), bins.good.end(), std::accumulate(bins.bad.begin(), bins.bad.end(), 0.0));
      ASSERT_EQ(plot->GetCount(), count);
      ASSERT_EQ(plot->IsValid(), count != 0);
      ASSERT_NO_FATAL_FAILURE(expectCurve(plot->GetGoodHistogram(), bins.good, count));
      ASSERT_NO_FATAL_FAILURE(expectCurve(plot->GetBadHistogram(), bins.bad, count));
    }
    for (DocumentNode* const other : others) ASSERT_FALSE(plotOf(*other));
  }
}

/// Puts a document of class 1 with this result through a visitor; gives the class under which it was counted, or 10.
unsigned int assign(Result* result, double best, double distance, bool useFinalFlag = false) {
  Ref const document(DocumentNode::Create(1, nullptr));
  result->SetTagName("Rslt");
  document->AddRepresentation(result);
  Ref const matrix(ErrorMatrix::Create(10));
  ErrorMatrixVisitor visitor(matrix.Get(), best, distance);
  visitor.SetResultTag("Rslt"_tag);
  visitor.SetUseFinalFlag(useFinalFlag);
  document->Visit(&visitor);
  unsigned int assigned = 0;
  while (assigned < 10 && matrix->GetResult(1, assigned) == 0) ++assigned;
  return assigned;
}

TEST(ErrorMatrixVisitorTest, AssignsOrRejects) {
  struct {
    Items items;
    double best;
    double distance;
    unsigned int assigned;
  } const cases[] = {
      {{Item(3, 0.75F), Item(4, 0.5F)}, 0.75, 0.25, 3},
      {{Item(3, 0.75F), Item(4, 0.5F)}, 0.76, 0.0, 0},
      {{Item(3, 0.75F), Item(4, 0.5F)}, 0.0, 0.26, 0},
      {{Item(3, 0.75F)}, 0.0, 0.75, 3},  // alone, it is ahead of 0.0
      {{Item(3, 0.7F)}, 0.7, 0.0, 0},    // the float is below the double
      {{Item(3, 0.5F), Item(4, 0.75F)}, 0.0, 0.0, 0},
      {{Item(3, 0.5F), Item(4, 0.75F)}, 0.0, -0.25, 3},
      {{Item(3, 0.5F), Item(4, notANumber)}, 0.0, 0.0, 0},
      {{Item(3, infinite), Item(4, infinite)}, 0.0, 0.0, 0},
      {{Item(3, 0.5F)}, 0.0, notANumber, 0},
  };
  for (auto const& [items, best, distance, assigned] : cases) {
    EXPECT_EQ(assign(ProbeResult::Create(items), best, distance), assigned);
    // A full result gives no more of its classes than it is asked for.
    Ref const full(FullResult::Create());
    for (IndexedResult const& item : items) full->SetResultItem(item.GetIndex(), item.GetValue(), ResultTypeFinal);
    if (items[0].GetValue() != 0.75F) continue;
    EXPECT_EQ(assign(Ref(full).Detach(), best, distance), assigned);
  }
  // With the final flag neither thresholds nor validity count.
  Items const items = {Item(3, 0.5F), Item(4, -1.0F, 3), Item(5, 0.4F, 1)};
  EXPECT_EQ(assign(ProbeResult::Create(items, false), 1.0, 1.0, true), 4U);
  EXPECT_EQ(assign(ProbeResult::Create({items[0]}), 0.0, 0.0, true), 0U);
}

TEST(ErrorMatrixTest, KeepsCellsApartWhoseKeysWouldMeetIn32Bits) {
  Ref const matrix(ErrorMatrix::Create(70'000));
  matrix->Increase(1, 61'357);  // 70,000 * 61,357 + 1 is 2^32 + 22,705
  EXPECT_EQ(matrix->GetResult(22'705, 0), 0U);
  EXPECT_EQ(matrix->GetResult(1, 61'357), 1U);
  EXPECT_EQ(matrix->GetResult(70'001, 61'356), 0U);  // nor may an id beyond the range meet a cell
}

TEST(ErrorMatrixTest, RefusesSingleTotalsOfClassesThatItHasNot) {
  Ref const matrix(ErrorMatrix::Create(3));
  std::pair<void (ErrorMatrix::*)(unsigned int), unsigned int (ErrorMatrix::*)(unsigned int) const> const totals[] = {
      {&ErrorMatrix::IncreaseClassCount, &ErrorMatrix::GetClassCount},
      {&ErrorMatrix::IncreaseClassImported, &ErrorMatrix::GetClassImported},
      {&ErrorMatrix::IncreaseClassExported, &ErrorMatrix::GetClassExported}};
  for (auto const& total : totals) {
    (matrix.Get()->*total.first)(2);
    EXPECT_EQ((matrix.Get()->*total.second)(2), 1U);
    for (unsigned int const id : {3U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
      EXPECT_EQ(FailureId([&] { (matrix.Get()->*total.first)(id); }), 8);
      try {
        (matrix.Get()->*total.second)(id);
        FAIL() << id;
      } catch (OutOfBoundsException const& failure) {
        EXPECT_EQ(failure.GetCurrentIndex(), id == 3 ? 3 : 0x7FFFFFFF);  // never negative
        EXPECT_EQ(failure.GetMaxIndex(), 3);
      }
    }
  }
  EXPECT_EQ(FailureId([] { ErrorMatrix::Create(ErrorMatrix::MaxClasses + 1); }), 4001);
}

TEST(ErrorPlotTest, MergesValidPlotsAndNothingElse) {
  Ref const plot(ErrorPlot::Create(1)), other(ErrorPlot::Create(2));
  plot->IncrGood(30);
  plot->IncrGood(101);  // no bin
  plot->IncrBad(0xFFFFFFFF);
  plot->add(*other);
  plot->add(*Ref(TaggedNode::Create("Eplt")));
  EXPECT_EQ(plot->GetCount(), 1U);
  other->IncrBad(100);
  other->IncrGood(100);
  static_cast<Representation&>(*plot).add(*other);
  EXPECT_EQ(plot->GetCount(), 3U);
  auto const third = static_cast<float>(1.0 / 3);  // rounded each, and again at their sum
  EXPECT_EQ(plot->GetGoodHistogram()[30], third + third);
  EXPECT_EQ(plot->GetBadHistogram()[100], third);
  plot->add(*plot);
  EXPECT_EQ(plot->GetCount(), 6U);
  EXPECT_EQ(plot->GetClassId(), 1U);
}

}  // namespace
}  // namespace ZaM::test

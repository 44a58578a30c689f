// Single calls and refusals; fuzz/statistics_fuzzer.cpp compares the totals of any tree with those of a list.
#include <gtest/gtest.h>

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
  EXPECT_EQ(FailureId([] { ErrorMatrix::Create(ErrorMatrix::maxClasses + 1); }), 4001);
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

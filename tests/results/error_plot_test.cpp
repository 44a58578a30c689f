#include "zam/results/error_plot.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"

namespace ZaM::test {
namespace {

using Curve = std::vector<float>;

TEST(ErrorPlotTest, GivesTheShareOfAllDocumentsFromEachBinUp) {
  Ref const plot(ErrorPlot::Create(7));
  plot->IncrGood(101);
  plot->IncrBad(0xFFFFFFFF);
  EXPECT_FALSE(plot->IsValid());
  EXPECT_TRUE(plot->GetGoodHistogram() == Curve(101) && plot->GetBadHistogram() == Curve(101));

  plot->IncrGood(30);
  plot->IncrBad(10);
  Curve good(101);
  std::fill_n(good.begin(), 31, 0.5F);
  Curve bad(101);
  std::fill_n(bad.begin(), 11, 0.5F);
  EXPECT_EQ(plot->GetGoodHistogram(), good);
  EXPECT_EQ(plot->GetBadHistogram(), bad);

  plot->IncrGood(100);  // thirds are rounded each, and again at their sum
  auto const third = static_cast<float>(1.0 / 3);
  EXPECT_EQ(plot->GetGoodHistogram()[30], third + third);
}

TEST(ErrorPlotTest, MergesValidPlotsAndNothingElse) {
  Ref const plot(ErrorPlot::Create(1));
  Ref const other(ErrorPlot::Create(2));
  plot->IncrGood(5);
  plot->add(*other);
  plot->add(*Ref(TaggedNode::Create("Eplt")));
  EXPECT_EQ(plot->GetCount(), 1U);
  other->IncrBad(100);
  static_cast<Representation&>(*plot).add(*other);
  plot->add(*plot);
  EXPECT_EQ(plot->GetClassId(), 1U);
  EXPECT_EQ(plot->GetCount(), 4U);
  EXPECT_EQ(plot->GetGoodHistogram()[5], 0.5F);
  EXPECT_EQ(plot->GetBadHistogram()[100], 0.5F);
}

DocumentNode* AddDocument(DocumentNode& parent, unsigned int classId, Result* result = nullptr) {
  DocumentNode* const document = DocumentNode::Create(classId, nullptr);
  document->AddRepresentation(result);
  parent.AddChild(document);
  return document;
}

ErrorPlot* PlotOf(DocumentNode& node) {
  return dynamic_cast<ErrorPlot*>(node.GetRepresentation(ErrorPlot::GetDefaultTag()));
}

TEST(ErrorPlotVisitorTest, FindsTheBinOfAnyNumber) {
  struct {
    float value;
    std::size_t bin;
  } const cases[] = {
      {0.0F, 0},       {-0.0F, 0},   {0.29F, 28},   {0.999F, 99},    {1.0F, 100},      {1.5F, 100},       {-0.005F, 0},
      {-0.02F, 100},   {0x1p30F, 0}, {-0x1p30F, 0}, {0x1p24F, 100},  {0x1p56F, 0},     {0x1p57F, 100},    {-0x1p56F, 0},
      {-0x1p57F, 100}, {1e38F, 100}, {-1e38F, 100}, {infinite, 100}, {-infinite, 100}, {notANumber, 100},
  };
  for (auto const& [value, bin] : cases) {
    Ref const root(DocumentNode::Create(3, nullptr));
    AddDocument(*root, 3, ProbeResult::Create({Item(3, value), Item(4, 0.75F)}));
    ErrorPlotVisitor visitor;
    root->Visit(&visitor);
    Curve curve(101);
    std::fill_n(curve.begin(), bin + 1, 1.0F);
    EXPECT_EQ(PlotOf(*root)->GetGoodHistogram(), curve) << value;
  }
}

TEST(ErrorPlotVisitorTest, PlotsEachClassAtItsFirstNodeWithoutAResult) {
  Ref const root(DocumentNode::Create());                       // class 0 is one like any other
  AddDocument(*root, 2, ProbeResult::Create({Item(2, 0.5F)}));  // comes by before its class has a plot
  DocumentNode* const first = AddDocument(*root, 1);
  DocumentNode* const second = AddDocument(*root, 2);
  DocumentNode* const again = AddDocument(*root, 1);
  AddDocument(*first, 1, ProbeResult::Create({Item(2, 0.75F), Item(1, 0.5F)}));
  AddDocument(*first, 1, ProbeResult::Create({Item(1, 0.5F)}, false));
  AddDocument(*first, 1, ProbeResult::Create({}));  // valid, but nothing in it
  auto* const unplotted = ProbeResult::Create({Item(3, 0.5F)});
  AddDocument(*first, 3, unplotted);  // has no plot of its class, and gets none
  AddDocument(*again, 1, ProbeResult::Create({Item(1, 1.0F)}));
  AddDocument(*second, 0, ProbeResult::Create({Item(0, 0.5F)}));
  root->AddChild(ProbeNode::Create("no document"));

  ErrorPlotVisitor visitor;
  root->Visit(&visitor);
  ErrorPlot* const plot = PlotOf(*first);
  ASSERT_TRUE(plot && PlotOf(*second) && PlotOf(*root));
  EXPECT_FALSE(PlotOf(*again));
  EXPECT_EQ(unplotted->asked, "valid? best 1");
  for (Node* child : Children(*first)) EXPECT_FALSE(PlotOf(dynamic_cast<DocumentNode&>(*child)));
  EXPECT_EQ(plot->GetClassId(), 1U);
  EXPECT_EQ(plot->GetCount(), 2U);
  EXPECT_EQ(plot->GetGoodHistogram()[100], 0.5F);
  EXPECT_EQ(plot->GetBadHistogram()[75], 0.5F);
  EXPECT_FALSE(PlotOf(*second)->IsValid());
  EXPECT_EQ(PlotOf(*root)->GetCount(), 1U);
  EXPECT_EQ(plot->AddRefCount(), 2);  // only the node has a reference
  EXPECT_EQ(plot->Release(), 1);

  ErrorPlotVisitor other;  // doesn't know the plots of the first
  other.SetResultTag(SetRepTag("Othr"));
  root->Visit(&other);
  Ref const former(first->RemoveRepresentation(ErrorPlot::GetDefaultTag()));
  EXPECT_TRUE(former == plot && PlotOf(*first) && !PlotOf(*first)->IsValid());
}

}  // namespace
}  // namespace ZaM::test

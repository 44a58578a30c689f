#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/memory_cases.h"
#include "tests/support/result_items.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

/// A copy made as a derived class would make it.
template <class Kind>
void Copy(Kind const& original) {
  CreateCounted([&] { return new Kind(original); })->Release();
}

TEST(ResultsOutOfMemory, LeavesSparseResultsAsTheyWere) {
  Ref<SparseResult> const result(SparseResult::Create());
  Ref<SparseResult> const other(SparseResult::Create());
  for (unsigned int id = 0; id < 65; ++id) result->SetResultItem(id, 0.5F, ResultTypeScored);
  Items const items(3, Item(7, 0.5F));
  ExpectAllOrNothing(
      {{"create", [] { SparseResult::Create()->Release(); }},
       {"add to a short list", [&] { other->SetResultItem(0, 0.5F, ResultTypeFinal); }},
       {"add to a long list", [&] { result->SetResultItem(65, 0.5F, ResultTypeFinal); }, {.mayKeepMemory = true}},
       {"copy", [&] { Copy(*result); }},
       {"assign", [&] { *other = *result; }},
       {"set the list", [&] { other->SetResults(items); }},
       {"get the list", [&] { EXPECT_EQ(other->GetResults().size(), 3U); }},
       {"clone", [&] { result->Clone()->Release(); }}},
      [&] { return std::pair(result->GetBestResults(0), other->GetBestResults(0)); });
}

TEST(ResultsOutOfMemory, LeavesFullResultsAsTheyWere) {
  Ref<FullResult> const result(FullResult::Create());
  Ref<FullResult> const other(FullResult::Create());
  std::vector<float> const values = {0.0F, 0.5F, 0.25F, 0.75F};
  std::vector<FullResultItem> const items(9);
  result->SetResults(values);
  result->GetBestResults(1);
  result->SetResultItem(3, 0.75F, ResultTypeFinal);  // the best results go on showing the former type
  ExpectAllOrNothing({{"create", [] { FullResult::Create()->Release(); }},
                      {"more best results", [&] { result->GetBestResults(3); }},
                      {"add a slot", [&] { result->SetResultItem(9, 0.5F, ResultTypeFinal); }},
                      {"copy", [&] { Copy(*result); }},
                      {"assign", [&] { *other = *result; }},
                      {"initialize", [&] { other->Initialize(20, nullptr); }},
                      {"set values", [&] { other->SetResults(values); }},
                      {"set slots", [&] { other->SetResults(items); }},
                      {"get the slots", [&] { EXPECT_EQ(other->GetResults().size(), 9U); }},
                      {"clone", [&] { result->Clone()->Release(); }}},
                     [&] { return std::tuple(Slots(*result), result->GetBestResults(1), Slots(*other)); });
}

void Describe(ErrorMatrix const& matrix, std::ostream& out) {
  out << matrix.GetDocCount() << matrix.GetCorrect() << matrix.GetIncorrect() << matrix.GetRejected() << '\n';
  for (unsigned int i = 0; i < 3; ++i) {
    out << matrix.GetClassCount(i) << matrix.GetClassImported(i) << matrix.GetClassExported(i) << '\n';
    for (unsigned int j = 0; j < 3; ++j) out << matrix.GetResult(i, j);
  }
}

TEST(ResultsOutOfMemory, CountsDocumentsAllOrNothing) {
  Ref<ErrorMatrix> const matrix(ErrorMatrix::Create(3));
  Ref<ErrorMatrix> const other(ErrorMatrix::Create(4));
  ErrorMatrixVisitor counting(matrix.Get(), 0.0, 0.0);
  ErrorPlotVisitor plotting;
  ErrorPlotVisitor otherPlotting;
  counting.SetResultTag(FullResult::GetDefaultTag());
  plotting.SetResultTag(FullResult::GetDefaultTag());
  Ref<DocumentNode> const carrier(DocumentNode::Create(2, nullptr));
  Ref<DocumentNode> const documents[] = {Ref(DocumentNode::Create(2, nullptr)), Ref(DocumentNode::Create(2, nullptr))};
  for (Ref<DocumentNode> const& document : documents) {
    auto* const result = FullResult::Create();
    result->SetResults(std::vector<float>{0.0F, 1.0F, 0.5F});
    document->AddRepresentation(result);
  }
  ExpectAllOrNothing({{"create a matrix", [] { ErrorMatrix::Create(3)->Release(); }},
                      {"increase", [&] { matrix->Increase(1, 2); }},
                      {"copy a matrix", [&] { Copy(*matrix); }},
                      {"assign a matrix", [&] { *other = *matrix; }},
                      {"count a document", [&] { counting.DoVisit(documents[0].Get()); }, {.mayKeepMemory = true}},
                      {"create a plot", [] { ErrorPlot::Create(3)->Release(); }},
                      {"attach a plot", [&] { plotting.DoVisit(carrier.Get()); }},
                      {"plot a document", [&] { plotting.DoVisit(documents[1].Get()); }},
                      {"histogram", [&] { dynamic_cast<ErrorPlot&>(*carrier->GetFeature()).GetGoodHistogram(); }},
                      {"copy a visitor", [&] { ErrorPlotVisitor const copy(plotting); }},
                      {"assign a visitor", [&] { otherPlotting = plotting; }}},
                     [&] {
                       std::ostringstream text;
                       Describe(*matrix, text);
                       Describe(*other, text);
                       if (auto const* const plot = dynamic_cast<ErrorPlot*>(carrier->GetFeature())) {
                         text << plot->GetCount();
                         for (float const share : plot->GetBadHistogram()) text << ' ' << share;
                       }
                       return text.str();
                     });
}

}  // namespace
}  // namespace ZaM::test

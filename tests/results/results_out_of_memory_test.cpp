#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/memory_cases.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

/// What it stores, which a program takes from the stream.
void Save(Result& result, std::string* document = nullptr) {
  ZamXmlOutStream stream(StorageMemory);
  result.Save("Result", &stream);
  stream.Close();
  if (document) *document = stream.getXmlString();
}

/// Reads what `Save` gives into a new result.
template <class Kind>
void Read(std::string const& document) {
  class Reader : public XmlSaxCallback {
   public:
    explicit Reader(Kind& into) : result(into) {}
    void OnStartElement(XmlSaxParser* parser, unsigned char const*, unsigned char const** attributes) override {
      result.InitializeProperties(parser, attributes);
      parser->PushCallback(&result);
    }
    void OnEndElement(XmlSaxParser*, unsigned char const*) override {}

   private:
    Kind& result;
  };
  Ref<Kind> const result(Kind::Create());
  Reader reader(*result);
  XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &reader);
}

template <class Kind>
Ref<Kind> ShallowCopy(Kind const& original) {
  return Ref<Kind>(ReportOutOfMemory([&] { return new Kind(original); }));
}

TEST(ResultsOutOfMemory, LeavesSparseResultsAsTheyWere) {
  Ref<SparseResult> const result(SparseResult::Create());
  Ref<SparseResult> const other(SparseResult::Create());
  for (unsigned int id = 0; id < 65; ++id) result->SetResultItem(id, 0.5F, ResultTypeScored);
  Items const items(3, Item(7, 0.5F));
  std::string document;
  Save(*result, &document);
  ExpectAllOrNothing(
      {{"create", [] { SparseResult::Create()->Release(); }},
       {"add to a short list", [&] { other->SetResultItem(0, 0.5F, ResultTypeFinal); }},
       {"add to a long list", [&] { result->SetResultItem(65, 0.5F, ResultTypeFinal); }, {.mayKeepMemory = true}},
       {"copy", [&] { ShallowCopy(*result); }},
       {"assign", [&] { *other = *result; }},
       {"set the list", [&] { other->SetResults(items); }},
       {"get the list", [&] { EXPECT_EQ(other->GetResults().size(), 3U); }},
       {"clone", [&] { Ref(result->Clone()); }},
       {"save", [&] { Save(*result); }},
       {"load", [&] { Read<SparseResult>(document); }}},
      [&] { return std::pair(Ref(result)->GetResults(), other->GetResults()); });
}

TEST(ResultsOutOfMemory, LeavesFullResultsAsTheyWere) {
  Ref<FullResult> const result(FullResult::Create());
  Ref<FullResult> const other(FullResult::Create());
  std::vector<float> const values = {0.0F, 0.5F, 0.25F, 0.75F};
  std::vector<FullResultItem> const items(9);
  result->SetResults(values);
  result->GetBestResults(1);
  result->SetResultItem(3, 0.75F, ResultTypeFinal);  // the best results go on showing the former type
  std::string document;
  Save(*Ref(result->Clone()), &document);
  ExpectAllOrNothing({{"create", [] { FullResult::Create()->Release(); }},
                      {"more best results", [&] { result->GetBestResults(3); }},
                      {"add a slot", [&] { result->SetResultItem(9, 0.5F, ResultTypeFinal); }},
                      {"copy", [&] { ShallowCopy(*result); }},
                      {"assign", [&] { *other = *result; }},
                      {"initialize", [&] { other->Initialize(20, nullptr); }},
                      {"set values", [&] { other->SetResults(values); }},
                      {"set slots", [&] { other->SetResults(items); }},
                      {"get the slots", [&] { EXPECT_EQ(other->GetResults().size(), 9U); }},
                      {"clone", [&] { Ref(result->Clone()); }},
                      {"save", [&] { Save(*Ref(result->Clone())); }},
                      {"load", [&] { Read<FullResult>(document); }}},
                     [&] {
                       return std::tuple(Slots(*result), result->GetBestResults(1), Slots(*other),
                                         other->IsValid() ? other->GetBestResults(1) : Items());
                     });
}

TEST(ResultsOutOfMemory, CountsDocumentsAllOrNothing) {
  constexpr unsigned int classes = 3;
  Ref<ErrorMatrix> const matrix(ErrorMatrix::Create(classes));
  Ref<ErrorMatrix> const other(ErrorMatrix::Create(classes + 1));
  ErrorMatrixVisitor counting(matrix.Get(), 0.0, 0.0);
  counting.SetResultTag(FullResult::GetDefaultTag());

  ErrorPlotVisitor plotting;
  ErrorPlotVisitor otherPlotting;
  plotting.SetResultTag(FullResult::GetDefaultTag());
  Ref<DocumentNode> const carrier(DocumentNode::Create(1, nullptr));
  Ref<DocumentNode> const otherCarrier(DocumentNode::Create(2, nullptr));
  Ref<DocumentNode> const documents[] = {Ref(DocumentNode::Create(1, nullptr)), Ref(DocumentNode::Create(2, nullptr))};
  std::vector<FullResult*> results;
  for (Ref<DocumentNode> const& document : documents) {
    results.push_back(FullResult::Create());
    results.back()->SetResults(std::vector<float>{0.0F, 1.0F, 0.5F});
    document->AddRepresentation(results.back());
  }
  auto const forgetBest = [&] {
    for (FullResult* const result : results) result->SetResults(std::vector<float>{0.0F, 1.0F, 0.5F});
  };

  auto const describe = [&] {
    std::ostringstream text;
    for (auto const& each : {matrix, other}) {
      text << each->GetDocCount() << each->GetCorrect() << each->GetIncorrect() << each->GetRejected() << '\n';
      for (unsigned int i = 0; i < classes; ++i) {
        text << each->GetClassCount(i) << each->GetClassImported(i) << each->GetClassExported(i) << '\n';
        for (unsigned int j = 0; j < classes; ++j) text << each->GetResult(i, j);
      }
    }
    for (auto const& each : {carrier, otherCarrier}) {
      if (auto* const plot = dynamic_cast<ErrorPlot*>(each->GetFeature())) {
        text << plot->GetCount();
        for (float const share : plot->GetBadHistogram()) text << ' ' << share;
      }
    }
    return text.str();
  };
  ExpectAllOrNothing({{"create a matrix", [] { Ref(ErrorMatrix::Create(3)); }},
                      {"increase", [&] { matrix->Increase(1, 2); }},
                      {"copy a matrix", [&] { ShallowCopy(*matrix); }},
                      {"assign a matrix", [&] { *other = *matrix; }},
                      {"count a document", [&] { counting.DoVisit(documents[1].Get()); }, {.mayKeepMemory = true}},
                      {"create a plot", [] { Ref(ErrorPlot::Create(3)); }},
                      {"histogram", [] { Ref(ErrorPlot::Create(3))->GetGoodHistogram(); }},
                      {"attach a plot", [&] { plotting.DoVisit(carrier.Get()); }},
                      {"attach another plot", [&] { plotting.DoVisit(otherCarrier.Get()); }}},
                     describe);
  forgetBest();
  ExpectAllOrNothing({{"plot a document", [&] { plotting.DoVisit(documents[1].Get()); }},
                      {"copy a visitor", [&] { ErrorPlotVisitor const copy(plotting); }},
                      {"assign a visitor", [&] { otherPlotting = plotting; }}},
                     describe);
}

}  // namespace
}  // namespace ZaM::test

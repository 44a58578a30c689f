// What is copied or changed is so as a whole, also where memory runs out: documents, results and statistics.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <tuple>

#include "tests/support/memory_cases.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"

namespace ZaM::test {
namespace {

// Objects of each kind that can be copied, and what a copy has to take over.

template <class Kind>
struct Sample;

template <>
struct Sample<SparseResult> {
  static SparseResult* Make(unsigned int count) {
    auto* const result = SparseResult::Create();
    result->SetTagName("Sprs");
    for (unsigned int id = count; id > 0; --id) result->SetResultItem(id, 0.5F, ResultTypeFinal);
    return result;
  }
  static auto Content(SparseResult& result) {
    if (result.IsValid()) result.SetResultItem(1, 0.5F, ResultTypeFinal);  // would go astray by another list's index
    return result.GetResults();
  }
};

template <>
struct Sample<FullResult> {
  static FullResult* Make(unsigned int count) {
    auto* const result = FullResult::Create();
    result->SetTagName("Full");
    result->SetResults(std::vector(count, 0.5F));
    result->GetBestResults(1);
    result->SetResultItem(0, 0.5F, ResultTypeFinal);  // the best results go on showing the former type
    return result;
  }
  static auto Content(FullResult& result) { return std::tuple(Slots(result), result.GetBestResults(1)); }
};

template <>
struct Sample<ErrorMatrix> {
  static ErrorMatrix* Make(unsigned int count) {
    auto* const matrix = ErrorMatrix::Create(count);
    matrix->SetTagName("Mtrx");
    for (auto const& [t, a] : {std::pair{1U, 1U}, {2U, 0U}, {2U, 3U}, {2U, 3U}, {0U, 1U}}) matrix->Increase(t, a);
    for (int i = 0; i < 7; ++i) matrix->IncreaseDocCount();
    return matrix;
  }
  static auto Content(ErrorMatrix& matrix) {
    std::vector numbers{matrix.GetDocCount(), matrix.GetCorrect(), matrix.GetIncorrect(), matrix.GetRejected()};
    for (unsigned int i = 0; i < 4; ++i) {
      for (unsigned int j = 0; j < 5; ++j) numbers.push_back(matrix.GetResult(i, j));
      numbers.insert(numbers.end(), {matrix.GetClassCount(i), matrix.GetClassImported(i), matrix.GetClassExported(i)});
    }
    return numbers;
  }
};

template <>
struct Sample<ErrorPlot> {
  static ErrorPlot* Make(unsigned int count) {
    auto* const plot = ErrorPlot::Create(count);
    plot->SetTagName("Plot");
    plot->IncrGood(count);
    plot->IncrBad(7);
    return plot;
  }
  static auto Content(ErrorPlot& plot) {
    return std::tuple(plot.GetClassId(), plot.GetCount(), plot.GetGoodHistogram(), plot.GetBadHistogram());
  }
};

template <>
struct Sample<DocumentNode> {
  static DocumentNode* Make(unsigned int count) {
    static Ref const parent(DocumentNode::Create());
    auto* const document = DocumentNode::Create(count, parent.Get());
    for (unsigned int i = 0; i < count; ++i) document->AddChild(i == 1 ? nullptr : ProbeNode::Create("child"));
    return document;
  }
  static auto Content(DocumentNode& document) {
    std::vector<std::string> children;
    for (Node* const child : Children(document)) {
      children.push_back(child ? dynamic_cast<ProbeNode&>(*child).name : "");
      if (child) children.back() += std::to_string(child->AddRefCount() + child->Release());
    }
    return std::tuple(document.GetClassId(), document.GetParentDocument(), children);
  }
};

/// Two objects of a kind, each with a feature and an id.
template <class Kind>
struct Pair {
  Pair() {
    for (auto const& object : {source, target}) object->AddFeature(ProbeNode::Create("feature"));
  }
  auto Observe() { return std::pair(Sample<Kind>::Content(*source), Sample<Kind>::Content(*target)); }

  Ref<Kind> source{Sample<Kind>::Make(127)}, target{Sample<Kind>::Make(5)};
};

template <class Kind>
class CopyTest : public testing::Test {};
using Kinds = testing::Types<SparseResult, FullResult, ErrorMatrix, ErrorPlot, DocumentNode>;
TYPED_TEST_SUITE(CopyTest, Kinds);

TYPED_TEST(CopyTest, TakesTheContentAloneAndAllOfIt) {
  using Kind = TypeParam;
  Pair<Kind> pair;
  auto& [source, target] = pair;
  unsigned int const ids[] = {source->GetId(), target->GetId()};
  {
    Ref const copy(CreateCounted([&, &original = *source] { return new Kind(original); }));
    Ref const document(DocumentNode::Create());
    document->AddFeature(Ref(target).Detach());
    *target = *source;
    *target = static_cast<Kind const&>(*target);
    EXPECT_TRUE(Sample<Kind>::Content(*copy) == Sample<Kind>::Content(*source));
    EXPECT_TRUE(Sample<Kind>::Content(*target) == Sample<Kind>::Content(*source));
    EXPECT_EQ(copy->AddRefCount() + copy->Release(), 3);
    EXPECT_EQ(copy->GetFeature(), nullptr);
    EXPECT_FALSE(copy->HasId(ids[0]) || copy->HasId(0));
    EXPECT_TRUE(target->HasId(ids[1]));
  }
  for (auto const& node : {source, target}) {
    EXPECT_EQ(dynamic_cast<ProbeNode&>(*node->GetFeature()).name, "feature");
    EXPECT_EQ(node->AddRefCount() + node->Release(), 5);  // the pair's and the list's
  }
  ExpectAllOrNothing<Pair<Kind>>(
      {{"copy", [](auto& objects) { Ref(CreateCounted([&] { return new Kind(*objects.source); })); }}});
  if constexpr (std::is_same_v<Kind, ErrorPlot>) return;  // has no memory of its own
  ExpectAllOrNothing<Pair<Kind>>({{"assign", [](auto& objects) { *objects.target = *objects.source; }}});
}

// The operations of each room on objects of their own.

struct Release {
  template <class Walk>
  void operator()(Walk* walk) const {
    walk->Release();
  }
};
using Traverser = PreOrderTraverser<DocumentNode>;
using Walk = std::unique_ptr<Traverser, Release>;

/// A tree with a walk over it, and the progress of some work.
struct Tree {
  Tree() {
    for (int i = 0; i < 5; ++i) root->AddChild(ProbeDocument::Create(std::to_string(i)));
    other->SetMaximum(7);
    other->SetStatus(wstring(50, u'o'), nullptr);
  }
  std::string Observe() const {
    std::string text = std::to_string(progress.GetMaximum()) + ' ' + std::to_string(progress.GetStatus().size());
    for (Node* const child : Children(*root)) text += child ? dynamic_cast<ProbeDocument&>(*child).name : "none";
    Walk const rest(Traverser::Create(nullptr));
    *rest = *walk;
    while (!rest->Done()) text += rest->Next() == root.Get() ? "root" : "child";
    return text;
  }

  Ref<DocumentNode> root{DocumentNode::Create()};
  Walk walk{Traverser::Create(root.Get())};
  mutable CallBack progress;
  std::unique_ptr<CallBack> other = std::make_unique<CallBack>();
};

TEST(OutOfMemory, LeavesTreesAndWalksAsTheyWere) {
  static FunctionVisitor visitor([](Node*) {});
  static wstring const status(100, u's');
  ExpectAllOrNothing<Tree>(
      {{"create", [](auto& tree) { Ref(DocumentNode::Create(1, tree.root.Get())); }},
       {"add a child",
        [](auto& tree) {
          Ref child(ProbeDocument::Create("new"));
          tree.root->AddChild(child.Get());
          static_cast<void>(child.Detach());
        }},
       {"iterator", [](auto& tree) { std::unique_ptr<Iterator, Release>(tree.root->CreateIterator()); }},
       {"range", [](auto& tree) { EXPECT_NE(*Children(*tree.root).begin(), nullptr); }},
       {"visit", [](auto& tree) { tree.root->Visit(&visitor); }},
       {"save", [](auto& tree) { EXPECT_TRUE(tree.root->Save(nullptr)); }},
       {"load", [](auto& tree) { EXPECT_TRUE(tree.root->Load(nullptr)); }},
       {"start a walk", [](auto& tree) { Walk(Traverser::Create(tree.root.Get())); }},
       {"next", [](auto& tree) { tree.walk->Next(); }},
       {"copy a walk", [](auto& tree) { ReportOutOfMemory([&] { Walk(new Traverser(*tree.walk)); }); }},
       {"assign a walk", [](auto& tree) { *Walk(Traverser::Create(nullptr)) = *tree.walk; }},
       {"status", [](auto& tree) { tree.progress.SetStatus(status, nullptr); }},
       {"copy progress", [](auto& tree) { CallBack const copy(*tree.other); }},
       {"assign progress", [](auto& tree) { tree.progress = *tree.other; }}});
}

template <class Kind>
void expectResultsAllOrNothing(std::vector<OperationCase<Pair<Kind>>> cases) {
  cases.insert(cases.end(),
               {{"set an entry more",
                 [](auto& pair) { pair.source->SetResultItem(128, 0.5F, ResultTypeFinal); },
                 {.mayKeepMemory = true}},
                {"set all", [](auto& pair) { pair.target->SetResults(std::as_const(*pair.source).GetResults()); }},
                {"get all", [](auto& pair) { EXPECT_EQ(pair.source->GetResults().size(), 127U); }},
                {"clone", [](auto& pair) { Ref(pair.source->Clone()); }},
                {"create", [](auto&) { Kind::Create()->Release(); }}});
  ExpectAllOrNothing(cases);
}

TEST(OutOfMemory, LeavesResultsAsTheyWere) {
  static std::vector<float> const values = {0.0F, 0.5F};
  expectResultsAllOrNothing<SparseResult>({});
  expectResultsAllOrNothing<FullResult>({{"best", [](auto& pair) { pair.source->GetBestResults(60); }},
                                         {"initialize", [](auto& pair) { pair.target->Initialize(20, nullptr); }},
                                         {"set values", [](auto& pair) { pair.target->SetResults(values); }}});
}

template <class Kind>
void expectToReportFromXml() {
  Outcomes const outcomes{.ids = {5, badAlloc}};  // the second where it is this program's own strings
  Ref const result(Sample<Kind>::Make(2));
  std::string document;
  auto const save = [&] {
    ZamXmlOutStream stream(StorageMemory);
    result->Save("Res", &stream);
    stream.Close();
    document = stream.getXmlString();
  };
  auto const read = [&] {
    Ref const copy(Kind::Create());
    XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), copy.Get());
  };
  EXPECT_GT(FailEachAllocation(save, [] {}, {.ids = {5, badAlloc}, .mayKeepMemory = true}), 5U);
  EXPECT_GT(FailEachAllocation(
                read, [] {}, outcomes),
            5U);
}

TEST(OutOfMemory, IsReportedFromStoredResults) {
  expectToReportFromXml<SparseResult>();
  expectToReportFromXml<FullResult>();
}

/// Two documents of class 2 with a result, and what is counted of them.
struct Statistics {
  Statistics() {
    for (Ref<DocumentNode> const& document : documents) document->AddRepresentation(Sample<FullResult>::Make(3));
    counting.SetResultTag("Full"_tag);
    plotting.SetResultTag("Full"_tag);
    plotting.DoVisit(carrier.Get());
  }
  auto Observe() const {
    auto* const attached = dynamic_cast<ErrorPlot*>(other->GetFeature());
    auto& plot = dynamic_cast<ErrorPlot&>(*carrier->GetFeature());
    return std::tuple(Sample<ErrorMatrix>::Content(*matrix), Sample<ErrorPlot>::Content(plot), attached != nullptr);
  }

  Ref<ErrorMatrix> matrix{ErrorMatrix::Create(4)};
  Ref<DocumentNode> carrier{DocumentNode::Create(2, nullptr)}, other{DocumentNode::Create(1, nullptr)};
  Ref<DocumentNode> documents[2] = {Ref(DocumentNode::Create(2, nullptr)), Ref(DocumentNode::Create(2, nullptr))};
  ErrorMatrixVisitor counting{matrix.Get(), 0.0, 0.0};
  ErrorPlotVisitor plotting, otherPlotting;
};

TEST(OutOfMemory, CountsDocumentsAllOrNothing) {
  ExpectAllOrNothing<Statistics>(
      {{"create", [](auto&) { Ref(ErrorMatrix::Create(3)), Ref(ErrorPlot::Create(3)); }},
       {"increase", [](auto& all) { all.matrix->Increase(1, 2); }},
       {"count a document", [](auto& all) { all.counting.DoVisit(all.documents[0].Get()); }, {.mayKeepMemory = true}},
       {"attach a plot", [](auto& all) { all.plotting.DoVisit(all.other.Get()); }},
       {"histogram", [](auto& all) { dynamic_cast<ErrorPlot&>(*all.carrier->GetFeature()).GetGoodHistogram(); }},
       {"copy a visitor", [](auto& all) { ErrorPlotVisitor const copy(all.plotting); }},
       {"assign a visitor", [](auto& all) { all.otherPlotting = all.plotting; }}});
}

}  // namespace
}  // namespace ZaM::test

#include "zam/model/node.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"
#include "tests/support/run_on_stack.h"

namespace ZaM::test {
namespace {

static_assert(std::is_convertible_v<Ref<DocumentNode>, Ref<Node>>);
static_assert(!std::is_convertible_v<Ref<Node>, Ref<DocumentNode>>);

class BareNode : public Node {
 public:
  explicit BareNode(bool* flag = nullptr) : ended(flag) {}

 protected:
  ~BareNode() override {
    if (ended) *ended = true;
  }

 private:
  bool* ended;
};

TEST(NodeTest, EndsWhenItsCountRunsOutOrIsReleasedWithoutOne) {
  bool ended = false;
  auto* const node = CreateCounted([&] { return new BareNode(&ended); });
  EXPECT_EQ(node->AddRefCount(), 2);
  EXPECT_EQ(node->Release(), 1);
  EXPECT_FALSE(ended);
  EXPECT_EQ(node->Release(), 0);
  EXPECT_TRUE(std::exchange(ended, false));
  EXPECT_EQ((new BareNode(&ended))->Release(), -1);
  EXPECT_TRUE(ended);
}

TEST(NodeTest, ChainsFeaturesThroughTheAddFeatureOfEach) {
  struct Counting : BareNode {
    int calls = 0;
    void AddFeature(Node* added) override {
      ++calls;
      Node::AddFeature(added);
    }
  };
  Ref const node(ProbeNode::Create("node"));
  auto* const a = CreateCounted([] { return new Counting; });
  auto* const b = CreateCounted([] { return new Counting; });
  b->AddFeature(new BareNode);  // comes along
  for (Node* const added : std::initializer_list<Node*>{a, b, new BareNode}) node->AddFeature(added);
  EXPECT_EQ(a->calls, 2);
  EXPECT_EQ(b->calls, 2);
  EXPECT_EQ(node->FeatureCount(), 1u);
  EXPECT_EQ(node->RemoveFeature(), a);
  EXPECT_EQ(node->FeatureCount(), 0u);
  EXPECT_EQ(node->RemoveFeature(), nullptr);
  EXPECT_EQ(a->GetFeature(), b);
  EXPECT_EQ(a->Release(), 0);
}

TEST(NodeTest, EndsParentsBeforeChildrenAndChildrenBeforeFeaturesAtAnyDepth) {
  // Each level has the child that leads on, a second child and a feature; the stack is too small for nested endings.
  constexpr int levels = 3000;
  Log expected;
  for (int level = 0; level < levels; ++level) expected.push_back(std::to_string(level));
  for (int level = levels - 1; level > 0; --level) {
    expected.push_back("sibling " + std::to_string(level));
    expected.push_back("feature " + std::to_string(level));
  }
  for (bool const lacksMemory : {false, true}) {  // for an ending that has to be put off
    Log ends;
    ends.reserve(expected.size());
    RunOnStack(std::size_t{256} << 10, [&] {
      DocumentNode* const root = ProbeDocument::Create("0", &ends);
      DocumentNode* last = root;
      for (int level = 1; level < levels; ++level) {
        DocumentNode* const next = ProbeDocument::Create(std::to_string(level), &ends);
        last->AddFeature(ProbeNode::Create("feature " + std::to_string(level), &ends));
        last->AddChild(next);
        last->AddChild(ProbeNode::Create("sibling " + std::to_string(level), &ends));
        last = next;
      }
      FailingAllocation failing(0);
      if (!lacksMemory) failing.Stop();
      root->Release();
      EXPECT_EQ(failing.HasFailed(), lacksMemory);
    });
    EXPECT_EQ(ends, expected);
  }
}

TEST(NodeTest, EndsWhatADestructorReleasesForItselfAtOnceAtAnyDepth) {
  constexpr int levels = 3000;
  Log ends;
  int inTime = 0;
  RunOnStack(std::size_t{256} << 10, [&] {
    auto* chain = ProbeNode::Create("0");
    for (int level = 1; level < levels; ++level) {
      auto* const head = ProbeNode::Create(std::to_string(level));
      head->onEnd = [&] {
        std::size_t const before = ends.size();
        auto* const own = ProbeDocument::Create("own", &ends);
        own->AddChild(ProbeNode::Create("its child", &ends));
        own->Release();
        inTime += ends.size() == before + 2 ? 1 : 0;
      };
      head->AddFeature(chain);
      chain = head;
    }
    chain->Release();
  });
  EXPECT_EQ(inTime, levels - 1);
  EXPECT_EQ(ends.size(), 2u * (levels - 1));
}

TEST(NodeTest, LetsWhatEndsChangeTheNodeThatOwnedIt) {
  Log ends;
  auto* const root = ProbeDocument::Create("root", &ends);
  auto* const feature = ProbeNode::Create("feature", &ends);
  feature->onEnd = [&] {
    EXPECT_EQ(root->GetFeature(), nullptr);
    root->AddFeature(ProbeNode::Create("late feature", &ends));
  };
  root->AddFeature(feature);
  auto* const child = ProbeDocument::Create("child", &ends);
  unsigned int const id = child->GetId();
  child->onEnd = [&] {
    EXPECT_EQ(root->RemoveChild(id), nullptr);
    root->AddChild(ProbeNode::Create("late child", &ends));
  };
  root->AddChild(child);
  root->AddChild(ProbeNode::Create("sibling", &ends));
  root->Release();
  EXPECT_EQ(ends, (Log{"root", "child", "sibling", "late child", "feature", "late feature"}));
}

TEST(NodeTest, ReleasesChainsAndTreesOfAMillionLevels) {
  constexpr int length = 1'000'000;
  bool lastEnded = false;
  Node* chain = new BareNode(&lastEnded);
  for (int i = 1; i < length; ++i) {
    Node* const head = CreateCounted([] { return new BareNode; });
    head->AddFeature(chain);
    chain = head;
  }
  Ref const node(ProbeNode::Create("node"));
  node->AddFeature(chain);
  node->AddFeature(new BareNode);  // walks the whole chain
  EXPECT_EQ(node->RemoveFeature()->Release(), 0);
  EXPECT_TRUE(lastEnded);

  EXPECT_EQ(CreateDeepTree(length)->Release(), 0);
}

TEST(NodeTest, GivesIdsThatNoOtherLiveNodeHas) {
  constexpr std::size_t perThread = 2000;
  std::vector<std::vector<Ref<Node>>> nodes(4);
  std::vector<std::thread> threads;
  for (auto& mine : nodes) {
    threads.emplace_back([&mine] {
      for (int round = 0; round < 5; ++round) {
        mine.clear();
        for (std::size_t i = 0; i < perThread; ++i) {
          mine.emplace_back(ProbeNode::Create("node"));
          mine.back()->GetId();
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();

  std::set<unsigned int> ids{0};
  for (auto const& mine : nodes) {
    for (auto const& node : mine) ids.insert(node->GetId());
  }
  EXPECT_EQ(ids.size(), nodes.size() * perThread + 1);
  // Numbers come back when their nodes end, so they stay far below the number of nodes that have asked.
  EXPECT_LE(*ids.rbegin(), nodes.size() * perThread + 1000);
}

// What a copy has to take over.
auto Content(SparseResult& result) {
  result.SetResultItem(999, 0.5F, ResultTypeFinal);  // is there: would go astray by an index of another list
  return std::tuple(result.GetTagName(), result.GetResults());
}
auto Content(FullResult& result) {
  return std::tuple(result.GetTagName(), result.GetResultType(1), result.GetBestResults(1));  // which is older
}
auto Content(ErrorMatrix& matrix) {
  std::vector numbers{matrix.GetDocCount(), matrix.GetCorrect(), matrix.GetIncorrect(), matrix.GetRejected()};
  for (unsigned int i = 0; i < 4; ++i) {
    for (unsigned int j = 0; j < 4; ++j) numbers.push_back(matrix.GetResult(i, j));
    numbers.insert(numbers.end(), {matrix.GetClassCount(i), matrix.GetClassImported(i), matrix.GetClassExported(i)});
  }
  return std::tuple(matrix.GetTagName(), numbers);
}
auto Content(ErrorPlot& plot) {
  return std::tuple(plot.GetTagName(), plot.GetClassId(), plot.GetCount(), plot.GetGoodHistogram());
}
auto Content(DocumentNode& document) {
  return std::tuple(document.GetClassId(), document.GetParentDocument(), *Children(document).begin());
}

/// Copies and assigns `source`, which hangs in a chain or tree and has been asked for its id. Both live on.
template <class Kind>
void ExpectToTakeTheContentAlone(Ref<Kind> source, Ref<Kind> target) {
  SCOPED_TRACE(typeid(Kind).name());
  unsigned int const sourceId = source->GetId();
  unsigned int const targetId = target->GetId();
  source->AddFeature(ProbeNode::Create("of the source"));
  target->AddFeature(ProbeNode::Create("of the target"));
  {
    Ref const document(DocumentNode::Create());
    document->AddFeature(Ref(target).Detach());
    *target = *source;
    Ref const copy(CreateCounted([&] { return new Kind(*source); }));
    EXPECT_EQ(copy->AddRefCount(), 2);
    EXPECT_EQ(copy->Release(), 1);
    EXPECT_EQ(copy->GetFeature(), nullptr);
    EXPECT_FALSE(copy->HasId(sourceId) || copy->HasId(0));
    EXPECT_TRUE(target->HasId(targetId));
    auto const content = Content(*source);
    EXPECT_TRUE(Content(*copy) == content && Content(*target) == content);
    *copy = *target = static_cast<Kind const&>(*target);
    EXPECT_TRUE(Content(*copy) == content);
  }
  for (auto const& [node, feature] : {std::pair(source, "of the source"), std::pair(target, "of the target")}) {
    EXPECT_EQ(dynamic_cast<ProbeNode&>(*node->GetFeature()).name, feature);
    EXPECT_EQ(node->AddRefCount(), 4);  // beside those of the caller, the parameter and the list
    node->Release();
  }
}

TEST(NodeTest, IsCopiedAndAssignedToWhereItHangs) {
  Ref const sparse(SparseResult::Create()), otherSparse(SparseResult::Create());
  sparse->SetTagName("Sprs");
  for (unsigned int id = 1000; id > 0; --id) {
    sparse->SetResultItem(id, 0.5F, ResultTypeFinal);
    otherSparse->SetResultItem(1001 - id, 0.25F, ResultTypeScored);
  }
  ExpectToTakeTheContentAlone(sparse, otherSparse);

  Ref const full(FullResult::Create()), otherFull(FullResult::Create());
  full->SetTagName("Full");
  full->SetResults(std::vector<float>{0.0F, 0.5F});
  full->GetBestResults(1);
  full->SetResultItem(1, 0.5F, ResultTypeFinal);
  otherFull->SetResults(std::vector<float>{1.0F});
  otherFull->GetBestResults(0);
  ExpectToTakeTheContentAlone(full, otherFull);

  Ref const matrix(ErrorMatrix::Create(4)), otherMatrix(ErrorMatrix::Create(2));
  matrix->SetTagName("Mtrx");
  for (auto const& [t, a] : {std::pair{1U, 1U}, {2U, 0U}, {2U, 3U}, {2U, 3U}, {0U, 1U}}) matrix->Increase(t, a);
  for (int i = 0; i < 7; ++i) matrix->IncreaseDocCount();
  otherMatrix->Increase(1, 1);
  ExpectToTakeTheContentAlone(matrix, otherMatrix);

  Ref const plot(ErrorPlot::Create(3)), otherPlot(ErrorPlot::Create(4));
  plot->SetTagName("Plot");
  plot->IncrGood(5);
  plot->IncrBad(7);
  ExpectToTakeTheContentAlone(plot, otherPlot);

  Log ends;
  {
    Ref<DocumentNode> const parent(DocumentNode::Create());
    Ref<DocumentNode> const document(DocumentNode::Create(5, parent.Get())), other(DocumentNode::Create(6, nullptr));
    document->AddChild(ProbeNode::Create("shared", &ends));
    document->AddChild(nullptr);
    other->AddChild(ProbeNode::Create("former", &ends));
    ExpectToTakeTheContentAlone(document, other);
    EXPECT_EQ(ends, Log{"former"});
  }
  EXPECT_EQ(ends, (Log{"former", "shared"}));
}

TEST(NodeTest, ReportsWhenThereIsNoMemoryForAnId) {
  std::vector<Ref<Node>> nodes;
  for (int i = 0; i < 60'000; ++i) nodes.emplace_back(DocumentNode::Create());  // more than were ever asked
  std::size_t const failures = FailEachAllocation(
      [&] {
        for (auto const& node : nodes) node->GetId();
      },
      [] {}, {.mayKeepMemory = true});
  EXPECT_GT(failures, 0u);
}

TEST(RefTest, HoldsExactlyOneReference) {
  Log ends;
  auto* const node = ProbeNode::Create("node", &ends);
  {
    Ref<ProbeNode> const adopted(node);
    Ref<Node> moved = adopted;
    EXPECT_TRUE(moved == adopted && moved == node);
    EXPECT_EQ(node->AddRefCount(), 3);
    moved = nullptr;
    EXPECT_EQ(Ref<Node>(adopted).Detach()->Release(), 2);
    EXPECT_EQ(node->Release(), 1);
  }
  EXPECT_EQ(ends, Log{"node"});
}

}  // namespace
}  // namespace ZaM::test

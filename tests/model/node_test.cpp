#include "zam/model/node.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <type_traits>
#include <utility>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"
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
  Log ends;
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
    root->Release();
  });

  Log expected;
  for (int level = 0; level < levels; ++level) expected.push_back(std::to_string(level));
  for (int level = levels - 1; level > 0; --level) {
    expected.push_back("sibling " + std::to_string(level));
    expected.push_back("feature " + std::to_string(level));
  }
  EXPECT_EQ(ends, expected);
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

TEST(NodeTest, EndsEachOnceWhereThereIsNoMemoryToPutAnEndingOff) {
  constexpr int levels = 3000;
  int ended = 0;
  RunOnStack(std::size_t{256} << 10, [&] {
    DocumentNode* tree = nullptr;
    for (int level = 0; level < levels; ++level) {
      auto* const parent = ProbeDocument::Create("");
      parent->onEnd = [&] { ++ended; };
      parent->AddChild(tree);
      tree = parent;
    }
    FailingAllocation const failing(0);
    tree->Release();
    EXPECT_TRUE(failing.HasFailed());
  });
  EXPECT_EQ(ended, levels);
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

TEST(NodeTest, KeepsItsIdWhenItIsCopiedOrAssignedTo) {
  Ref const node(DocumentNode::Create());
  unsigned int const id = node->GetId();
  EXPECT_TRUE(node->HasId(id));
  auto* const copy = new DocumentNode(*node);  // takes over the count of 1
  EXPECT_FALSE(copy->HasId(id) || copy->HasId(0));
  EXPECT_NE(copy->GetId(), id);
  *copy = *node;
  EXPECT_NE(copy->GetId(), id);
  EXPECT_EQ(copy->Release(), 0);
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

#include "zam/model/node.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
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

TEST(NodeTest, LivesAsLongAsSomebodyHoldsIt) {
  Log ends;
  Ref<DocumentNode> const root(DocumentNode::Create());
  root->AddChild(ProbeNode::Create("page", &ends));
  root->AddFeature(ProbeNode::Create("feature", &ends));
  {
    Ref const adopted(ProbeNode::Create("node", &ends));
    Ref<Node> moved = adopted;
    EXPECT_TRUE(moved == adopted && adopted->AddRefCount() == 3);
    moved = nullptr;
    EXPECT_EQ(Ref<Node>(adopted).Detach()->Release(), 2);
    EXPECT_EQ(adopted->Release(), 1);
  }
  EXPECT_EQ(ends, Log{"node"});
  Ref(root->RemoveFeature());
  EXPECT_EQ(ends, (Log{"node", "feature"}));
}

class BareNode : public Node {
 public:
  explicit BareNode(bool* flag = nullptr) : ended(flag) {}
  void AddFeature(Node* added) override {
    ++calls;
    Node::AddFeature(added);
  }
  int calls = 0;

 protected:
  ~BareNode() override {
    if (ended) *ended = true;
  }

 private:
  bool* ended;
};

TEST(NodeTest, ChainsFeaturesThroughTheAddFeatureOfEach) {
  Ref const node(ProbeNode::Create("node"));
  auto* const a = CreateCounted([] { return new BareNode; });
  auto* const b = CreateCounted([] { return new BareNode; });
  b->AddFeature(new BareNode);  // comes along
  for (Node* const added : std::initializer_list<Node*>{a, b, new BareNode}) node->AddFeature(added);
  EXPECT_TRUE(a->calls == 2 && b->calls == 2);
  EXPECT_EQ(node->FeatureCount(), 1u);
  EXPECT_EQ(node->RemoveFeature(), a);
  EXPECT_EQ(node->FeatureCount(), 0u);
  EXPECT_EQ(node->RemoveFeature(), nullptr);
  EXPECT_EQ(a->GetFeature(), b);
  EXPECT_EQ(a->Release(), 0);
  bool ended = false;
  EXPECT_EQ((new BareNode(&ended))->Release(), -1);
  EXPECT_TRUE(ended);
}

/// A random tree of long branches whose nodes write their names when they end.
struct Ending {
  struct Planned {
    ProbeDocument* node;
    std::vector<std::size_t> children;
    std::size_t features;
    bool releasesOwn;
  };

  Ending(std::size_t size, bool mayAllocate) {
    std::mt19937 random(1);
    ends.reserve(6 * size);
    for (std::size_t i = 0; i < size; ++i) {
      auto* const node = ProbeDocument::Create(std::to_string(i), &ends);
      plan.push_back({node, {}, random() % 3, mayAllocate && random() % 4 == 0});
      for (std::size_t k = 0; k < plan[i].features; ++k) node->AddFeature(ProbeNode::Create("feature", &ends));
      if (plan[i].releasesOwn) node->onEnd = [this] { releaseOwn(); };
      if (i == 0) continue;
      Planned& parent = plan[i - 1 - random() % std::min<std::size_t>(i, 3)];
      parent.children.push_back(i);
      parent.node->AddChild(node);
    }
  }

  /// What a node releases in its destructor for itself ends there.
  void releaseOwn() {
    std::size_t const before = ends.size();
    auto* const own = ProbeDocument::Create("own", &ends);
    own->AddChild(ProbeNode::Create("its child", &ends));
    own->Release();
    EXPECT_EQ(ends.size(), before + 2);
  }

  /// Parents before children, and children before features.
  void list(std::size_t index, Log& expected) const {
    expected.push_back(std::to_string(index));
    if (plan[index].releasesOwn) expected.insert(expected.end(), {"own", "its child"});
    for (std::size_t const child : plan[index].children) list(child, expected);
    expected.insert(expected.end(), plan[index].features, "feature");
  }

  std::vector<Planned> plan;
  Log ends;
};

TEST(NodeTest, EndsParentsBeforeChildrenAndChildrenBeforeFeaturesAtAnyDepth) {
  for (bool const isLow : {false, true}) {
    for (bool const lacksMemory : {false, isLow}) {  // for an ending that has to be put off
      RunOnStack(isLow ? std::size_t{256} << 10 : std::size_t{64} << 20, [&] {
        Ending tree(isLow ? 6000 : 300, !lacksMemory);
        std::size_t const made = tree.ends.size();
        FailingAllocation failing(0);
        if (!lacksMemory) failing.Stop();
        tree.plan[0].node->Release();
        EXPECT_EQ(failing.HasFailed(), lacksMemory);
        EXPECT_GT(tree.ends.size(), made);
        RunOnStack(std::size_t{64} << 20, [&tree] {
          Log expected;
          tree.list(0, expected);
          EXPECT_TRUE(tree.ends == expected);
        });
      });
    }
  }
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
  child->onEnd = [&, id = child->GetId()] {
    EXPECT_EQ(root->RemoveChild(id), nullptr);
    root->AddChild(ProbeNode::Create("late child", &ends));
  };
  for (Node* const each : std::initializer_list<Node*>{child, nullptr, ProbeNode::Create("sibling", &ends)}) {
    root->AddChild(each);
  }
  root->Release();
  EXPECT_EQ(ends, (Log{"root", "child", "sibling", "late child", "feature", "late feature"}));
}

TEST(NodeTest, GivesIdsThatNoOtherLiveNodeHas) {
  constexpr std::size_t perThread = 2000;
  std::vector<std::vector<Ref<Node>>> nodes(4);
  {
    std::vector<std::jthread> threads;
    for (auto& mine : nodes) {
      threads.emplace_back([&mine] {
        for (int round = 0; round < 5; ++round) {
          mine.clear();
          while (mine.size() < perThread) mine.emplace_back(ProbeNode::Create("node"))->GetId();
        }
      });
    }
  }
  std::set<unsigned int> ids{0};
  for (auto const& mine : nodes) {
    for (auto const& node : mine) ids.insert(node->GetId());
  }
  EXPECT_EQ(ids.size(), nodes.size() * perThread + 1);
  // Numbers come back when their nodes end, so they stay far below the number of nodes that have asked.
  EXPECT_LE(*ids.rbegin(), nodes.size() * perThread + 1000);

  nodes = {{}};
  for (int i = 0; i < 60'000; ++i) nodes[0].emplace_back(DocumentNode::Create());  // more than were ever asked
  auto const ask = [&] {
    for (auto const& node : nodes[0]) node->GetId();
  };
  EXPECT_GT(FailEachAllocation(ask, [] {}, {.mayKeepMemory = true}), 0u);
}

}  // namespace
}  // namespace ZaM::test

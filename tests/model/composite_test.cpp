#include "zam/model/composite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/run_on_stack.h"

namespace ZaM::test {
namespace {

/// A document that counts how many of its iterators are alive.
class CountingDocument : public DocumentNode {
 public:
  static CountingDocument* Create() {
    return CreateCounted([] { return new CountingDocument; });
  }
  Iterator* CreateIterator() override { return new CountingIterator(GetVectorIterator(), liveIterators); }

  int liveIterators = 0;

 private:
  class CountingIterator : public VectorIterator {
   public:
    CountingIterator(VectorIterator const& walked, int& live) : VectorIterator(walked), count(live) { ++count; }
    ~CountingIterator() override { --count; }

   private:
    int& count;
  };
};

/// Stored as one character. '+' saves what is below it into another stream first; '-' fails.
class StoredNode : public DocumentNode {
 public:
  static StoredNode* Create(char mark) {
    return CreateCounted([=] { return new StoredNode(mark); });
  }
  bool Save(std::ostream* stream) override {
    std::ostringstream other;
    if (mark == '+') DocumentNode::Save(&other);
    stream->put(mark);
    return mark != '-' && DocumentNode::Save(stream);
  }
  bool Load(std::istream* stream) override { return stream->get() == mark && DocumentNode::Load(stream); }

 private:
  explicit StoredNode(char written) : mark(written) {}

  char const mark;
};

TEST(CompositeTest, IsAnEmptyWalkByItself) {
  struct Bare : Composite {};
  Ref const composite(CreateCounted([] { return new Bare; }));
  int visits = 0;
  FunctionVisitor visitor([&](Node*) { ++visits; });
  composite->Visit(&visitor);
  EXPECT_EQ(visits, 1);
  EXPECT_TRUE(composite->Save(nullptr) && composite->Load(nullptr));
  for (Node* child : Children(*composite)) FAIL() << child;
}

// Deep walks leave a small stack for a list; the large one holds them whole.
constexpr std::size_t smallStack = std::size_t{512} << 10;
constexpr std::size_t largeStack = std::size_t{64} << 20;

TEST(CompositeTest, ReleasesItsIteratorsWhenAVisitorThrows) {
  for (int const levels : {3, 6000}) {
    std::vector<Ref<CountingDocument>> path{Ref(CountingDocument::Create())};
    for (int level = 1; level < levels; ++level) {
      Ref const child(CountingDocument::Create());
      path.back()->AddChild(Ref(child).Detach());
      path.push_back(child);
    }
    FunctionVisitor visitor([&](Node* node) {
      if (node == path.back().Get()) throw std::runtime_error("stop");
    });
    RunOnStack(smallStack, [&] { EXPECT_THROW(path.front()->Visit(&visitor), std::runtime_error); });
    for (auto const& document : path) EXPECT_EQ(document->liveIterators, 0);
  }
}

/// Parents, children in order, without any code of the library's walks.
void listInPreOrder(Node* node, std::vector<Node*>& list) {
  list.push_back(node);
  for (Node* child : Children(*node->GetComposite())) listInPreOrder(child, list);
}

/// Walks over a random tree, mostly of long branches.
void expectWalks(std::mt19937& random, std::size_t stack) {
  constexpr std::size_t size = 6000;
  Ref const root(StoredNode::Create('0'));
  std::vector<DocumentNode*> nodes{root.Get()};
  while (nodes.size() < size) {
    DocumentNode* const parent = nodes[nodes.size() - 1 - random() % std::min<std::size_t>(nodes.size(), 3)];
    nodes.push_back(StoredNode::Create(nodes.size() == size / 2 ? '+' : static_cast<char>('a' + random() % 26)));
    parent->AddChild(nodes.back());
  }
  std::vector<Node*> expected;
  listInPreOrder(root.Get(), expected);
  std::vector<Node*> seen;
  FunctionVisitor visitor([&](Node* node) { seen.push_back(node); });
  RunOnStack(stack, [&] { root->Visit(&visitor); });
  EXPECT_EQ(seen, expected);

  std::stringstream stream;
  RunOnStack(stack, [&] { EXPECT_TRUE(root->Save(&stream) && root->Load(&stream)); });
  std::string stored = stream.str();
  EXPECT_EQ(stored.size(), size);
  auto const deepest = static_cast<std::size_t>(std::ranges::find(expected, nodes.back()) - expected.begin());
  stored[deepest] = '!';
  std::istringstream damaged(stored);
  nodes.back()->AddChild(StoredNode::Create('-'));
  std::ostringstream out;
  RunOnStack(stack, [&] { EXPECT_FALSE(root->Load(&damaged) || root->Save(&out)); });
  EXPECT_EQ(damaged.get(), stored[deepest + 1]);
  EXPECT_EQ(out.str().size(), deepest + 2);

  // What a visitor adds is visited too, and what it removes isn't.
  std::size_t visits = 0;
  FunctionVisitor changing([&](Node* node) {
    Composite& parent = *node->GetComposite();
    if (++visits % 100 == 50) parent.AddChild(StoredNode::Create('x'));
    if (visits % 100 == 75 && parent.ChildCount() > 0) Ref(parent.RemoveChild((*Children(parent).begin())->GetId()));
  });
  RunOnStack(stack, [&] { root->Visit(&changing); });
  expected.clear();
  listInPreOrder(root.Get(), expected);
  EXPECT_EQ(visits, expected.size());
}

TEST(CompositeTest, WalksInPreOrderHoweverDeepTheTree) {
  std::mt19937 random(7);
  for (int tree = 0; tree < 10; ++tree) {
    for (std::size_t const stack : {smallStack, largeStack}) expectWalks(random, stack);
  }
}

TEST(CompositeTest, VisitsAMillionLevels) {
  Ref const root(CreateDeepTree(1'000'000));
  int visits = 0;
  FunctionVisitor visitor([&](Node*) { ++visits; });
  root->Visit(&visitor);
  EXPECT_EQ(visits, 1'000'000);
  EXPECT_TRUE(root->Save(nullptr));
}

TEST(CompositeTest, FinishesAWalkWithinAWalkBeforeItGoesOn) {
  RunOnStack(smallStack, [] {
    constexpr int levels = 6000;
    Ref const root(CreateDeepTree(levels));
    int outerVisits = 0;
    int innerVisits = 0;
    bool inner = false;
    FunctionVisitor other([&](Node*) { ++innerVisits; });
    FunctionVisitor visitor([&](Node* node) {
      if (inner) {
        ++innerVisits;
        return;
      }
      if (++outerVisits % 100 != 50) return;
      inner = true;
      innerVisits = 0;
      node->Visit(&visitor);
      node->Visit(&other);
      EXPECT_EQ(innerVisits, 2 * (levels + 1 - outerVisits));
      inner = false;
    });
    root->Visit(&visitor);
    EXPECT_EQ(outerVisits, levels);
  });
}

TEST(CompositeTest, FailsWithoutALeakWhenADeepWalkFindsNoMemory) {
  RunOnStack(smallStack, [] {
    Ref const root(CreateDeepTree(6000));
    FunctionVisitor visitor([](Node*) {});
    for (Failures const failures : {Failures::once, Failures::fromThenOn}) {
      for (std::size_t n : {0u, 1u, 5990u, 5999u, 6000u, 6010u, 6020u}) {
        FailingAllocation failing(n, failures);
        std::int32_t const id = FailureId([&] { root->Visit(&visitor); });
        failing.Stop();
        EXPECT_EQ(id, failing.HasFailed() ? 5 : 0) << n;
      }
    }
  });
}

TEST(IteratorTest, StartsAgainAndCopiesStandAtTheFirstElement) {
  struct Empty : Iterator {
    ~Empty() override = default;
  } empty;
  EXPECT_TRUE(empty.Done() && empty.Current() == nullptr);

  Ref const a(ProbeNode::Create("a"));
  std::vector<Node*> nodes{a.Get()};
  std::unique_ptr<VectorIterator, void (*)(Iterator*)> const walk(VectorIterator::Create(nodes),
                                                                  [](Iterator* i) { i->Release(); });
  walk->Next();
  walk->Next();
  EXPECT_TRUE(walk->Done() && walk->Current() == nullptr);
  EXPECT_EQ(VectorIterator(*walk).Current(), a.Get());
  walk->Start();
  EXPECT_EQ(walk->Current(), a.Get());
}

}  // namespace
}  // namespace ZaM::test

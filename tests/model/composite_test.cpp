#include "zam/model/composite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
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

/// Stored as one character. '+' saves what is below it into another stream first; '-' fails; '(' closes after the rest.
class StoredNode : public DocumentNode {
 public:
  static StoredNode* Create(char mark) {
    return CreateCounted([=] { return new StoredNode(mark); });
  }
  bool Save(std::ostream* stream) override {
    if (mark == '+') saveAside();
    stream->put(mark);
    bool const goesOn = mark != '-' && DocumentNode::Save(stream);
    if (mark == '(') stream->put(')');
    return goesOn;
  }
  bool Load(std::istream* stream) override { return stream->get() == mark && DocumentNode::Load(stream); }

  char const mark;

 private:
  explicit StoredNode(char written) : mark(written) {}
  void saveAside() {
    std::ostringstream other;
    DocumentNode::Save(&other);
  }
};

/// A document, or one of a class that overrides nothing or the storing.
DocumentNode* MakeAny(std::mt19937& random) {
  switch (random() % 3) {
    case 0:
      return DocumentNode::Create();
    case 1:
      return ProbeDocument::Create("");
    default:
      return StoredNode::Create(static_cast<char>('a' + random() % 26));
  }
}

/// A chain of such nodes, as CreateDeepTree makes it of documents.
std::vector<Ref<DocumentNode>> MakeChain(std::size_t levels) {
  std::mt19937 random(3);
  std::vector<Ref<DocumentNode>> chain;
  while (chain.size() < levels) {
    chain.emplace_back(MakeAny(random));
    if (chain.size() > 1) chain[chain.size() - 2]->AddChild(Ref(chain.back()).Detach());
  }
  return chain;
}

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

TEST(CompositeTest, LeavesNothingBehindWhenAVisitorThrows) {
  for (std::size_t const levels : {3U, 6000U}) {
    auto const chain = MakeChain(levels);
    FunctionVisitor visitor([&](Node* node) {
      if (node == chain.back().Get()) throw std::runtime_error("stop");
    });
    RunOnStack(smallStack, [&] {
      std::ptrdiff_t const blocks = LiveBlocks();
      EXPECT_THROW(chain.front()->Visit(&visitor), std::runtime_error);
      EXPECT_EQ(LiveBlocks(), blocks);
    });
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
  Ref<DocumentNode> const root(StoredNode::Create('0'));
  std::vector<DocumentNode*> nodes{root.Get()};
  while (nodes.size() < size) {
    DocumentNode* const parent = nodes[nodes.size() - 1 - random() % std::min<std::size_t>(nodes.size(), 3)];
    nodes.push_back(nodes.size() == size / 2 ? StoredNode::Create('+') : MakeAny(random));
    parent->AddChild(nodes.back());
  }
  nodes.back()->AddChild(StoredNode::Create('Z'));
  std::vector<Node*> expected;
  listInPreOrder(root.Get(), expected);
  std::vector<Node*> seen;
  FunctionVisitor visitor([&](Node* node) { seen.push_back(node); });
  RunOnStack(stack, [&] { root->Visit(&visitor); });
  EXPECT_EQ(seen, expected);

  std::string marks;
  for (Node* const node : expected) {
    if (auto const* const storing = dynamic_cast<StoredNode*>(node)) marks += storing->mark;
  }
  std::stringstream stream;
  RunOnStack(stack, [&] { EXPECT_TRUE(root->Save(&stream) && root->Load(&stream)); });
  std::string stored = stream.str();
  EXPECT_EQ(stored, marks);
  auto const damage = stored.find('Z');
  stored[damage] = '!';
  std::istringstream damaged(stored);
  nodes.back()->AddChild(StoredNode::Create('-'));
  std::ostringstream out;
  RunOnStack(stack, [&] { EXPECT_FALSE(root->Load(&damaged) || root->Save(&out)); });
  EXPECT_EQ(damaged.get(), damage + 1 < stored.size() ? stored[damage + 1] : EOF);
  EXPECT_EQ(out.str(), marks.substr(0, marks.find('Z') + 1) + '-');

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

TEST(CompositeTest, WalksAMillionLevelsAndKeepsWhatOverridesWriteAfterTheirChildren) {
  constexpr int levels = 1'000'000;
  constexpr int brackets = 102;  // more than nest before the stack is looked at
  constexpr int distance = 9000;
  RunOnStack(smallStack, [&] {
    Ref<DocumentNode> const root(StoredNode::Create('('));
    DocumentNode* last = root.Get();
    for (int level = 1; level < levels; ++level) {
      bool const isBracket = level % distance == 0 && level / distance < brackets;
      DocumentNode* const next = isBracket ? StoredNode::Create('(') : DocumentNode::Create();
      last->AddChild(next);
      last = next;
    }
    int visits = 0;
    FunctionVisitor visitor([&](Node*) { ++visits; });
    root->Visit(&visitor);
    EXPECT_EQ(visits, levels);
    std::ostringstream out;
    EXPECT_TRUE(root->Save(&out));
    EXPECT_EQ(out.str(), std::string(brackets, '(') + std::string(brackets, ')'));
  });
}

TEST(CompositeTest, FinishesAWalkWithinAWalkBeforeItGoesOn) {
  RunOnStack(smallStack, [] {
    constexpr int levels = 6000;
    Ref const root = MakeChain(levels).front();
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
    auto const chain = MakeChain(300);
    FunctionVisitor visitor([](Node*) {});
    EXPECT_GT(FailEachAllocation([&] { chain.front()->Visit(&visitor); }, [] {}), 300U);
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

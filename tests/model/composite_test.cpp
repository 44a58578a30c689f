#include "zam/model/composite.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <stdexcept>

#include "tests/support/probe_nodes.h"

namespace ZaM::test {
namespace {

/// A composite whose iterators count how many of them are alive, and whose operations follow a function.
class CountingComposite : public Composite {
 public:
  static CountingComposite* Create() {
    return CreateCounted([] { return new CountingComposite; });
  }
  void AddChild(Node* child) override { children.push_back(child); }
  Iterator* CreateIterator() override { return new CountingIterator(children, liveIterators); }

  int liveIterators = 0;

 private:
  class CountingIterator : public VectorIterator {
   public:
    CountingIterator(std::vector<Node*>& walked, int& live) : VectorIterator(walked), count(live) { ++count; }
    ~CountingIterator() override { --count; }

   private:
    int& count;
  };

  ~CountingComposite() override {
    for (Node* child : children) child->Release();
  }

  std::vector<Node*> children;
};

class StoredNode : public DocumentNode {
 public:
  static StoredNode* Create(char mark, bool answer) {
    return CreateCounted([=] { return new StoredNode(mark, answer); });
  }
  bool Save(std::ostream* stream) override {
    stream->put(mark);
    return answer && DocumentNode::Save(stream);
  }
  bool Load(std::istream* stream) override { return stream->get() == mark && DocumentNode::Load(stream); }

 private:
  StoredNode(char written, bool result) : mark(written), answer(result) {}

  char const mark;
  bool const answer;
};

TEST(CompositeTest, IsAnEmptyWalkByItself) {
  struct Bare : Composite {};
  Ref const composite(CreateCounted([] { return new Bare; }));
  int visits = 0;
  FunctionVisitor visitor([&](Node*) { ++visits; });
  composite->Visit(&visitor);
  EXPECT_EQ(visits, 1);
  EXPECT_TRUE(composite->Save(nullptr));
  EXPECT_TRUE(composite->Load(nullptr));
  EXPECT_EQ(composite->GetComposite(), composite.Get());
  EXPECT_EQ(composite->ChildCount(), 0u);
  EXPECT_EQ(composite->CreateIterator(), nullptr);
  EXPECT_EQ(composite->RemoveChild(composite->GetId()), nullptr);
}

TEST(CompositeTest, VisitsWhatTheVisitorAddsAtTheParent) {
  Ref const root(ProbeDocument::Create("root"));
  root->AddChild(ProbeNode::Create("first"));
  Log seen;
  FunctionVisitor visitor([&](Node* node) {
    if (node == root.Get()) root->AddChild(ProbeNode::Create("added"));
    auto const* const probe = dynamic_cast<ProbeNode*>(node);
    seen.push_back(probe ? probe->name : "root");
  });
  root->Visit(&visitor);
  EXPECT_EQ(seen, (Log{"root", "first", "added"}));
}

TEST(CompositeTest, EndsSavingAndLoadingAtTheFirstFailure) {
  Ref const root(CountingComposite::Create());
  root->AddChild(StoredNode::Create('a', true));
  root->AddChild(StoredNode::Create('b', false));
  root->AddChild(StoredNode::Create('c', true));
  std::ostringstream out;
  EXPECT_FALSE(root->Save(&out));
  EXPECT_EQ(out.str(), "ab");
  std::istringstream good("abc");
  EXPECT_TRUE(root->Load(&good));
  std::istringstream bad("axc");
  EXPECT_FALSE(root->Load(&bad));
  EXPECT_EQ(bad.get(), 'c');
  EXPECT_EQ(root->liveIterators, 0);
}

TEST(CompositeTest, ReleasesItsIteratorsWhenAVisitorThrows) {
  for (int const levels : {3, 250}) {
    std::vector<Ref<CountingComposite>> path;
    for (int level = 0; level < levels; ++level) {
      path.emplace_back(CountingComposite::Create());
      if (level > 0) path[static_cast<std::size_t>(level) - 1]->AddChild(Ref(path.back()).Detach());
    }
    FunctionVisitor visitor([&](Node* node) {
      if (node == path.back().Get()) throw std::runtime_error("stop");
    });
    EXPECT_THROW(path.front()->Visit(&visitor), std::runtime_error);
    for (auto const& composite : path) EXPECT_EQ(composite->liveIterators, 0);
  }
}

/// Parents, children in order, without any code of the library's walks.
void listInPreOrder(Node* node, std::vector<Node*>& list) {
  list.push_back(node);
  if (!node->GetComposite()) return;
  for (Node* child : Children(*node->GetComposite())) listInPreOrder(child, list);
}

TEST(CompositeTest, WalksInPreOrderHoweverDeepTheTree) {
  // Random trees, mostly long branches, reach far below the depth at which the walk leaves the stack.
  std::mt19937 random(7);
  for (int tree = 0; tree < 20; ++tree) {
    Ref const root(StoredNode::Create('0', true));
    std::vector<DocumentNode*> nodes{root.Get()};
    for (int i = 0; i < 2000; ++i) {
      std::size_t const recent = std::min<std::size_t>(nodes.size(), 3);
      std::size_t const parent = nodes.size() - 1 - random() % recent;
      auto* const node = StoredNode::Create(static_cast<char>('a' + i % 26), true);
      nodes[parent]->AddChild(node);
      nodes.push_back(node);
    }
    std::vector<Node*> expected;
    listInPreOrder(root.Get(), expected);
    std::vector<Node*> seen;
    FunctionVisitor visitor([&](Node* node) { seen.push_back(node); });
    root->Visit(&visitor);
    EXPECT_EQ(seen, expected);

    std::ostringstream out;
    EXPECT_TRUE(root->Save(&out));
    EXPECT_EQ(out.str().size(), nodes.size());
    std::istringstream in(out.str());
    EXPECT_TRUE(root->Load(&in));
    std::string damaged = out.str();
    damaged[damaged.size() - 5] = '!';
    std::istringstream damagedIn(damaged);
    EXPECT_FALSE(root->Load(&damagedIn));
    EXPECT_EQ(damagedIn.tellg(), std::istringstream::pos_type(static_cast<std::streamoff>(damaged.size() - 4)));
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

TEST(CompositeTest, LeavesAWalkWithinAWalkItsOwnOrder) {
  // At every node of a deep tree the visitor visits a small tree, deep enough to need the list for its own part.
  Ref const deep(CreateDeepTree(300));
  Ref const inner(CreateDeepTree(150));
  int innerVisits = 0;
  int outerVisits = 0;
  FunctionVisitor innerVisitor([&](Node*) { ++innerVisits; });
  FunctionVisitor outerVisitor([&](Node*) {
    inner->Visit(&innerVisitor);
    ++outerVisits;
    EXPECT_EQ(innerVisits, 150 * outerVisits);
  });
  deep->Visit(&outerVisitor);
  EXPECT_EQ(outerVisits, 300);
}

TEST(ChildrenTest, AreARangeInOrder) {
  Ref const root(DocumentNode::Create());
  for (Node* child : Children(*root)) FAIL() << child;
  Node* const a = ProbeNode::Create("a");
  Node* const b = ProbeNode::Create("b");
  root->AddChild(a);
  root->AddChild(b);
  std::vector<Node*> seen;
  for (Node* child : Children(*root)) seen.push_back(child);
  EXPECT_EQ(seen, (std::vector<Node*>{a, b}));
}

TEST(IteratorTest, StartsAgainAndCopiesStandAtTheFirstElement) {
  struct Empty : Iterator {
    ~Empty() override = default;
  } empty;
  EXPECT_TRUE(empty.Done());
  EXPECT_EQ(empty.Current(), nullptr);

  std::vector<Node*> none;
  auto* const emptyWalk = VectorIterator::Create(none);
  EXPECT_TRUE(emptyWalk->Done());
  emptyWalk->Next();
  EXPECT_EQ(emptyWalk->Current(), nullptr);
  emptyWalk->Release();

  Ref const a(ProbeNode::Create("a"));
  Ref const b(ProbeNode::Create("b"));
  std::vector<Node*> nodes{a.Get(), b.Get()};
  auto* const walk = VectorIterator::Create(nodes);
  EXPECT_EQ(walk->Current(), a.Get());
  walk->Next();
  EXPECT_EQ(walk->Current(), b.Get());
  EXPECT_EQ(VectorIterator(*walk).Current(), a.Get());
  walk->Next();
  EXPECT_TRUE(walk->Done());
  walk->Start();
  EXPECT_EQ(walk->Current(), a.Get());
  walk->Release();
}

}  // namespace
}  // namespace ZaM::test

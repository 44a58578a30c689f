#include "zam/model/composite.h"

#include <gtest/gtest.h>

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

/// A composite that counts how many of its iterators are alive.
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

/// Deep random trees under a visitor that adds, removes and ends nodes, starts walks within the walk, and throws; and
/// under a Save that writes other nodes into other streams and fails at times. All that happens goes into a log.
class RandomWalks {
 public:
  explicit RandomWalks(unsigned int seed) : random(seed) {}

  std::string Run() {
    Ref const root(Make());
    DocumentNode* last = root.Get();
    for (int i = 0; i < 3000; ++i) {
      DocumentNode* const node = Make();
      if (random() % 8 == 0) {
        last->AddFeature(node);
        continue;
      }
      last->AddChild(node);
      if (random() % 8 != 0) last = node;
    }
    RandomVisitor visitor(*this);
    try {
      root->Visit(&visitor);
    } catch (std::runtime_error const&) {
      log << "thrown ";
    }
    std::ostringstream out;
    walksLeft = 5;
    log << root->Save(&out) << out.str();
    return log.str();
  }

  std::string TakeEnds() { return std::exchange(ends, std::ostringstream()).str(); }

 private:
  class RandomNode : public DocumentNode {
   public:
    RandomNode(RandomWalks& owner, int given) : walks(owner), number(given) {}

    bool Save(std::ostream* stream) override {
      *stream << number << ' ';
      if (walks.StartsAnother()) {
        std::ostringstream other;
        bool const saved = DocumentNode::Save(&other);
        *stream << '[' << other.str() << saved << ']';
      }
      return number % 2999 != 2998 && DocumentNode::Save(stream);
    }

    RandomWalks& walks;
    int const number;

   protected:
    ~RandomNode() override {
      walks.ends << number << ' ';
      // A tree of its own has ended, whole, before this destructor goes on.
      if (number % 300 == 299) {
        Ref const tree(walks.Make());
        tree->AddChild(walks.Make());
      }
    }
  };

  class RandomVisitor : public Visitor {
   public:
    explicit RandomVisitor(RandomWalks& owner, int depth = 0) : walks(owner), nesting(depth) {}

    void DoVisit(Node* visited) override {
      auto& node = dynamic_cast<RandomNode&>(*visited);
      walks.log << node.number << " +!"[nesting];
      if (walks.Happens(40)) node.AddChild(walks.Make());
      if (node.ChildCount() > 1 && walks.Happens(40)) {
        Ref const removed(node.RemoveChild((*Children(node).begin())->GetId()));
      }
      if (nesting == 2) return;
      if (walks.StartsAnother()) {
        ++nesting;
        node.Visit(this);
        --nesting;
      }
      if (walks.StartsAnother()) {
        RandomVisitor inner(walks, nesting + 1);
        try {
          node.Visit(&inner);
        } catch (std::runtime_error const&) {
          walks.log << "caught ";
        }
      }
      if (nesting > 0 && walks.Happens(3000)) throw std::runtime_error("stop");
    }

   private:
    RandomWalks& walks;
    int nesting;
  };

  RandomNode* Make() {
    return CreateCounted([this] { return new RandomNode(*this, nextNumber++); });
  }
  bool Happens(unsigned int oneIn) { return random() % oneIn == 0; }
  bool StartsAnother() { return walksLeft > 0 && Happens(300) && walksLeft-- > 0; }

  std::mt19937 random;
  int nextNumber = 0;
  int walksLeft = 20;
  std::ostringstream log;
  std::ostringstream ends;
};

TEST(CompositeTest, WalksAndEndsAlikeOnALargeStackAndFromAList) {
  for (unsigned int seed = 0; seed < 12; ++seed) {
    std::string logs[2];
    std::string ends[2];
    std::size_t const stacks[2] = {std::size_t{512} << 20, std::size_t{512} << 10};
    for (int i = 0; i < 2; ++i) {
      RunOnStack(stacks[i], [&] {
        RandomWalks walks(seed);
        logs[i] = walks.Run();
        ends[i] = walks.TakeEnds();
      });
    }
    EXPECT_EQ(logs[0], logs[1]) << "with seed " << seed;
    EXPECT_EQ(ends[0], ends[1]) << "with seed " << seed;
  }
}

TEST(CompositeTest, FinishesAWalkWithinAWalkBeforeItGoesOn) {
  RunOnStack(std::size_t{256} << 10, [] {
    constexpr int levels = 3000;
    Ref const root(CreateDeepTree(levels));
    int outerVisits = 0;
    int innerVisits = 0;
    bool inner = false;
    FunctionVisitor visitor([&](Node* node) {
      if (inner) {
        ++innerVisits;
        return;
      }
      if (++outerVisits % 100 != 50) return;
      inner = true;
      innerVisits = 0;
      node->Visit(&visitor);
      EXPECT_EQ(innerVisits, levels + 1 - outerVisits);
      inner = false;
    });
    root->Visit(&visitor);
    EXPECT_EQ(outerVisits, levels);
  });
}

TEST(CompositeTest, FailsWithoutALeakWhenADeepWalkFindsNoMemory) {
  RunOnStack(std::size_t{256} << 10, [] {
    Ref const root(CreateDeepTree(3000));
    int visits = 0;
    FunctionVisitor visitor([&](Node*) { ++visits; });
    for (std::size_t n : {0u, 1u, 2990u, 2999u, 3000u, 3010u, 3020u}) {
      FailingAllocation const failing(n);
      visits = 0;
      std::int32_t const id = FailureId([&] { root->Visit(&visitor); });
      // Where an iterator can't be made the walk ends without a word; where its place can't be kept, with a failure.
      EXPECT_TRUE(visits == 3000 || failing.HasFailed());
      EXPECT_TRUE(id == 0 || id == 5);
    }
  });
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

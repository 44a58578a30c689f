// Walks over trees: visits, storing, iterators and traversers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/run_on_stack.h"

namespace ZaM::test {
namespace {

struct Release {
  void operator()(PreOrderTraverser<DocumentNode>* traverser) const { traverser->Release(); }
};
using Traverser = std::unique_ptr<PreOrderTraverser<DocumentNode>, Release>;

Traverser traverse(DocumentNode* root) {
  return Traverser(PreOrderTraverser<DocumentNode>::Create(root));
}

/// All that is still to come.
std::vector<Node*> restOf(Traverser const& traverser) {
  std::vector<Node*> nodes;
  while (!traverser->Done()) nodes.push_back(traverser->Next());
  EXPECT_EQ(traverser->Next(), nullptr);
  return nodes;
}

TEST(TreeTest, IsWalkedByVisitorsTraversersAndLoops) {
  Ref const root(DocumentNode::Create());
  auto* const page = ProbeDocument::Create("page");
  root->AddChild(page);
  page->AddChild(ProbeNode::Create("no document"));
  EXPECT_EQ(page->GetParentDocument(), root.Get());

  std::vector<Node*> visited;
  FunctionVisitor visitor([&](Node* node) { visited.push_back(node); });
  root->Visit(&visitor);
  Node* const leaf = *Children(*page).begin();
  EXPECT_EQ(visited, (std::vector<Node*>{root.Get(), page, leaf}));
  EXPECT_EQ(restOf(traverse(root.Get())), (std::vector<Node*>{root.Get(), page}));
  EXPECT_TRUE(restOf(traverse(nullptr)).empty());
}

/// Stored as one character. '+' saves what is below it into another stream first; '-' fails; '(' closes after the rest.
class StoredNode : public DocumentNode {
 public:
  static StoredNode* Create(char mark) {
    return CreateCounted([=] { return new StoredNode(mark); });
  }
  bool Save(std::ostream* stream) override {
    std::ostringstream other;
    if (mark == '+') DocumentNode::Save(&other);
    stream->put(mark);
    bool const goesOn = mark != '-' && DocumentNode::Save(stream);
    if (mark == '(') stream->put(')');
    return goesOn;
  }
  bool Load(std::istream* stream) override { return stream->get() == mark && DocumentNode::Load(stream); }

  char const mark;

 private:
  explicit StoredNode(char written) : mark(written) {}
};

/// A document, or one of a class that overrides nothing or the storing.
DocumentNode* makeAny(std::mt19937& random) {
  auto const kind = random() % 3;
  if (kind == 0) return DocumentNode::Create();
  if (kind == 1) return ProbeDocument::Create("");
  return StoredNode::Create(static_cast<char>('a' + random() % 26));
}

// Deep walks leave a small stack for a list; the large one holds them whole.
constexpr std::size_t smallStack = std::size_t{512} << 10;
constexpr std::size_t largeStack = std::size_t{64} << 20;

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
    nodes.push_back(nodes.size() == size / 2 ? StoredNode::Create('+') : makeAny(random));
    parent->AddChild(nodes.back());
  }
  nodes.back()->AddChild(StoredNode::Create('Z'));
  std::vector<Node*> expected;
  listInPreOrder(root.Get(), expected);
  std::vector<Node*> seen;
  std::size_t visits = 0, inner = 0;
  FunctionVisitor counting([&](Node*) { ++inner; });
  FunctionVisitor visitor([&](Node* node) {
    seen.push_back(node);
    if (++visits % 1000 != 0) return;
    node->Visit(&counting);  // a walk within a walk is finished first
    node->Visit(&counting);
  });
  RunOnStack(stack, [&] { root->Visit(&visitor); });
  EXPECT_EQ(seen, expected);
  std::size_t below = 0;
  for (std::size_t i = 999; i < expected.size(); i += 1000) {
    std::vector<Node*> list;
    listInPreOrder(expected[i], list);
    below += 2 * list.size();
  }
  EXPECT_EQ(inner, below);
  EXPECT_EQ(restOf(traverse(root.Get())), expected);

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

  FunctionVisitor throwing([&](Node* node) {
    if (node == nodes.back()) throw std::runtime_error("stop");
  });
  RunOnStack(stack, [&] {
    std::ptrdiff_t const blocks = LiveBlocks();
    EXPECT_THROW(root->Visit(&throwing), std::runtime_error);
    EXPECT_EQ(LiveBlocks(), blocks);
  });

  // What a visitor adds is visited too, and what it removes isn't.
  visits = 0;
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

TEST(TreeTest, IsWalkedInPreOrderHoweverDeepItIs) {
  std::mt19937 random(7);
  for (int tree = 0; tree < 6; ++tree) {
    for (std::size_t const stack : {smallStack, largeStack}) expectWalks(random, stack);
  }
}

TEST(TreeTest, MayHaveAMillionLevelsOrChildren) {
  constexpr int count = 1'000'000;
  constexpr int brackets = 102;  // more than nest before the stack is looked at
  constexpr int distance = 9000;
  RunOnStack(smallStack, [&] {
    Ref<DocumentNode> const root(StoredNode::Create('('));
    DocumentNode* last = root.Get();
    for (int level = 1; level < count; ++level) {
      bool const isBracket = level % distance == 0 && level / distance < brackets;
      DocumentNode* const next = isBracket ? StoredNode::Create('(') : DocumentNode::Create();
      last->AddChild(next);
      last = next;
    }
    for (int child = 0; child < count; ++child) last->AddChild(DocumentNode::Create());
    last->AddChild(nullptr);
    int visits = 0;
    FunctionVisitor visitor([&](Node*) { ++visits; });
    root->Visit(&visitor);
    EXPECT_EQ(visits, 2 * count);
    EXPECT_EQ(restOf(traverse(root.Get())).size(), 2U * count);
    std::ostringstream out;
    EXPECT_TRUE(root->Save(&out));
    EXPECT_EQ(out.str(), std::string(brackets, '(') + std::string(brackets, ')'));

    Node* chain = DocumentNode::Create();
    for (int i = 1; i < count; ++i) {
      Node* const head = DocumentNode::Create();
      head->AddFeature(chain);
      chain = head;
    }
    root->AddFeature(chain);
    root->AddFeature(DocumentNode::Create());  // walks the whole chain
  });
}

TEST(TreeTest, IsLeftWithoutALeakWhereADeepWalkFindsNoMemory) {
  RunOnStack(smallStack, [] {
    std::mt19937 random(3);
    Ref const root(makeAny(random));
    DocumentNode* last = root.Get();
    for (int level = 1; level < 300; ++level, last = dynamic_cast<DocumentNode*>(*Children(*last).begin())) {
      last->AddChild(makeAny(random));
    }
    FunctionVisitor visitor([](Node*) {});
    EXPECT_GT(FailEachAllocation([&] { root->Visit(&visitor); }, [] {}), 300U);
  });
}

/// A document whose children show only through `GetVectorIterator`, and not even there if it is sealed.
class Folder : public ProbeDocument {
 public:
  static Folder* Create(std::string const& name, std::vector<Node*> const& children, bool isSealed = false) {
    Folder* const folder = CreateCounted([&] { return new Folder(name, isSealed); });
    for (Node* child : children) folder->AddChild(child);
    return folder;
  }
  Composite* GetComposite() override { return sealed ? nullptr : this; }
  Iterator* CreateIterator() override { return nullptr; }

 private:
  Folder(std::string const& given, bool isSealed) : Probe(given, nullptr), sealed(isSealed) {}
  bool const sealed;
};

std::string restOfNames(Traverser const& traverser) {
  std::string names;
  for (Node* const node : restOf(traverser)) names += dynamic_cast<ProbeDocument&>(*node).name;
  return names;
}

TEST(PreOrderTraverserTest, ListsChildrenWhenTheirParentIsReturned) {
  auto const leaf = [](char const* name) { return ProbeDocument::Create(name); };
  auto* const a = leaf("a");
  auto* const b = leaf("b");
  Ref const root(Folder::Create("r", {a, b, nullptr, Folder::Create("s", {leaf("hidden")}, true),
                                      Folder::Create("d", {Folder::Create("e", {leaf("f")})})}));
  EXPECT_EQ(restOfNames(traverse(root.Get())), "rabsdef");
  Traverser const traverser = traverse(root.Get());
  root->AddChild(leaf("c"));
  EXPECT_EQ(traverser->Next(), root.Get());
  root->AddChild(leaf("too late"));
  Ref const removed(root->RemoveChild(b->GetId()));
  a->AddChild(leaf("x"));
  Traverser const copy(new PreOrderTraverser(*traverser));
  EXPECT_EQ(restOfNames(traverser), "axbsdefc");
  EXPECT_EQ(restOfNames(copy), "axbsdefc");
}

}  // namespace
}  // namespace ZaM::test

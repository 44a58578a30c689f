#include "zam/model/pre_order_traverser.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/support/probe_nodes.h"
#include "tests/support/run_on_stack.h"

namespace ZaM::test {
namespace {

using Traverser = PreOrderTraverser<DocumentNode>;

struct Release {
  void operator()(Traverser* traverser) const { traverser->Release(); }
};

std::unique_ptr<Traverser, Release> Traverse(DocumentNode* root) {
  return std::unique_ptr<Traverser, Release>(Traverser::Create(root));
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

/// The names of what is still to come.
std::string Rest(Traverser& traverser) {
  std::string names;
  while (!traverser.Done()) names += dynamic_cast<ProbeDocument&>(*traverser.Next()).name;
  EXPECT_TRUE(!traverser.Next() && !traverser.Next());
  return names;
}

TEST(PreOrderTraverserTest, GivesParentsBeforeChildrenAndChildrenInOrder) {
  EXPECT_EQ(Rest(*Traverse(nullptr)), "");
  auto const leaf = [](char const* name) { return ProbeDocument::Create(name); };
  Ref const root(Folder::Create(
      "r", {Folder::Create("a", {leaf("b"), leaf("c")}), ProbeNode::Create("no document"), nullptr,
            Folder::Create("s", {leaf("hidden")}, true), Folder::Create("d", {Folder::Create("e", {leaf("f")})})}));
  EXPECT_EQ(Rest(*Traverse(root.Get())), "rabcsdef");
}

TEST(PreOrderTraverserTest, ListsChildrenWhenTheirParentIsReturned) {
  auto* const a = ProbeDocument::Create("a");
  auto* const b = ProbeDocument::Create("b");
  Ref const root(Folder::Create("r", {a, b}));
  auto const traverser = Traverse(root.Get());
  root->AddChild(ProbeDocument::Create("c"));
  EXPECT_EQ(traverser->Next(), root.Get());
  root->AddChild(ProbeDocument::Create("too late"));
  Ref const removed(root->RemoveChild(b->GetId()));
  a->AddChild(ProbeDocument::Create("d"));

  std::unique_ptr<Traverser, Release> const copy(new Traverser(*traverser));
  EXPECT_EQ(Rest(*traverser), "adbc");
  EXPECT_EQ(Rest(*copy), "adbc");
}

TEST(PreOrderTraverserTest, AgreesWithVisitOnWideAndDeepTrees) {
  Ref const wide(DocumentNode::Create());
  for (int i = 1; i < 1'000'000; ++i) wide->AddChild(DocumentNode::Create());
  for (auto const& root : {wide, Ref(CreateDeepTree(100'000))}) {
    std::vector<Node*> visited;
    FunctionVisitor visitor([&](Node* node) { visited.push_back(node); });
    root->Visit(&visitor);
    std::vector<Node*> traversed;
    RunOnStack(256 * 1024, [&] {
      auto const traverser = Traverse(root.Get());
      while (!traverser->Done()) traversed.push_back(traverser->Next());
    });
    EXPECT_TRUE(traversed == visited);
  }
}

}  // namespace
}  // namespace ZaM::test

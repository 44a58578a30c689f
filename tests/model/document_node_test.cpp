#include "zam/model/document_node.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"

namespace ZaM::test {
namespace {

static_assert(!std::is_default_constructible_v<DocumentNode> && !std::is_destructible_v<DocumentNode>);

/// A document whose chain is described by a text: representations by their tags, plain nodes by "-".
class ChainTest : public ::testing::Test {
 protected:
  void Build(std::vector<std::string> const& names) {
    document = Ref(DocumentNode::Create());
    entries.clear();
    for (auto const& name : names) {
      Node* const entry = name == "-" ? static_cast<Node*>(ProbeNode::Create(name)) : TaggedNode::Create(name);
      entries.push_back(entry);
      if (name == "-") {
        document->AddFeature(entry);
      } else {
        EXPECT_TRUE(document->AddRepresentation(entry));
      }
    }
  }

  std::vector<Node*> Chain() const {
    std::vector<Node*> chain;
    for (Node* node = document->GetFeature(); node; node = node->GetFeature()) chain.push_back(node);
    return chain;
  }

  Ref<DocumentNode> document;
  std::vector<Node*> entries;
};

TEST_F(ChainTest, FindsAndRemovesTheFirstUnderATag) {
  struct {
    std::vector<std::string> chain;
    std::string tag;
    int found;  // place in the chain, or -1
  } const cases[] = {
      {{}, "AAAA", -1},
      {{"AAAA"}, "AAAA", 0},
      {{"AAAA"}, "BBBB", -1},
      {{"AAAA", "BBBB", "CCCC"}, "AAAA", 0},
      {{"AAAA", "BBBB", "CCCC"}, "BBBB", 1},
      {{"AAAA", "BBBB", "CCCC"}, "CCCC", 2},
      {{"-", "AAAA", "-", "-", "BBBB", "-"}, "BBBB", 4},
      {{"-", "-"}, "AAAA", -1},
      {{"BBBB", "AAAA", "-", "AAAA"}, "AAAA", 1},
      {{std::string("A\0B\0", 4), std::string("A\0C\0", 4)}, std::string("A\0C\0", 4), 1},
  };
  for (auto const& [chain, tag, found] : cases) {
    Build(chain);
    RepTag const wanted = SetRepTag(tag);
    if (found < 0) {
      EXPECT_EQ(document->GetRepresentation(wanted), nullptr);
      EXPECT_EQ(document->RemoveRepresentation(wanted), nullptr);
      EXPECT_EQ(Chain(), entries);
      continue;
    }
    Node* const expected = entries[static_cast<std::size_t>(found)];
    EXPECT_EQ(document->GetRepresentation(wanted), dynamic_cast<Representation*>(expected));
    Ref const removed(document->RemoveRepresentation(wanted));
    EXPECT_EQ(removed.Get(), expected);
    EXPECT_EQ(removed->GetFeature(), nullptr);
    entries.erase(entries.begin() + found);
    EXPECT_EQ(Chain(), entries);
  }
}

TEST_F(ChainTest, RemovesTheEarlierOfTwoRepresentationsUnderOneTag) {
  Build({"AAAA", "AAAA"});
  EXPECT_EQ(Ref(document->RemoveRepresentation(SetRepTag("AAAA"))).Get(), entries[0]);
  EXPECT_EQ(Ref(document->RemoveRepresentation(SetRepTag("AAAA"))).Get(), entries[1]);
  EXPECT_EQ(document->RemoveRepresentation(SetRepTag("AAAA")), nullptr);
}

TEST(DocumentNodeTest, RefusesWhatIsNoRepresentation) {
  Ref const document(DocumentNode::Create());
  Ref const node(ProbeNode::Create("node"));
  EXPECT_FALSE(document->AddRepresentation(node.Get()));
  EXPECT_FALSE(document->AddRepresentation(nullptr));
  EXPECT_EQ(document->GetFeature(), nullptr);
  EXPECT_EQ(node->AddRefCount(), 2);
  node->Release();
}

TEST(DocumentNodeTest, NeverCountsItselfAmongItsRepresentations) {
  struct ClassNode : DocumentNode, Representation {};
  Ref const node(CreateCounted([] { return new ClassNode; }));
  EXPECT_EQ(node->GetRepresentation(Representation::DefaultTag), nullptr);
  EXPECT_EQ(node->RemoveRepresentation(Representation::DefaultTag), nullptr);
}

TEST(DocumentNodeTest, BecomesTheParentOfItsChildren) {
  Ref const other(DocumentNode::Create());
  Ref const root(DocumentNode::Create(3, nullptr));
  auto* const child = DocumentNode::Create(4, other.Get());
  EXPECT_EQ(child->GetClassId(), 4u);
  EXPECT_EQ(child->GetParentDocument(), other.Get());
  EXPECT_EQ(other->ChildCount(), 0u);
  EXPECT_TRUE(other->GetVectorIterator().Done());

  root->AddChild(child);
  root->AddChild(ProbeNode::Create("leaf"));
  EXPECT_EQ(child->GetParentDocument(), root.Get());
  EXPECT_EQ(root->ChildCount(), 2u);
  EXPECT_EQ(root->GetParentDocument(), nullptr);
}

TEST(DocumentNodeTest, RemovesTheChildWithTheId) {
  for (std::size_t const removed : {0u, 1u, 2u}) {
    Ref const root(DocumentNode::Create());
    std::vector<Node*> children;
    for (int i = 0; i < 3; ++i) {
      children.push_back(DocumentNode::Create());
      root->AddChild(children.back());
    }
    EXPECT_EQ(root->RemoveChild(0), nullptr);
    EXPECT_EQ(root->RemoveChild(root->GetId()), nullptr);

    Ref const child(root->RemoveChild(children[removed]->GetId()));
    EXPECT_EQ(child.Get(), children[removed]);
    EXPECT_EQ(child->AddRefCount(), 2);
    child->Release();
    EXPECT_EQ(dynamic_cast<DocumentNode&>(*child).GetParentDocument(), root.Get());
    children.erase(children.begin() + static_cast<std::ptrdiff_t>(removed));
    EXPECT_EQ(root->ChildCount(), 2u);
    EXPECT_TRUE(std::equal(children.begin(), children.end(), Children(*root).begin()));
  }
}

TEST(DocumentNodeTest, StaysAsItWasWhenThereIsNoMemoryForAChild) {
  Ref const root(DocumentNode::Create());
  Ref const child(DocumentNode::Create());
  std::size_t const failures = FailEachAllocation([&] { root->AddChild(Ref(child).Detach()); },
                                                  [&] {
                                                    EXPECT_EQ(root->ChildCount(), 0u);
                                                    EXPECT_EQ(child->GetParentDocument(), nullptr);
                                                    child->Release();  // the reference stayed with the caller
                                                  });
  EXPECT_EQ(failures, 1u);
  EXPECT_EQ(root->ChildCount(), 1u);
}

TEST(DocumentNodeTest, ReleasesEveryChildOnceAndToleratesANullAmongThem) {
  Log ends;
  auto* const root = DocumentNode::Create();
  root->AddChild(ProbeNode::Create("a", &ends));
  root->AddChild(nullptr);
  Ref<Node> const kept(ProbeDocument::Create("b", &ends));
  root->AddChild(Ref(kept).Detach());
  FunctionVisitor visitor([](Node*) {});
  root->Visit(&visitor);
  EXPECT_EQ(root->RemoveChild(77), nullptr);
  root->Release();
  EXPECT_EQ(ends, Log{"a"});
}

}  // namespace
}  // namespace ZaM::test

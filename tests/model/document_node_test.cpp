#include "zam/model/document_node.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/support/probe_nodes.h"

namespace ZaM::test {
namespace {

static_assert(!std::is_default_constructible_v<DocumentNode> && !std::is_destructible_v<DocumentNode>);

TEST(DocumentNodeTest, FindsAndRemovesTheFirstRepresentationUnderATag) {
  struct {
    std::vector<std::string> chain;  // representations by their tags, other nodes by "-"
    std::string tag;
    std::size_t found;  // its place in the chain; the chain's end if there is none
  } const cases[] = {
      {{}, "AAAA", 0},
      {{"AAAA"}, "BBBB", 1},
      {{"AAAA", "BBBB", "CCCC"}, "AAAA", 0},
      {{"AAAA", "BBBB", "CCCC"}, "CCCC", 2},
      {{"-", "AAAA", "-", "-", "BBBB", "-"}, "BBBB", 4},
      {{"BBBB", "AAAA", "-", "AAAA"}, "AAAA", 1},
      {{std::string("A\0B\0", 4), std::string("A\0C\0", 4)}, std::string("A\0C\0", 4), 1},
  };
  for (auto const& [names, tag, found] : cases) {
    Ref const document(DocumentNode::Create());
    std::vector<Node*> chain;
    for (auto const& name : names) {
      chain.push_back(name == "-" ? static_cast<Node*>(ProbeNode::Create(name)) : TaggedNode::Create(name));
      name == "-" ? document->AddFeature(chain.back()) : void(document->AddRepresentation(chain.back()));
    }
    Node* const expected = found < chain.size() ? chain[found] : nullptr;
    EXPECT_EQ(document->GetRepresentation(SetRepTag(tag)), dynamic_cast<Representation*>(expected));
    Ref const removed(document->RemoveRepresentation(SetRepTag(tag)));
    EXPECT_EQ(removed.Get(), expected);
    if (removed) {
      EXPECT_EQ(removed->GetFeature(), nullptr);
      chain.erase(chain.begin() + static_cast<std::ptrdiff_t>(found));
    }
    Node* feature = document->GetFeature();
    for (Node* const left : chain) {
      EXPECT_EQ(feature, left);
      feature = left->GetFeature();
    }
    EXPECT_EQ(feature, nullptr);
  }
}

TEST(DocumentNodeTest, RefusesWhatIsNoRepresentationOrHangsThereAlready) {
  Ref const document(DocumentNode::Create());
  Ref const node(ProbeNode::Create("node"));
  EXPECT_FALSE(document->AddRepresentation(node.Get()));
  EXPECT_FALSE(document->AddRepresentation(nullptr));
  EXPECT_EQ(document->GetFeature(), nullptr);
  auto* const a = TaggedNode::Create("AAAA");
  auto* const b = TaggedNode::Create("BBBB");
  EXPECT_TRUE(document->AddRepresentation(a) && document->AddRepresentation(b));
  EXPECT_FALSE(document->AddRepresentation(a) || document->AddRepresentation(b));  // would make a ring
  EXPECT_EQ(b->GetFeature(), nullptr);
}

TEST(DocumentNodeTest, NeverCountsItselfAmongItsRepresentations) {
  struct ClassNode : DocumentNode, Representation {};
  Ref const node(CreateCounted([] { return new ClassNode; }));
  EXPECT_FALSE(node->AddRepresentation(node.Get()));
  EXPECT_EQ(node->GetRepresentation(Representation::DefaultTag), nullptr);
  EXPECT_EQ(node->RemoveRepresentation(Representation::DefaultTag), nullptr);
}

TEST(DocumentNodeTest, BecomesTheParentOfTheChildrenThatItIsGiven) {
  Ref const other(DocumentNode::Create()), root(DocumentNode::Create());
  auto* const child = DocumentNode::Create(4, other.Get());
  EXPECT_EQ(child->GetParentDocument(), other.Get());
  EXPECT_EQ(other->ChildCount(), 0u);
  root->AddChild(child);
  EXPECT_EQ(child->GetParentDocument(), root.Get());
}

TEST(DocumentNodeTest, RemovesTheChildWithTheId) {
  for (std::size_t const removed : {0u, 1u, 2u}) {
    Ref const root(DocumentNode::Create());
    std::vector<Node*> children{DocumentNode::Create(), ProbeNode::Create("leaf"), DocumentNode::Create()};
    for (Node* const child : children) root->AddChild(child);
    for (unsigned int const id : {0u, root->GetId()}) EXPECT_EQ(root->RemoveChild(id), nullptr);
    Ref const child(root->RemoveChild(children[removed]->GetId()));
    EXPECT_EQ(child.Get(), children[removed]);
    children.erase(children.begin() + static_cast<std::ptrdiff_t>(removed));
    EXPECT_EQ(root->ChildCount(), 2u);
    EXPECT_TRUE(std::equal(children.begin(), children.end(), Children(*root).begin()));
  }
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

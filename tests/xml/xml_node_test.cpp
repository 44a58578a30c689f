#include "zam/xml/xml_node.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace ZaM {
namespace {

using test::Describe;
using test::FailureId;

using XmlNodeRef = Ref<XmlNode>;

TEST(XmlNode, TellsElementsFromContent) {
  auto const kind = [](XmlNode const& node) {
    return std::string(node.IsInitialized() ? "" : "un") + "initialized " + (node.IsContent() ? "content" : "element") +
           " '" + test::Ascii(node.GetName()) + "' '" + test::Ascii(node.GetContent()) + "'";
  };
  XmlNodeRef const nameless(XmlNode::Create(u"")), emptyContent(XmlNode::Create(u"", u""));
  XmlNodeRef const filled(XmlNode::Create(u"a")), emptied(XmlNode::Create(u"a", u"x"));
  EXPECT_EQ(kind(*filled), "initialized element 'a' ''");
  EXPECT_EQ(kind(*emptied), "initialized content '' 'x'");
  EXPECT_TRUE(filled->SetContent(u"x") == u"x");
  emptied->SetContent(u"");
  EXPECT_EQ(kind(*filled), "initialized content 'a' 'x'");
  EXPECT_EQ(kind(*emptied), "initialized element '' ''");
  EXPECT_EQ(kind(*nameless), "uninitialized element '' ''");
  EXPECT_EQ(kind(*XmlNodeRef(XmlNode::Create(nameless.Get()))), "uninitialized element '' ''");
  EXPECT_EQ(kind(*emptyContent), "initialized content '' ''");
  EXPECT_EQ(kind(*XmlNodeRef(XmlNode::Create(emptyContent.Get()))), "initialized element '' ''");
}

TEST(XmlNode, TakesChildrenOfItsOwnTypeOnly) {
  XmlNodeRef const root(XmlNode::Create(u"root"));
  XmlNodeRef const child(XmlNode::Create(u"child"));
  Ref<DocumentNode> const document(DocumentNode::Create());
  Composite& composite = *root;
  root->AddContent(u"text");
  for (Node* added : std::initializer_list<Node*>{document.Get(), nullptr, child.Get()}) composite.AddChild(added);
  EXPECT_EQ(root->AddChild(static_cast<XmlNode*>(nullptr)), nullptr);
  EXPECT_EQ(root->RemoveChild(child->GetId()), nullptr);
  root->RemoveChild(nullptr);
  EXPECT_EQ(Describe(root.Get()), "<root>[text]<child/></root>");
  root->RemoveChild(child.Get());  // its reference is the caller's again
}

/// Whether it was read, and whether somebody has looked, decides how a node holds what it has.
TEST(XmlNode, KeepsChildrenAndPropertiesInOrderHoweverTheyAreHeld) {
  std::mt19937 random(1);
  wstring const other = u"default";
  for (int round = 0; round < 100; ++round) {
    XmlTree tree;
    tree.ReadBuffer("<root><p>text</p><p/></root>");
    XmlNodeRef const made[] = {XmlNodeRef(XmlNode::Create(u"p")), XmlNodeRef(XmlNode::Create(u"p"))};
    std::vector<XmlNode*> parents(tree.GetRoot()->GetChildren().begin(), tree.GetRoot()->GetChildren().end());
    if (round % 2 == 0) parents = {made[0].Get(), made[1].Get()};
    struct {
      std::list<XmlNode*> children;
      std::vector<std::pair<wstring, wstring>> properties;
    } expected[2];
    parents[0]->FilterChildren(expected[0].children, u"");
    XmlNodeRef shared[3];
    for (auto& child : shared) child = XmlNodeRef(XmlNode::Create(u"a"));
    for (int step = 0; step < 100; ++step) {
      unsigned int const which = random() % 2;
      XmlNode& parent = *parents[which];
      auto& [children, properties] = expected[which];
      XmlNode* const child = shared[random() % 3].Get();
      wstring const name(1, static_cast<wchar>(u'a' + random() % 15));
      wstring const value(1, static_cast<wchar>(u'0' + random() % 10));
      auto const found =
          std::find_if(properties.begin(), properties.end(), [&](auto& one) { return one.first == name; });
      bool const isThere = found != properties.end();
      EXPECT_TRUE(parent.GetPropertyText(name) == (isThere ? found->second : u""));
      switch (random() % 10) {
        case 0:
          parent.RemoveChild(child);
          for (auto n = std::erase(children, child); n > 0; --n) child->Release();
          break;
        case 1:
        case 2:
          child->AddRefCount();
          EXPECT_EQ(parent.AddChild(child), child);
          children.push_back(child);
          break;
        case 3:
          children.push_back(parent.AddChild(name));
          EXPECT_EQ(children.back()->AddRefCount(), 1);  // none is the caller's
          break;
        case 4:
          parent.AddSubNodeText(name, value);
          children.push_back(parent.GetChildren().back());
          break;
        case 5: {
          std::unique_ptr<XmlProperty> const removed(parent.GetProperty(name));
          parent.RemoveProperty(name);
          if (isThere) properties.erase(found);
          break;
        }
        default:
          EXPECT_EQ(parent.AddProperty(name, value) == nullptr, isThere);
          if (!isThere) properties.emplace_back(name, value);
      }
      EXPECT_EQ(parent.ChildCount(), children.size());
      std::list<XmlNode*> all, named;
      parent.FilterChildren(all, u"");
      EXPECT_EQ(all, children);
      parent.FilterChildren(named, name);
      std::erase_if(all, [&](XmlNode* one) { return one->GetName() != name; });
      EXPECT_EQ(all, named);
      wstring const& text = parent.GetSubNodeText(name, other, false);
      bool const hasText = named.size() == 1 && named.front()->ChildCount() == 1;
      EXPECT_TRUE(named.size() != 1 ? &text == &other
                                    : text == (hasText ? named.front()->GetChildren().front()->GetContent() : u""));
      if (random() % 8 != 0) continue;  // nobody looks
      EXPECT_EQ(parent.GetChildren(), children);
      std::vector<std::pair<wstring, wstring>> read;
      for (auto* property : parent.GetProperties()) read.emplace_back(property->GetName(), property->GetValue());
      EXPECT_TRUE(read == properties);
    }
    XmlNodeRef const copy(XmlNode::Create(parents[0]));
    EXPECT_EQ(Describe(copy.Get()), Describe(parents[0]));
  }
}

TEST(XmlNode, LivesOnWhereItsTreeHasEnded) {
  std::string text = "<a>";
  for (int i = 0; i < 5000; ++i) text += "<b p='" + std::string(40, 'v') + "'>text</b>";
  struct Tree final : XmlTree {};  // XmlTree has no virtual destructor
  auto tree = std::make_unique<Tree>();
  tree->ReadBuffer(text + "<c q='1'><d/>deep</c></a>");
  XmlNode* const last = tree->GetRoot()->GetChildren().back();
  tree->GetRoot()->RemoveChild(last);
  std::unique_ptr<XmlProperty> const removed(tree->GetRoot()->GetChildren().front()->GetProperty(u"p"));
  tree->GetRoot()->GetChildren().front()->RemoveProperty(u"p");
  tree.reset();
  XmlNodeRef const kept(last), parent(XmlNode::Create(u"parent"));
  EXPECT_TRUE(kept->GetChildren().back()->GetName() == u"text");
  parent->AddChild(XmlNodeRef(kept).Detach());
  EXPECT_EQ(Describe(parent.Get()), "<parent><c q='1'><d/>[deep]</c></parent>");
  EXPECT_EQ(removed->GetValue().size(), 40u);
}

TEST(XmlNode, IteratesFromWhereACopiedIteratorStands) {
  struct Copy : ListIterator {
    explicit Copy(ListIterator const& other) : ListIterator(other) {}
    ~Copy() override = default;
  };
  XmlNodeRef const root(XmlNode::Create(u"root"));
  for (wstring const name : {u"a", u"b"}) root->AddChild(name);
  std::unique_ptr<Iterator, void (*)(Iterator*)> const walk(root->CreateIterator(), [](Iterator* i) { i->Release(); });
  walk->Next();
  Copy copy(dynamic_cast<ListIterator&>(*walk));
  EXPECT_EQ(copy.Current(), root->GetChildren().back());
  for (int i = 0; i < 2; ++i) copy.Next();
  EXPECT_TRUE(copy.Done() && copy.Current() == nullptr);
  copy.Start();
  EXPECT_EQ(copy.Current(), root->GetChildren().front());
  EXPECT_EQ(walk->Current(), root->GetChildren().back());
}

TEST(XmlNode, FindsTheTextOfTheOnlyChildOfTheOnlySubNodeOfAName) {
  XmlNodeRef const node(XmlNode::Create(u"node"));
  for (wstring const name : {u"once", u"twice", u"twice", u"crowded"}) node->AddSubNodeText(name, u"text");
  node->GetChildren().back()->AddContent(u"more");
  node->AddChild(u"nested")->AddChild(u"element")->AddContent(u"deeper");
  EXPECT_TRUE(node->GetSubNodeText(u"once") == u"text");
  for (wstring const name : {u"crowded", u"nested"}) EXPECT_TRUE(node->GetSubNodeText(name).empty());
  for (wstring const name : {u"twice", u"missing"}) EXPECT_EQ(FailureId([&] { node->GetSubNodeText(name); }), 9);
}

TEST(XmlNode, CopiesNothingThatItShares) {
  XmlNodeRef const root(XmlNode::Create(u"root"));
  root->AddProperty(u"a", u"1");
  root->AddContent(u"text");
  root->AddChild(u"x")->AddChild(u"y")->AddProperty(u"p", u"q");
  root->AddFeature(DocumentNode::Create());
  XmlNodeRef const copy(XmlNode::Create(root.Get()));
  EXPECT_EQ(copy->GetFeature(), nullptr);
  copy->GetChildren().front()->SetContent(u"changed");
  copy->GetProperty(u"a")->SetValue(u"changed");
  EXPECT_EQ(Describe(copy.Get()), "<root a='changed'>[changed]<x><y p='q'/></x></root>");
  EXPECT_EQ(Describe(root.Get()), "<root a='1'>[text]<x><y p='q'/></x></root>");
  EXPECT_EQ(FailureId([] { XmlNode::Create(static_cast<XmlNode const*>(nullptr)); }), 1);
}

}  // namespace
}  // namespace ZaM

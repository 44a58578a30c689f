#include "zam/xml/xml_node.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace ZaM {
namespace {

using test::Describe;
using test::FailureId;

constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t greatest = std::numeric_limits<std::int32_t>::max();

using XmlNodeRef = Ref<XmlNode>;

TEST(XmlNode, TellsElementsFromContent) {
  XmlNodeRef const nameless(XmlNode::Create(u"")), emptyContent(XmlNode::Create(u"", u""));
  XmlNodeRef const filled(XmlNode::Create(u"a")), emptied(XmlNode::Create(u"a", u"x"));
  EXPECT_TRUE(filled->SetContent(u"x") == u"x");
  emptied->SetContent(u"");
  struct {
    XmlNodeRef node;
    bool isInitialized;
    bool isContent;
    wstring name;
    wstring content;
  } const cases[] = {
      {XmlNodeRef(XmlNode::Create(u"a")), true, false, u"a", u""},
      {XmlNodeRef(XmlNode::Create(u"a", u"x")), true, true, u"", u"x"},
      {nameless, false, false, u"", u""},
      {XmlNodeRef(XmlNode::Create(nameless.Get())), false, false, u"", u""},
      {emptyContent, true, true, u"", u""},
      {XmlNodeRef(XmlNode::Create(emptyContent.Get())), true, false, u"", u""},
      {filled, true, true, u"a", u"x"},
      {emptied, true, false, u"", u""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(&c - cases);
    EXPECT_EQ(c.node->IsInitialized(), c.isInitialized);
    EXPECT_EQ(c.node->IsContent(), c.isContent);
    EXPECT_TRUE(c.node->GetName() == c.name && c.node->GetContent() == c.content);
  }
}

TEST(XmlNode, CountsReferencesDownToMinusOneForNodesThatItMakesItself) {
  XmlNodeRef root(XmlNode::Create(u"root"));
  XmlNodeRef copy(XmlNode::Create(root.Get()));
  for (XmlNode* made : {root->AddChild(u"a"), root->AddContent(u"b"), copy->AddChild(u"c")}) {
    EXPECT_EQ(made->AddRefCount(), 1);
    EXPECT_EQ(made->AddRefCount(), 2);
    made->Release();
  }
}

TEST(XmlNode, TakesChildrenOfItsOwnTypeOnly) {
  XmlNodeRef const root(XmlNode::Create(u"root"));
  Composite& composite = *root;
  Ref<DocumentNode> const document(DocumentNode::Create());
  composite.AddChild(document.Get());
  composite.AddChild(nullptr);
  EXPECT_EQ(root->AddChild(static_cast<XmlNode*>(nullptr)), nullptr);
  XmlNodeRef const child(XmlNode::Create(u"child"));
  root->AddContent(u"text");
  for (int i = 0; i < 2; ++i) composite.AddChild(child.Get());
  EXPECT_EQ(Describe(root.Get()), "<root>[text]<child/><child/></root>");
  EXPECT_EQ(root->RemoveChild(child->GetId()), nullptr);
  root->RemoveChild(nullptr);
  EXPECT_EQ(root->ChildCount(), 3u);
  root->RemoveChild(child.Get());
  EXPECT_EQ(Describe(root.Get()), "<root>[text]</root>");
  EXPECT_EQ(child->AddRefCount(), 2);  // its references are the caller's again
  child->Release();
}

/// Whether they are looked at in between decides how a node holds its children.
TEST(XmlNode, KeepsChildrenInOrderWhateverIsAddedRemovedAndLookedAt) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    XmlTree tree;  // two parents that were read, or made
    tree.ReadBuffer("<root><p>text</p><p/></root>");
    XmlNodeRef const made[] = {XmlNodeRef(XmlNode::Create(u"p")), XmlNodeRef(XmlNode::Create(u"p"))};
    std::vector<XmlNode*> parents(tree.GetRoot()->GetChildren().begin(), tree.GetRoot()->GetChildren().end());
    if (round % 2 == 0) parents = {made[0].Get(), made[1].Get()};
    std::list<XmlNode*> expected[2];
    if (round % 2 != 0) expected[0] = parents[0]->GetChildren();
    XmlNodeRef children[3];
    for (auto& child : children) child = XmlNodeRef(XmlNode::Create(u"c"));
    for (int step = 0; step < 30; ++step) {
      unsigned int const which = random() % 2;
      XmlNode* const child = children[random() % 3].Get();
      if (random() % 3 == 0) {
        parents[which]->RemoveChild(child);
        for (auto n = std::erase(expected[which], child); n > 0; --n) child->Release();
      } else {
        child->AddRefCount();
        EXPECT_EQ(parents[which]->AddChild(child), child);
        expected[which].push_back(child);
      }
      EXPECT_EQ(parents[which]->ChildCount(), expected[which].size());
      std::list<XmlNode*> found;
      parents[which]->FilterChildren(found, u"");
      EXPECT_EQ(found, expected[which]);
      bool const isLookedAt = random() % 8 == 0;
      EXPECT_TRUE(!isLookedAt || parents[which]->GetChildren() == expected[which]);
    }
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
  copy.Next();
  copy.Next();
  EXPECT_TRUE(copy.Done());
  EXPECT_EQ(copy.Current(), nullptr);
  copy.Start();
  EXPECT_EQ(copy.Current(), root->GetChildren().front());
  EXPECT_EQ(walk->Current(), root->GetChildren().back());
}

TEST(XmlNode, KeepsTheFirstPropertyOfANameAndTheOrder) {
  std::mt19937 random(1);
  XmlNodeRef const node(XmlNode::Create(u"node"));
  std::vector<std::pair<wstring, wstring>> expected;
  for (int step = 0; step < 2000; ++step) {
    wstring const name(1, static_cast<wchar>(u'a' + random() % 20));
    wstring const value(1, static_cast<wchar>(u'0' + random() % 10));
    auto const found =
        std::find_if(expected.begin(), expected.end(), [&](auto const& one) { return one.first == name; });
    bool const isThere = found != expected.end();
    EXPECT_TRUE(node->GetPropertyText(name) == (isThere ? found->second : u""));
    if (random() % 5 < 2) {
      std::unique_ptr<XmlProperty> const removed(node->GetProperty(name));
      node->RemoveProperty(name);
      if (isThere) expected.erase(found);
    } else {
      EXPECT_EQ(node->AddProperty(name, value) == nullptr, isThere);
      if (!isThere) expected.emplace_back(name, value);
    }
    auto const isSame = [](XmlProperty const* property, auto const& one) {
      return property->GetName() == one.first && property->GetValue() == one.second;
    };
    auto const& properties = node->GetProperties();
    ASSERT_TRUE(std::equal(properties.begin(), properties.end(), expected.begin(), expected.end(), isSame)) << step;
  }
}

TEST(XmlNode, WritesNumbersInOneFormAndReadsThemBack) {
  XmlNodeRef const node(XmlNode::Create(u"node"));
  node->AddPropertyDouble(u"huge", 1e40);
  node->AddPropertyDouble(u"tiny", -5e-324);
  node->AddPropertyTimet(u"never", -1);
  node->AddPropertySizet(u"size", 4294967295u);
  node->AddPropertyLong(u"long", least);
  node->AddPropertyBool(u"true", true);
  node->AddSubNodeDouble(u"double", -12);
  node->AddSubNodeBool(u"false", false);
  node->AddSubNodeSizet(u"size", 0);
  node->AddSubNodeLong(u"long", greatest);
  EXPECT_EQ(Describe(node.Get()),
            "<node huge='1000000000000000030378602842700' tiny='-0.000000' never='18446744073709551615' "
            "size='4294967295' long='-2147483648' true='1'><double>[-12.000000]</double><false>[0]</false>"
            "<size>[0]</size><long>[2147483647]</long></node>");
  EXPECT_EQ(node->GetPropertyDouble(u"huge", 9), 1000000000000000030378602842700.0);
  EXPECT_TRUE(std::signbit(node->GetPropertyDouble(u"tiny", 9)));
  EXPECT_EQ(node->GetPropertyTimet(u"never", 9), -1);
  EXPECT_EQ(node->GetPropertyLong(u"long", 9), least);
  EXPECT_EQ(node->GetSubNodeLong(u"long", 9), greatest);
}

TEST(XmlNode, ReadsNumbersOfEveryTypeOrTheDefault) {
  XmlNodeRef const node(XmlNode::Create(u"node"));
  node->AddProperty(u"name", u" -1.5x");
  node->AddSubNodeText(u"name", u" -1.5x");
  for (wstring const name : {u"name", u"other"}) {
    bool const isThere = name == u"name";
    std::int32_t const number = isThere ? -1 : 7;
    EXPECT_EQ(node->GetPropertyLong(name, 7), number);
    EXPECT_EQ(node->GetSubNodeLong(name, 7), number);
    EXPECT_EQ(node->GetPropertySizet(name, 7), static_cast<unsigned int>(number));
    EXPECT_EQ(node->GetSubNodeSizet(name, 7), static_cast<unsigned int>(number));
    EXPECT_EQ(node->GetPropertyTimet(name, 7), number);
    EXPECT_EQ(node->GetPropertyDouble(name, 7), isThere ? -1.5 : 7);
    EXPECT_EQ(node->GetSubNodeDouble(name, 7), isThere ? -1.5 : 7);
  }
}

TEST(XmlNode, LooksAtTheFirstUnitOfABoolOnly) {
  XmlNodeRef const node(XmlNode::Create(u"node"));
  for (wstring const text : {u"10", u"01", u"", u"true", u" 1"}) {
    node->AddProperty(text, text);
    node->AddSubNodeText(u"b" + text, text);
    for (bool const byDefault : {false, true}) {
      bool const expected = text.starts_with(u'1') || (byDefault && !text.starts_with(u'0'));
      EXPECT_EQ(node->GetPropertyBool(text, byDefault), expected);
      EXPECT_EQ(node->GetSubNodeBool(u"b" + text, byDefault), expected);
    }
  }
}

TEST(XmlNode, FindsTheTextOfTheOnlySubNodeOfAName) {
  XmlNodeRef const node(XmlNode::Create(u"node"));
  node->AddSubNodeText(u"once", u"text");
  node->AddSubNodeText(u"twice", u"1");
  node->AddSubNodeText(u"twice", u"2");
  node->AddChild(u"childless");
  XmlNode* const crowded = node->AddChild(u"crowded");
  crowded->AddContent(u"1");
  crowded->AddContent(u"2");
  node->AddChild(u"nested")->AddChild(u"element")->AddContent(u"deeper");

  wstring const other = u"default";
  EXPECT_TRUE(node->GetSubNodeText(u"once") == u"text");
  for (wstring const name : {u"childless", u"crowded", u"nested"}) {
    EXPECT_TRUE(node->GetSubNodeText(name, other, false).empty());
  }
  for (wstring const name : {u"twice", u"missing"}) {
    EXPECT_EQ(&node->GetSubNodeText(name, other, false), &other);
    EXPECT_EQ(FailureId([&] { node->GetSubNodeText(name); }), 9);
  }

  std::list<XmlNode*> found{nullptr};
  node->FilterChildren(found, u"twice");
  EXPECT_EQ(found.size(), 2u);
  node->FilterChildren(found, u"");
  EXPECT_EQ(found, node->GetChildren());
}

TEST(XmlNode, CopiesTreesOfAnyShapeDeeply) {
  XmlNodeRef const root(XmlNode::Create(u"root"));
  root->AddProperty(u"b", u"1");
  root->AddProperty(u"a", u"2");
  root->AddContent(u"text");
  root->AddChild(u"x")->AddChild(u"y")->AddProperty(u"p", u"q");
  root->AddSubNodeText(u"z", u"end");
  root->AddFeature(DocumentNode::Create());
  XmlNodeRef const copy(XmlNode::Create(root.Get()));
  std::string const before = Describe(root.Get());
  EXPECT_EQ(Describe(copy.Get()), before);
  EXPECT_EQ(copy->GetFeature(), nullptr);
  copy->GetChildren().front()->SetContent(u"changed");
  copy->GetProperty(u"a")->SetValue(u"changed");
  EXPECT_EQ(Describe(root.Get()), before);
  EXPECT_THROW(XmlNode::Create(static_cast<XmlNode const*>(nullptr)), BaseException);
}

TEST(XmlNode, IsUnchangedWhereMemoryRunsOut) {
  XmlNodeRef const node(XmlNode::Create(u"a name that needs memory"));
  node->AddProperty(u"a property that needs memory", u"1");
  node->AddSubNodeText(u"a child that needs memory", u"2");
  wstring const text = u"some text that needs memory";
  wstring const longText = text + text;
  wstring const number = u"-1234567890123456.5";
  node->AddProperty(number, number);
  node->AddSubNodeText(number, number);
  std::list<XmlNode*> found;
  std::function<void()> const operations[] = {
      [&] { XmlNodeRef(XmlNode::Create(node.Get())); },
      [&] { XmlNodeRef(XmlNode::Create(text, text)); },
      [&] { node->FilterChildren(found, u""); },
      [&] { node->AddChild(text); },
      [&] { node->AddContent(text); },
      [&] { node->AddSubNodeText(text, text); },
      [&] { node->AddProperty(text, text); },
      [&] { node->GetProperty(text)->SetValue(longText); },
      [&] { *node->GetProperty(text) = XmlProperty(text, number); },
      [&] { node->AddPropertyLong(u"l", -1234567890); },
      [&] { node->AddPropertySizet(u"s", 1234567890); },
      [&] { node->AddPropertyTimet(u"t", -1); },
      [&] { node->AddPropertyDouble(u"d", 0.5); },
      [&] { node->AddPropertyBool(u"b", true); },
      [&] { node->AddProperty(u"6", u""); },
      [&] { node->AddProperty(longText, u""); },  // the ninth makes a map, which may stay
      [&] { node->AddSubNodeDouble(u"d", 0.5); },
      [&] { EXPECT_LT(node->GetPropertyDouble(number, 0), 0); },
      [&] { EXPECT_LT(node->GetSubNodeDouble(number, 0), 0); },
      [&] {
        std::int32_t const id = test::FailureId([&] { static_cast<void>(node->GetSubNodeText(longText)); });
        if (id != 9) throw BaseException(id);
      },
      [&] { node->SetContent(number); },
  };
  for (auto const& operation : operations) {
    SCOPED_TRACE(&operation - operations);
    std::string const before = Describe(node.Get());
    auto const isUnchanged = [&] { EXPECT_EQ(Describe(node.Get()), before); };
    EXPECT_GT(test::FailEachAllocation(operation, isUnchanged, {.mayKeepMemory = true}), 0u);
  }
}

}  // namespace
}  // namespace ZaM

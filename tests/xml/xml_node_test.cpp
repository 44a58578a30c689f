#include "zam/xml/xml_node.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <list>
#include <memory>
#include <string>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace ZaM {
namespace {

using test::Describe;

constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t greatest = std::numeric_limits<std::int32_t>::max();

TEST(XmlNode, TellsElementsFromContent) {
  struct Case {
    char const* title;
    Ref<XmlNode> node;
    bool isInitialized;
    bool isContent;
    wstring name;
    wstring content;
  };
  Ref<XmlNode> filled(XmlNode::Create(u"a"));
  EXPECT_TRUE(filled->SetContent(u"x") == u"x");
  Ref<XmlNode> emptied(XmlNode::Create(u"a", u"x"));
  emptied->SetContent(u"");
  Ref<XmlNode> const emptyContent(XmlNode::Create(u"", u""));
  Case const cases[] = {
      {"element", Ref<XmlNode>(XmlNode::Create(u"a")), true, false, u"a", u""},
      {"without a name", Ref<XmlNode>(XmlNode::Create(u"")), false, false, u"", u""},
      {"copy of that", Ref<XmlNode>(XmlNode::Create(Ref<XmlNode>(XmlNode::Create(u"")).Get())), false, false, u"", u""},
      {"content", Ref<XmlNode>(XmlNode::Create(u"a", u"x")), true, true, u"", u"x"},
      {"content without text", emptyContent, true, true, u"", u""},
      {"copy of that", Ref<XmlNode>(XmlNode::Create(emptyContent.Get())), true, false, u"", u""},
      {"element that got a text", filled, true, true, u"a", u"x"},
      {"content that lost its text", emptied, true, false, u"", u""},
  };
  for (Case const& c : cases) {
    EXPECT_EQ(c.node->IsInitialized(), c.isInitialized) << c.title;
    EXPECT_EQ(c.node->IsContent(), c.isContent) << c.title;
    EXPECT_TRUE(c.node->GetName() == c.name && c.node->GetContent() == c.content) << c.title;
  }
}

TEST(XmlNode, CountsReferencesDownToMinusOneForNodesThatItMakesItself) {
  Ref<XmlNode> root(XmlNode::Create(u"root"));
  for (XmlNode* made : {root->AddChild(u"a"), root->AddContent(u"b")}) {
    EXPECT_EQ(made->AddRefCount(), 1);
    EXPECT_EQ(made->AddRefCount(), 2);
    made->Release();
  }
  Ref<XmlNode> copy(XmlNode::Create(root.Get()));
  EXPECT_EQ(copy->AddRefCount(), 2);
  EXPECT_EQ(copy->Release(), 1);
  EXPECT_EQ(copy->GetChildren().front()->AddRefCount(), 1);
  Ref<XmlNode> const kept = Ref<XmlNode>::Share(root->GetChildren().front());
  root = nullptr;
  EXPECT_TRUE(kept->GetName() == u"a");
}

TEST(XmlNode, TakesChildrenOfItsOwnTypeOnly) {
  Ref<XmlNode> const root(XmlNode::Create(u"root"));
  Composite& composite = *root;
  Ref<DocumentNode> const document(DocumentNode::Create());
  composite.AddChild(document.Get());
  composite.AddChild(nullptr);
  EXPECT_EQ(root->AddChild(static_cast<XmlNode*>(nullptr)), nullptr);
  EXPECT_EQ(root->ChildCount(), 0u);

  Ref<XmlNode> const child(XmlNode::Create(u"child"));
  Node* const asNode = child.Get();
  for (int i = 0; i < 3; ++i) {
    child->AddRefCount();
    composite.AddChild(asNode);
  }
  root->AddContent(u"text");
  EXPECT_EQ(Describe(root.Get()), "<root><child/><child/><child/>[text]</root>");
  EXPECT_EQ(root->RemoveChild(child->GetId()), nullptr);
  root->RemoveChild(nullptr);
  EXPECT_EQ(root->ChildCount(), 4u);
  root->RemoveChild(child.Get());
  EXPECT_EQ(Describe(root.Get()), "<root>[text]</root>");
  EXPECT_EQ(child->AddRefCount(), 5);  // the three references are ours again
  for (int i = 0; i < 4; ++i) child->Release();
}

TEST(XmlNode, IteratesFromWhereACopiedIteratorStands) {
  Ref<XmlNode> const root(XmlNode::Create(u"root"));
  std::unique_ptr<Iterator, void (*)(Iterator*)> const empty(root->CreateIterator(), [](Iterator* i) { i->Release(); });
  EXPECT_TRUE(empty->Done());
  EXPECT_EQ(empty->Current(), nullptr);
  for (wstring const name : {u"a", u"b", u"c"}) root->AddChild(name);

  std::unique_ptr<Iterator, void (*)(Iterator*)> const walk(root->CreateIterator(), [](Iterator* i) { i->Release(); });
  walk->Next();
  walk->Next();
  struct Copy : ListIterator {
    explicit Copy(ListIterator const& other) : ListIterator(other) {}
    ~Copy() override = default;
  } copy(dynamic_cast<ListIterator&>(*walk));
  EXPECT_EQ(copy.Current(), root->GetChildren().back());
  copy.Next();
  copy.Next();
  EXPECT_TRUE(copy.Done());
  copy.Start();
  EXPECT_EQ(copy.Current(), root->GetChildren().front());
  EXPECT_EQ(walk->Current(), root->GetChildren().back());
}

TEST(XmlNode, KeepsTheFirstPropertyOfANameAndTheOrder) {
  Ref<XmlNode> const node(XmlNode::Create(u"node"));
  for (wstring const name : {u"z", u"a", u"m"}) {
    EXPECT_NE(node->AddProperty(name, name + u"1"), nullptr);
    EXPECT_EQ(node->AddProperty(name, u"2"), nullptr);
    node->AddPropertyLong(name, 3);
  }
  EXPECT_EQ(Describe(node.Get()), "<node z='z1' a='a1' m='m1'/>");
  std::unique_ptr<XmlProperty> const removed(node->GetProperty(u"a"));
  node->RemoveProperty(u"a");
  node->RemoveProperty(u"a");
  EXPECT_EQ(node->GetProperty(u"a"), nullptr);
  EXPECT_TRUE(removed->SetValue(u"kept") == u"kept");
  EXPECT_NE(node->AddProperty(u"a", u"4"), nullptr);
  EXPECT_EQ(Describe(node.Get()), "<node z='z1' m='m1' a='4'/>");
}

TEST(XmlNode, FindsAnyNumberOfPropertiesByName) {
  Ref<XmlNode> const node(XmlNode::Create(u"node"));
  auto const name = [](int i) { return wstring(1, static_cast<wchar>(u'a' + i)); };
  for (int i = 0; i < 20; ++i) node->AddPropertyLong(name(i), i);
  for (int i = 0; i < 20; i += 2) {
    std::unique_ptr<XmlProperty> const removed(node->GetProperty(name(i)));
    node->RemoveProperty(name(i));
  }
  for (int i = 0; i < 16; i += 3) node->AddPropertyLong(name(i), 100 + i);
  for (int i = 0; i < 20; ++i) {
    bool const isNew = i % 6 == 0 && i < 16;
    EXPECT_EQ(node->GetPropertyLong(name(i), -1), isNew ? 100 + i : i % 2 == 0 ? -1 : i);
  }
  EXPECT_EQ(node->GetProperties().size(), 13u);
}

TEST(XmlNode, WritesNumbersInOneFormAndReadsThemBack) {
  Ref<XmlNode> const node(XmlNode::Create(u"node"));
  node->AddPropertyDouble(u"half", 0.5);
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
  EXPECT_EQ(
      Describe(node.Get()),
      "<node half='0.500000' huge='1000000000000000030378602842700' tiny='-0.000000' never='18446744073709551615' "
      "size='4294967295' long='-2147483648' true='1'><double>[-12.000000]</double><false>[0]</false>"
      "<size>[0]</size><long>[2147483647]</long></node>");
  EXPECT_EQ(node->GetPropertyDouble(u"half", 9), 0.5);
  EXPECT_EQ(node->GetPropertyDouble(u"huge", 9), 1000000000000000030378602842700.0);
  EXPECT_TRUE(std::signbit(node->GetPropertyDouble(u"tiny", 9)));
  EXPECT_EQ(node->GetPropertyTimet(u"never", 9), -1);
  EXPECT_EQ(node->GetPropertySizet(u"size", 9), 4294967295u);
  EXPECT_EQ(node->GetPropertyLong(u"long", 9), least);
  EXPECT_TRUE(node->GetPropertyBool(u"true", false));
  EXPECT_EQ(node->GetSubNodeDouble(u"double", 9), -12);
  EXPECT_FALSE(node->GetSubNodeBool(u"false", true));
  EXPECT_EQ(node->GetSubNodeSizet(u"size", 9), 0u);
  EXPECT_EQ(node->GetSubNodeLong(u"long", 9), greatest);
}

TEST(XmlNode, ReadsWhatOthersWriteForNumbers) {
  struct Case {
    wstring text;
    std::int32_t asLong;
    unsigned int asSizet;
    std::int64_t asTime;
    double asDouble;
  };
  // 7 is the default.
  Case const cases[] = {
      {u"", 7, 7, 7, 7.0},
      {u"abc", 7, 7, 7, 7.0},
      {u"12abc", 12, 12, 12, 12.0},
      {u" \t+3", 3, 3, 3, 3.0},
      {u"1,5", 1, 1, 1, 1.0},
      {u"-1", -1, 4294967295u, -1, -1.0},
      {u"0x10", 0, 0, 0, 0.0},
      {u".5", 7, 7, 7, 0.5},
      {u"1e3", 1, 1, 1, 1000.0},
      {u"٣", 7, 7, 7, 7.0},
      {u"infinity", 7, 7, 7, 7.0},
      {u"- 1", 7, 7, 7, 7.0},
      {u"99999999999", greatest, 4294967295u, 99999999999, 99999999999.0},
  };
  for (Case const& c : cases) {
    Ref<XmlNode> const node(XmlNode::Create(u"node"));
    node->AddProperty(u"p", c.text);
    node->AddSubNodeText(u"s", c.text);
    SCOPED_TRACE(std::string(c.text.begin(), c.text.end()));
    EXPECT_EQ(node->GetPropertyLong(u"p", 7), c.asLong);
    EXPECT_EQ(node->GetSubNodeLong(u"s", 7), c.asLong);
    EXPECT_EQ(node->GetPropertySizet(u"p", 7), c.asSizet);
    EXPECT_EQ(node->GetSubNodeSizet(u"s", 7), c.asSizet);
    EXPECT_EQ(node->GetPropertyTimet(u"p", 7), c.asTime);
    EXPECT_EQ(node->GetPropertyDouble(u"p", 7), c.asDouble);
    EXPECT_EQ(node->GetSubNodeDouble(u"s", 7), c.asDouble);
    EXPECT_EQ(node->GetPropertyLong(u"other", 7), 7);
    EXPECT_EQ(node->GetSubNodeLong(u"other", 7), 7);
  }
}

TEST(XmlNode, LooksAtTheFirstUnitOfABoolOnly) {
  Ref<XmlNode> const node(XmlNode::Create(u"node"));
  for (wstring const text : {u"1", u"10", u"0", u"01", u"", u"2", u"true", u" 1"}) {
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
  Ref<XmlNode> const node(XmlNode::Create(u"node"));
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
    EXPECT_TRUE(node->GetSubNodeText(name).empty() && node->GetSubNodeText(name, other, false).empty());
  }
  for (wstring const name : {u"twice", u"missing"}) {
    EXPECT_EQ(&node->GetSubNodeText(name, other, false), &other);
    EXPECT_EQ(node->GetSubNodeLong(name, 7), 7);
    try {
      node->GetSubNodeText(name);
      ADD_FAILURE();
    } catch (XMLFormatException const& failure) {
      EXPECT_EQ(failure.GetErrorId(), 9);
      EXPECT_TRUE(failure.GetErrorDescription().find(name) != wstring::npos);
    }
  }

  std::list<XmlNode*> found{nullptr};
  node->FilterChildren(found, u"twice");
  EXPECT_EQ(found.size(), 2u);
  node->FilterChildren(found, u"");
  EXPECT_EQ(found, node->GetChildren());
  node->FilterChildren(found, u"missing");
  EXPECT_TRUE(found.empty());
}

TEST(XmlNode, CopiesTreesOfAnyShapeDeeply) {
  Ref<XmlNode> const root(XmlNode::Create(u"root"));
  root->AddProperty(u"b", u"1");
  root->AddProperty(u"a", u"2");
  root->AddContent(u"text");
  root->AddChild(u"x")->AddChild(u"y")->AddProperty(u"p", u"q");
  root->AddSubNodeText(u"z", u"end");
  root->AddFeature(DocumentNode::Create());
  Ref<XmlNode> const copy(XmlNode::Create(root.Get()));
  std::string const before = Describe(root.Get());
  EXPECT_EQ(Describe(copy.Get()), before);
  EXPECT_EQ(copy->GetFeature(), nullptr);
  for (XmlNode* child : copy->GetChildren()) child->SetContent(u"changed");
  copy->GetProperty(u"a")->SetValue(u"changed");
  EXPECT_EQ(Describe(root.Get()), before);
  EXPECT_THROW(XmlNode::Create(static_cast<XmlNode const*>(nullptr)), BaseException);

  Ref<XmlNode> const deep(XmlNode::Create(u"deep"));
  XmlNode* last = deep.Get();
  for (int level = 1; level < 200'000; ++level) last = last->AddChild(u"deep");
  Ref<XmlNode> deepCopy(XmlNode::Create(deep.Get()));
  int levels = 1;
  for (XmlNode const* node = deepCopy.Get(); node->ChildCount() == 1; node = node->GetChildren().front()) ++levels;
  EXPECT_EQ(levels, 200'000);
}

TEST(XmlNode, IsUnchangedWhereMemoryRunsOut) {
  Ref<XmlNode> const node(XmlNode::Create(u"a name that needs memory"));
  node->AddProperty(u"a property that needs memory", u"1");
  node->AddSubNodeText(u"a child that needs memory", u"2");
  std::string const before = Describe(node.Get());
  wstring const text = u"some text that needs memory";
  std::list<XmlNode*> found;
  Ref<XmlNode> const child(XmlNode::Create(u"child"));
  std::function<void()> const operations[] = {
      [&] { Ref<XmlNode>(XmlNode::Create(node.Get())); },
      [&] { Ref<XmlNode>(XmlNode::Create(text, text)); },
      [&] { node->FilterChildren(found, u""); },
      [&] {
        XmlNode* const added = node->AddChild(text);
        node->RemoveChild(added);
        added->Release();
      },
      [&] {
        node->AddSubNodeText(text, text);
        Ref<XmlNode> const added(node->GetChildren().back());
        node->RemoveChild(added.Get());
      },
      [&] {
        std::unique_ptr<XmlProperty> const added(node->AddProperty(text, text));
        node->RemoveProperty(text);
      },
  };
  for (auto const& operation : operations) {
    EXPECT_GT(test::FailEachAllocation(operation, [&] { EXPECT_EQ(Describe(node.Get()), before); }), 0u);
  }
}

}  // namespace
}  // namespace ZaM

#include "zam/xml/xml_tree.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/gzip.h"
#include "tests/support/run_on_stack.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/xml_text.h"
#include "tests/xml/readers.h"
#include "zam/xml/xml_library.h"

namespace ZaM {
namespace {

using test::Describe;
using test::FailureId;
using test::Gzip;
using test::TemporaryFolder;

TEST(XmlTree, OwnsItsRootAndCopiesItDeeply) {
  XmlTree tree;
  for (auto const& [given, stored] : {std::pair(-1, 0), {10, 9}, {5, 5}}) EXPECT_EQ(tree.SetCompression(given), stored);
  Ref<XmlNode> const first(XmlNode::Create(u"first"));
  tree.SetRoot(first.Get());
  tree.SetRoot(XmlNode::Create(u"second"));  // first is ours again
  tree.SetFilename(u"name");
  XmlTree const copy(&tree);
  EXPECT_TRUE(copy.GetFilename() == u"name" && copy.GetCompression() == 5 && copy.initialized());
  EXPECT_EQ(Describe(copy.GetRoot()), "<second/>");
  EXPECT_NE(copy.GetRoot(), tree.GetRoot());
  XmlTree const empty;
  EXPECT_EQ(XmlTree(&empty).GetRoot(), nullptr);
  EXPECT_THROW(XmlTree(static_cast<XmlTree const*>(nullptr)), BaseException);
}

TEST(XmlTree, WritesOneLayoutWhateverTheHostHasChosen) {
  TemporaryFolder const folder;
  XmlTree tree;
  tree.SetRoot(XmlNode::Create(u"library"))->AddChild(u"\u00e9")->AddChild(u"empty");
  XmlNode* const book = tree.GetRoot()->AddChild(u"book");
  book->AddProperty(u"xml:lang", u"tab\t, line\n, return\r, <>&\"'\u00e9\U0001F600");
  book->AddSubNodeText(u"text", u"tab\t, return\r, ]]>&\"' \u007f\u0085\U0001F600");
  std::string formatted = "<?xml version=\"1.0\"?>\n";
  std::string oneLine = formatted;
  for (std::string const line :
       {"<library>", "  <é>", "    <empty/>", "  </é>",
        "  <book xml:lang=\"tab&#9;, line&#10;, return&#13;, &lt;&gt;&amp;&quot;'&#xE9;&#x1F600;\">",
        "    <text>tab\t, return&#xD;, ]]&gt;&amp;\"' \u007f&#x85;&#x1F600;</text>", "  </book>", "</library>"}) {
    formatted += line + "\n";
    oneLine += line.substr(line.find('<'));
  }
  int const hostAvoidsEmptyTags = std::exchange(xmlSaveNoEmptyTags, 1);
  EXPECT_EQ(tree.WriteBuffer(), oneLine + "\n");
  tree.SetCompression(0);
  tree.Write(folder.Wide("file"));
  EXPECT_EQ(folder.Bytes("file"), formatted);
  for (int const compression : {1, 9, 9}) {
    tree.SetCompression(compression);
    tree.Write(folder.Wide("file"));
    EXPECT_EQ(folder.Bytes("file"), Gzip(formatted));
  }
  EXPECT_EQ(std::exchange(xmlSaveNoEmptyTags, hostAvoidsEmptyTags), 1);
}

TEST(XmlTree, WritesUnusualTreesReadably) {
  std::pair<std::function<void(XmlNode&)>, std::string> const cases[] = {
      {[](XmlNode& root) {
         for (wstring const text : {u"", u"a", u"b", u""}) root.AddContent(text);
         root.AddContent(wstring(u"\0\u0001\u001f\ufffe\uffff\xdc00!", 7));
       },
       "<root>ab   &#xFFFD;&#xFFFD;&#xFFFD;!</root>"},
      {[](XmlNode& root) {  // of a node that turns into content the text alone is kept
         root.SetContent(u"first");
         XmlNode* const child = root.AddChild(u"lost");
         child->AddProperty(u"p", u"v");
         child->AddChild(u"lost");
         child->SetContent(u"second");
         root.AddChild(u"b")->AddContent(u"third");
       },
       "<root>firstsecond<b>third</b></root>"},
      {[](XmlNode& root) {
         for (wstring const name : {u"", u"1a", u"a b", u"<a/>", u"a\ufffe", u"\U000F0000", u":", u":a", u"a:", u"a::b",
                                    u"a:1", u"a:b:c", u"a:b.c-1\u00b7", u"\U000EFFFF\u3001"}) {
           root.AddChild(name);
         }
       },
       "<root><_/><_a/><a_b/><_a__/><a_/><_/><_/><_a/><a_/><a_:b/><a_1/><a:b:c/>"
       "<a:b.c-1\u00b7/><\U000EFFFF\u3001/></root>"},
      {[](XmlNode& root) {  // attributes that become alike
         for (wstring const name : {u"a!", u"b", u"a_", u"a?", u"c", u"a:b:1"}) root.AddProperty(name, name);
       },
       "<root a_=\"a?\" b=\"b\" c=\"c\" a:b_1=\"a:b:1\"/>"},
  };
  for (auto const& [fill, text] : cases) {
    XmlTree tree;
    tree.SetRoot(XmlNode::Create(u"root"));
    fill(*tree.GetRoot());
    EXPECT_EQ(tree.WriteBuffer(), "<?xml version=\"1.0\"?>\n" + text + "\n");
    EXPECT_TRUE(XmlTree().ReadBuffer(tree.WriteBuffer())) << text;
  }
}

TEST(XmlTree, CutsNamesAndValuesAfterWholeCharacters) {
  struct {
    wstring first;
    wstring others;
    std::size_t nameRead, valueRead, nameWritten, valueWritten;  // how many of the others fit
  } const cases[] = {{u"", u"a", 512, 1024, 1024, 2048},
                     {u"", u"é", 512, 1024, 512, 1024},
                     {u"", u"\u4e00", 512, 1024, 341, 682},
                     {u"", u"\U00020000", 256, 512, 256, 512},
                     {u"a", u"\U00020000", 255, 511, 255, 511}};
  for (auto const& c : cases) {
    auto const times = [&](std::size_t count) {
      wstring text = c.first;
      for (std::size_t i = 0; i < count; ++i) text += c.others;
      return text;
    };
    for (std::size_t const extra : {0u, 1u, 600u}) {
      Ref<XmlNode> const longNode(XmlNode::Create(times(c.nameWritten + extra)));
      longNode->AddProperty(times(c.nameWritten + extra), times(c.valueWritten + extra));
      XmlTree tree;
      tree.SetRoot(XmlNode::Create(longNode.Get()));
      std::string const text = tree.WriteBuffer();
      TemporaryFolder const folder;
      tree.Read(folder.Write("file", text).u16string());
      EXPECT_TRUE(tree.GetRoot()->GetName() == times(c.nameWritten));
      EXPECT_TRUE(tree.GetRoot()->GetPropertyText(times(c.nameWritten)) == times(c.valueWritten));
      ASSERT_TRUE(tree.ReadBuffer(text));
      EXPECT_TRUE(tree.GetRoot()->GetName() == times(std::min(c.nameRead, c.nameWritten)));
      EXPECT_TRUE(tree.GetRoot()->GetProperties().front()->GetValue() == times(std::min(c.valueRead, c.valueWritten)));
      XmlTree whole;
      whole.SetDoCutValues(false);
      whole.SetRoot(XmlNode::Create(longNode.Get()));
      EXPECT_TRUE(whole.ReadBuffer(whole.WriteBuffer()) && Describe(whole.GetRoot()) == Describe(longNode.Get()));
      EXPECT_TRUE(tree.ReadBuffer(whole.WriteBuffer()));
      EXPECT_TRUE(tree.GetRoot()->GetName() == times(std::min(c.nameRead, c.nameWritten + extra)));
    }
  }
}

TEST(XmlTree, WritesNothingWithoutARoot) {
  XmlTree tree;
  EXPECT_EQ(FailureId([&] { tree.Write(u"/dev/null"); }), 27);
  EXPECT_EQ(FailureId([&] { tree.WriteBuffer(); }), 27);
  EXPECT_TRUE(tree.ReadBuffer("<a/>") && tree.GetFilename().empty());
  detail::SetKeepBlanks(true);
  tree.WriteBuffer();
  EXPECT_FALSE(detail::GetKeepBlanks());  // as for all that follows in the process
}

/// A derived tree is told of its root, and what it reads is what any tree does. Of that the text alone counts.
TEST(XmlTree, TellsADerivedTreeOfItsRoot) {
  struct Derived final : XmlTree {  // XmlTree has no virtual destructor
    void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
      ++roots;
      XmlTree::OnStartElement(parser, name, attributes);
    }
    int roots = 0;
  } derived;
  TemporaryFolder const folder;
  derived.SetFilename(folder.Write("file", "<a p='1'>1<b/>2</a>").u16string());
  EXPECT_TRUE(derived.Read());
  EXPECT_EQ(derived.roots, 1);
  EXPECT_EQ(Describe(derived.GetRoot()), "<a p='1'><b/>[2]</a>");
  derived.SetMaxBytes(18);
  EXPECT_THROW(derived.Read(), LimitExceededException);
}

TEST(XmlTree, CopiesWritesAndReleasesTreesThatAreDeeperThanTheStack) {
  constexpr int levels = 200'000;
  std::string const text = test::Repeated("<a>", levels - 1) + "<a/>" + test::Repeated("</a>", levels - 1);
  test::RunOnStack(256 * 1024, [&] {
    TemporaryFolder const folder;
    XmlTree tree;
    tree.SetRoot(XmlNode::Create(u"a"));
    XmlNode* last = tree.GetRoot();
    for (int level = 1; level < levels; ++level) last = last->AddChild(u"a");
    XmlTree copy(&tree);
    EXPECT_TRUE(copy.WriteBuffer() == "<?xml version=\"1.0\"?>\n" + text + "\n");
    copy.SetCompression(0);
    copy.Write(folder.Wide("deep"));
    std::string written = folder.Bytes("deep");
    std::erase_if(written, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_TRUE(written == "<?xmlversion=\"1.0\"?>" + text);
    EXPECT_TRUE(copy.Read2());
    EXPECT_TRUE(copy.WriteBuffer() == "<?xml version=\"1.0\"?>\n" + text + "\n");
    EXPECT_TRUE(copy.Read());
  });
}

}  // namespace
}  // namespace ZaM

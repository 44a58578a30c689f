#include "zam/xml/xml_tree.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/gzip.h"
#include "tests/support/run_on_stack.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/xml_text.h"
#include "zam/platform/file.h"
#include "zam/xml/xml_library.h"

namespace ZaM {
namespace {

using test::Describe;
using test::FailureId;
using test::Gzip;
using test::TemporaryFolder;

std::string repeated(std::string const& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

/// What `read` answers of a tree: the tree, "malformed", or "limit".
std::string outcome(XmlTree& tree, std::function<bool()> const& read) {
  try {
    return read() ? Describe(tree.GetRoot()) : "malformed";
  } catch (LimitExceededException const&) {
    return "limit";
  }
}

/// A tree as programs derive it, which reads its own elements by callbacks.
struct DerivedTree : XmlTree {
  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
    ++roots;
    XmlTree::OnStartElement(parser, name, attributes);
  }
  int roots = 0;
};

/// What one of the ways makes of a text.
std::string read(std::string const& text) {
  TemporaryFolder const folder;
  wstring const file = folder.Write("file", text).u16string();
  XmlTree tree;
  DerivedTree derived;
  std::string const result = outcome(tree, [&] { return tree.Read(file); });
  EXPECT_TRUE(outcome(derived, [&] { return derived.Read(file); }) == result) << text.substr(0, 40);
  EXPECT_EQ(derived.roots, tree.GetRoot() ? 1 : 0);
  return result;
}
std::string read2(std::string const& text) {
  TemporaryFolder const folder;
  XmlTree tree;
  tree.SetFilename(folder.Write("file", text).u16string());
  std::string const result = outcome(tree, [&] { return tree.Read2(); });
  EXPECT_EQ(tree.initialized(), result != "malformed");
  EXPECT_EQ(tree.GetRoot() != nullptr, result != "malformed" && result != "limit");
  return result;
}
std::string readBuffer(std::string const& text) {
  XmlTree tree;
  return outcome(tree, [&] { return tree.ReadBuffer(text); });
}

/// A tree of some elements, with attributes and texts.
void fill(XmlTree& tree, int books = 3) {
  Ref<XmlNode> const former(tree.GetRoot());
  tree.SetRoot(XmlNode::Create(u"library"));
  for (int i = 0; i < books; ++i) {
    XmlNode* const book = tree.GetRoot()->AddChild(u"book");
    book->AddPropertySizet(u"number", static_cast<unsigned int>(i));
    book->AddSubNodeText(u"title", u"Größe <" + wstring(static_cast<std::size_t>(i), u'x') + u"> & \"more\"");
    book->AddChild(u"empty");
  }
}

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

TEST(XmlTree, WritesWhatLibxml2Would) {
  TemporaryFolder const folder;
  XmlTree tree;
  fill(tree);
  tree.GetRoot()->AddChild(u"\u00e9")->AddProperty(u"xml:lang", u"tab\t, line\n, return\r, <>&\"'\u00e9\U0001F600");
  tree.GetRoot()->AddSubNodeText(u"text", u"tab\t, line\n, return\r, ]]> \u007f\u0085\U0001F600");
  tree.SetCompression(0);
  tree.Write(folder.Wide("plain"));
  std::string const text = folder.Bytes("plain");
  xmlDocPtr const document = xmlReadMemory(text.data(), static_cast<int>(text.size()), "", nullptr, XML_PARSE_NOBLANKS);
  xmlChar* dumped = nullptr;
  int size = 0;
  xmlDocDumpFormatMemoryEnc(document, &dumped, &size, nullptr, 1);
  EXPECT_EQ(text, reinterpret_cast<char const*>(dumped));
  xmlFree(dumped);
  xmlDocDumpMemory(document, &dumped, &size);
  EXPECT_EQ(tree.WriteBuffer(), reinterpret_cast<char const*>(dumped));
  xmlFree(dumped);
  xmlFreeDoc(document);

  for (int const compression : {1, 9, 9}) {
    tree.SetCompression(compression);
    tree.Write(folder.Wide("gzip"));
    EXPECT_EQ(folder.Bytes("gzip"), Gzip(text));
  }
}

TEST(XmlTree, ReadsBackEveryTextThatItWrites) {
  std::vector<std::pair<wstring, wstring>> cases = {{u"a\u0001b", u"a b"},
                                                    {wstring(u"a\0b", 3), u"a b"},
                                                    {u"a\u001fb\ufffe\uffff", u"a b\ufffd\ufffd"},
                                                    {{u'a', 0xD800, u'b', 0xDC00}, u"a\ufffdb\ufffd"}};
  for (wstring const text : {u"&#65; &amp; &<b>]]>\"' a\r\nb\tc", u"é\U0001F600\u007f\u0085\u2028"}) {
    cases.emplace_back(text, text);
  }
  for (std::size_t const size : {513u, 5000u}) cases.emplace_back(wstring(size, u'\u4e00'), wstring(size, u'\u4e00'));
  for (auto const& [written, expected] : cases) {
    SCOPED_TRACE(test::Ascii(written).substr(0, 40));
    bool const fitsAttribute = written.size() < 512;
    XmlTree tree;
    tree.SetRoot(XmlNode::Create(u"root"));
    tree.GetRoot()->SetContent(written);
    tree.GetRoot()->AddSubNodeText(u"sub", written);
    if (fitsAttribute) tree.GetRoot()->AddProperty(u"p", written);
    XmlTree readTree;
    ASSERT_TRUE(readTree.ReadBuffer(tree.WriteBuffer()));
    XmlNode const& root = *readTree.GetRoot();
    EXPECT_TRUE(root.GetChildren().front()->GetContent() == expected);
    EXPECT_TRUE(root.GetSubNodeText(u"sub") == expected);
    EXPECT_TRUE(root.GetPropertyText(u"p") == (fitsAttribute ? expected : u""));
  }
}

TEST(XmlTree, WritesUnusualTreesReadably) {
  std::pair<std::function<void(XmlNode&)>, std::string> const cases[] = {
      {[](XmlNode& root) {
         for (wstring const text : {u"", u"a", u"b", u""}) root.AddContent(text);
       },
       "<root>ab</root>"},
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
         for (wstring const name : {u"", u"1a", u"a b", u"<a/>", u"a\ufffe", u"\U000F0000"}) root.AddChild(name);
         for (wstring const name : {u":", u":a", u"a:", u"a::b", u"a:1", u"a:b:c"}) root.AddChild(name);
         for (wstring const name : {u"a:b.c-1\u00b7", u"\U000EFFFF\u3001"}) root.AddChild(name);
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

TEST(XmlTree, CutsNamesAndValuesBehindWholeCharacters) {
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
      XmlTree tree;
      tree.SetRoot(XmlNode::Create(times(c.nameWritten + extra)));
      tree.GetRoot()->AddProperty(times(c.nameWritten + extra), times(c.valueWritten + extra));
      std::string const text = tree.WriteBuffer();
      TemporaryFolder const folder;
      tree.Read(folder.Write("file", text).u16string());
      EXPECT_TRUE(tree.GetRoot()->GetName() == times(c.nameWritten));
      EXPECT_TRUE(tree.GetRoot()->GetPropertyText(times(c.nameWritten)) == times(c.valueWritten));
      ASSERT_TRUE(tree.ReadBuffer(text));
      EXPECT_TRUE(tree.GetRoot()->GetName() == times(std::min(c.nameRead, c.nameWritten)));
      EXPECT_TRUE(tree.GetRoot()->GetProperties().front()->GetValue() == times(std::min(c.valueRead, c.valueWritten)));

      tree.SetDoCutValues(false);
      Ref<XmlNode> const former(tree.GetRoot());
      tree.SetRoot(XmlNode::Create(times(c.nameWritten + extra)));
      tree.GetRoot()->AddProperty(times(c.nameWritten + extra), times(c.valueWritten + extra));
      std::string const whole = Describe(tree.GetRoot());
      EXPECT_TRUE(tree.ReadBuffer(tree.WriteBuffer()) && Describe(tree.GetRoot()) == whole);
    }
  }
}

TEST(XmlTree, ReadsByTwoWaysThatDifferWhereTheyAreToldTo) {
  struct {
    char const* text;
    char const* byEvents;
    char const* byModel;
  } const cases[] = {
      {"<a>one<b/>two</a>", "<a><b/>[two]</a>", "<a>[one]<b/>[two]</a>"},
      {"<a>\n  <b/>\n</a>", "<a><b/>[\\000a]</a>", "<a><b/></a>"},
      {"<a>x<!--c--></a>", "<a>[x]</a>", "<a>[x][c]</a>"},
      {"<a><?p c?><b/></a>", "<a><b/></a>", "<a>[c]<b/></a>"},
      {"<a>1<![CDATA[<2>]]>3</a>", "<a>[1<2>3]</a>", "<a>[1][<2>][3]</a>"},
      {"<x:a xmlns:x='u' x:p='v'/>", "<x:a xmlns:x='u' x:p='v'/>", "<a p='v'/>"},
      {"<!DOCTYPE a [<!ENTITY e '1<b/>2'>]><a>0&e;3</a>", "<a><b/>[23]</a>", "<a>[01]<b/>[23]</a>"},
      {"<!DOCTYPE a [<!ENTITY e '1'>]><a p='0&e;2'/>", "<a p='012'/>", "<a p='012'/>"},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>", "<a>[\\00e9]</a>", "<a>[\\00e9]</a>"},
      {"<a><b>1</b><c>", "<a><b>[1]</b><c/></a>", "malformed"},
      {"<a/><b/>", "<a/>", "malformed"},
      {"<a p='1' p='2'/>", "nothing", "malformed"},
      {"<a>\x01</a>", "<a/>", "malformed"},
      {"", "nothing", "malformed"},
  };
  for (auto const& [text, byEvents, byModel] : cases) {
    for (std::string const& bytes : {std::string(text), Gzip(text)}) {
      EXPECT_EQ(read(bytes), byEvents) << text;
      EXPECT_EQ(read2(bytes), byModel) << text;
    }
    EXPECT_EQ(readBuffer(text), byModel) << text;
  }
  // Half a pair doesn't fit.
  std::string const pairs = "a" + repeated("\xF0\xA0\x80\x80", 511);
  EXPECT_EQ(readBuffer("<a p='" + pairs + "\xF0\xA0\x80\x80'/>"), readBuffer("<a p='" + pairs + "'/>"));
  EXPECT_EQ(readBuffer(std::string("<a>\0</a>", 8)), "malformed");
  EXPECT_EQ(readBuffer(std::string("<a/>\0", 5)), "malformed");
  EXPECT_EQ(readBuffer(Gzip("<a/>")), "malformed");
}

TEST(XmlTree, ParsesABufferUnderTheSwitchesThatTheProcessWasLastGiven) {
  detail::SetKeepBlanks(true);
  detail::SetSubstituteEntities(false);
  std::string const text = "<!DOCTYPE a [<!ENTITY e 'x<b/>y'><!ENTITY f 'z'>]><a p='0&f;1'> <c/>&e;</a>";
  EXPECT_EQ(readBuffer(text), "<a p='0'>[ ]<c/>[x<b/>y]</a>");
  read2("<a/>");
  EXPECT_EQ(readBuffer(text), "<a p='0'><c/>[x<b/>y]</a>");
  detail::SetKeepBlanks(true);
  read("<a/>");
  std::string const substituted = "<!DOCTYPE a [<!ENTITY e 'xy'>]><a p='0&e;1'> <c/>&e;</a>";
  EXPECT_EQ(readBuffer(substituted), "<a p='0xy1'><c/>[xy]</a>");
  detail::SetKeepBlanks(true);
  XmlTree tree;
  fill(tree);
  tree.WriteBuffer();
  EXPECT_TRUE(tree.ReadBuffer("<a> <b/></a>") && tree.GetFilename().empty());
  EXPECT_EQ(Describe(tree.GetRoot()), "<a><b/></a>");
}

TEST(XmlTree, ReadsFilesOfEverySizeAndCutAnywhere) {
  XmlTree tree;
  fill(tree, 30);
  std::string const text = tree.WriteBuffer();
  std::string const compressed = Gzip(text);
  for (std::size_t const size : {0u, 1u, 2u, 3u, 5u, 22u, 30u, 1023u, 1024u, 1025u}) {
    EXPECT_EQ(read2(text.substr(0, size)), "malformed");
  }
  // What is cut off of the last eight bytes is a checksum that libxml2 can do without.
  for (std::size_t size = 0; size < compressed.size() - 10; size += 7) {
    EXPECT_EQ(read2(compressed.substr(0, size)), "malformed") << size;
  }
  // Sizes around those of the pieces in which files are read, up to documents far larger than the compressed file.
  for (int const size : {900, 8192, 16384, 65536, 1 << 20}) {
    for (int const length : {size - 8, size - 7, size - 6}) {
      std::string const filler(static_cast<std::size_t>(length), 'x');
      EXPECT_TRUE(read2("<a>" + filler + "</a>") == "<a>[" + filler + "]</a>") << length;
      EXPECT_TRUE(read2(Gzip("<a>" + filler + "</a>")) == "<a>[" + filler + "]</a>") << length;
    }
  }
}

/// Also what is made to cost more than in proportion to its size; only that takes as long as no row may.
TEST(XmlTree, LosesNothingOfDocumentsThatAreLargeInEveryWay) {
  auto const numbered = [](int count, char const* before, char const* behind) {
    std::string all;
    for (int i = 0; i < count; ++i) all += before + std::to_string(i) + behind;
    return all;
  };
  std::string const filler(11'000'000, 'x');
  struct {
    char const* name;
    std::string content;
    std::size_t children;  // as Read2 has them
  } const cases[] = {
      {"names", numbered(60'000, "<n", "/>"), 60'000},
      {"attributes", "<b" + numbered(5'000, " p", "='v'") + "/>", 1},
      {"attributes of many elements", repeated("<b" + numbered(4'000, " p", "='v'") + "/>", 50), 50},
      {"value", "<b p='" + filler + "'/>", 1},
      {"text", filler, 1},
      {"CDATA section", "<![CDATA[" + filler + "]]>", 1},
      {"processing instruction", "<?p " + filler + "?>", 1},
      {"comment", "<!--" + filler + "-->", 1},
      {"ids", numbered(60'000, "<n xml:id='i", "'/>"), 60'000},
      {"namespaces", numbered(40'000, "<b xmlns:x", "='urn:u'>") + repeated("</b>", 40'000), 1},
  };
  TemporaryFolder const folder;
  for (auto const& [name, content, children] : cases) {
    SCOPED_TRACE(name);
    auto const start = std::chrono::steady_clock::now();
    std::string const text = "<a>" + content + "<end/></a>";
    XmlTree tree;
    tree.SetDoCutValues(false);
    EXPECT_TRUE(tree.Read(folder.Write("file", text).u16string()));
    EXPECT_TRUE(tree.GetRoot()->GetChildren().back()->GetName() == u"end");
    ASSERT_TRUE(tree.Read2());
    EXPECT_EQ(tree.GetRoot()->ChildCount(), children + 1);
    std::string const written = tree.WriteBuffer();
    EXPECT_TRUE(tree.ReadBuffer(text) && tree.WriteBuffer() == written);
    EXPECT_TRUE(tree.ReadBuffer(written) && tree.WriteBuffer() == written);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
  }
}

TEST(XmlTree, ReportsCompressedDataThatIsDamaged) {
  XmlTree plain;
  fill(plain, 30);
  std::string const whole = Gzip(plain.WriteBuffer());
  auto const damagedAt = [&](std::size_t place) {
    std::string file = whole;
    file[place] = static_cast<char>(file[place] ^ 0x55);
    return file;
  };
  std::pair<std::string, std::int32_t> const cases[] = {
      {whole + "rest", 0},
      {whole.substr(0, whole.size() - 8), 0},  // breaks off behind the document
      {damagedAt(whole.size() - 8), 2004},     // the checksum: all of the document has been read
      {damagedAt(whole.size() / 2), 2004},
      {damagedAt(10), 2004}};  // the first block: nothing has been read
  TemporaryFolder const folder;
  XmlTree tree;
  DerivedTree derived;
  for (auto const& [file, id] : cases) {
    for (XmlTree* const each : {&tree, static_cast<XmlTree*>(&derived)}) {
      each->SetFilename(folder.Write("file", file).u16string());
      EXPECT_EQ(FailureId([&] { each->Read(); }), id) << file.size();
      EXPECT_EQ(FailureId([&] { EXPECT_TRUE(each->Read2()); }), id) << file.size();
    }
  }
}

TEST(XmlTree, ReportsFilesThatCannotBeUsed) {
  TemporaryFolder const folder;
  wstring const file = folder.Write("file", "<a/>").u16string();
  struct {
    wstring path;
    int onReading;
    int onWriting;  // plain and gzip
  } const cases[] = {{folder.Wide("missing/file"), 2003, 2002},
                     {folder.Path().u16string(), 2003, 2002},
                     {u"", 2003, 2002},
                     {u"/dev/full", 0, 2001}};
  XmlTree tree;
  for (auto const& [path, onReading, onWriting] : cases) {
    fill(tree);
    for (int const compression : {0, 9}) {
      tree.SetCompression(compression);
      tree.SetFilename(path);
      EXPECT_EQ(FailureId([&] { tree.Write(); }), onWriting);
    }
    if (onReading == 0) continue;
    EXPECT_EQ(FailureId([&] { tree.Read(); }), onReading);
    EXPECT_EQ(tree.GetRoot(), nullptr);
    EXPECT_EQ(FailureId([&] { tree.Read2(); }), onReading);
    EXPECT_EQ(FailureId([&name = path] { XmlTree{name}; }), onReading);
  }

  XmlTree rootless;
  EXPECT_EQ(FailureId([&] { rootless.Write(file); }), 27);
  EXPECT_EQ(FailureId([&] { rootless.WriteBuffer(); }), 27);
  {
    platform::File const reader = platform::File::OpenForReading(file);
    EXPECT_EQ(FailureId([&] { tree.Write(file); }), 2002);
  }
  EXPECT_EQ(folder.Bytes("file"), "<a/>");
  platform::File const writer = platform::File::CreateForWriting(file);
  EXPECT_EQ(FailureId([&] { tree.Read2(); }), 2003);
  EXPECT_EQ(FailureId([&] { tree.Read(); }), 2003);
}

TEST(XmlTree, OpensNothingThatADocumentNames) {
  TemporaryFolder const folder;
  std::string const secret = folder.Write("secret", "<!ENTITY e 'secret'><stolen>secret</stolen>");
  std::string const doctypes[] = {
      "<!DOCTYPE a [<!ENTITY e SYSTEM 'file://" + secret + "'>]><a p='1'>&e;</a>",
      "<!DOCTYPE a SYSTEM '" + secret + "'><a>&e;</a>",
      "<!DOCTYPE a [<!ENTITY % p SYSTEM '" + secret + "'>%p;]><a>&e;</a>",
      "<a xmlns:xi='http://www.w3.org/2001/XInclude'><xi:include href='" + secret + "' parse='text'/></a>",
  };
  for (bool const substitute : {false, true}) {
    for (std::string const& text : doctypes) {
      detail::SetSubstituteEntities(substitute);
      for (std::string const& result : {read2(text), readBuffer(text)}) {
        EXPECT_EQ(result.find("stolen"), std::string::npos) << text;
        EXPECT_EQ(result.find(">[secret"), std::string::npos) << text;
      }
    }
  }
}

TEST(XmlTree, RefusesDocumentsThatBlowUp) {
  std::string const big = std::string(100'000, 'x');
  std::string nested = "<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxx'>";
  for (int i = 1; i < 9; ++i) {
    nested += "<!ENTITY e" + std::to_string(i) + " '" + repeated("&e" + std::to_string(i - 1) + ";", 10) + "'>";
  }
  auto const attributes = [](int count, std::string const& rest) {
    std::string all;
    for (int i = 0; i < count; ++i) all += " p" + std::to_string(i) + rest;
    return all;
  };
  std::string const documents[] = {
      "<!DOCTYPE a [<!ENTITY e '" + big + "'>]><a>" + repeated("&e;", 10'000) + "</a>",
      "<!DOCTYPE a [<!ENTITY e '" + big + "'>]><a>" + repeated("<b p='&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;'/>", 1'000) +
          "</a>",
      "<!DOCTYPE a [<!ENTITY e '" + repeated("<b/>", 25'000) + "'>]><a>" + repeated("&e;", 10'000) + "</a>",
      "<!DOCTYPE a [<!ENTITY % e '" + big + "'>" + repeated("%e;", 10'000) + "]><a/>",
      "<!DOCTYPE a [<!ATTLIST b" + attributes(100'000, " CDATA 'x'") + ">]><a/>",
  };
  // Prefixes that each element declares by default.
  auto const defaults = [&](int elements) {
    std::string prefixes;
    for (int i = 0; i < 500; ++i) prefixes += " xmlns:p" + std::to_string(i) + " CDATA 'u'";
    return "<!DOCTYPE a [<!ATTLIST b" + prefixes + ">]><a>" + repeated("<b/>", elements) + "</a>";
  };
  EXPECT_EQ(readBuffer(defaults(100)), "<a>" + repeated("<b/>", 100) + "</a>");
  EXPECT_EQ(readBuffer(defaults(101)), "limit");
  for (bool const substitute : {false, true}) {
    for (std::string const& text : documents) {
      detail::SetSubstituteEntities(substitute);
      EXPECT_EQ(readBuffer(text), "limit") << text.substr(0, 40);
      EXPECT_EQ(read(text), "limit") << text.substr(0, 40);
    }
  }
  EXPECT_EQ(readBuffer(nested + "]><a>&e8;</a>"), "limit");
  // Entities within what is allowed are whole, also one in the other.
  std::string const entities =
      "<!DOCTYPE a [<!ENTITY e '<b/>&f;!'><!ENTITY f 'x'>]><a p='&f;'>" + repeated("&e;", 100) + "</a>";
  EXPECT_EQ(readBuffer(entities), "<a p='x'>" + repeated("<b/>[x!]", 100) + "</a>");
  // Defaults of attributes are left out.
  EXPECT_EQ(readBuffer("<!DOCTYPE a [<!ATTLIST a" + attributes(1'000, " CDATA 'x'") + ">]><a/>"), "<a/>");
}

TEST(XmlTree, TakesNoMoreThanItIsAllowedFor) {
  struct {
    std::string text;
    std::uint64_t least;  // what is enough, or about that
    std::uint64_t most;
  } const cases[] = {{"<a><!--" + std::string(5000, 'c') + "--></a>", 5014, 5014},
                     {"<a>" + repeated("<b/>", 1000) + "</a>", 88'000, 200'000},
                     {"<a p='" + std::string(30'000, 'x') + "'/>", 30'009, 40'000}};
  TemporaryFolder const folder;
  for (auto const& [text, least, most] : cases) {
    XmlTree tree;
    tree.SetFilename(folder.Write("file", Gzip(text)).u16string());
    auto const fits = [&](std::uint64_t bytes) {
      tree.SetMaxBytes(bytes);
      return outcome(tree, [&] { return tree.Read(); }) != "limit";
    };
    std::uint64_t tooFew = 0;
    for (std::uint64_t step = 1 << 20; step > 0; step /= 2) tooFew += fits(tooFew + step) ? 0 : step;
    EXPECT_GE(tooFew + 1, least);
    EXPECT_LE(tooFew + 1, most);
    tree.SetMaxBytes(least - 1);
    EXPECT_EQ(outcome(tree, [&] { return tree.Read2(); }), "limit");
    EXPECT_EQ(tree.GetRoot(), nullptr);
    EXPECT_EQ(outcome(tree, [&, &document = text] { return tree.ReadBuffer(document); }), "limit");
    DerivedTree derived;  // of which the text alone counts
    derived.SetFilename(folder.Wide("file"));
    derived.SetMaxBytes(text.size());
    EXPECT_NE(outcome(derived, [&] { return derived.Read(); }), "limit");
    derived.SetMaxBytes(text.size() - 1);
    EXPECT_EQ(outcome(derived, [&] { return derived.Read(); }), "limit");
  }
}

TEST(XmlTree, CopiesWritesAndReleasesTreesThatAreDeeperThanTheStack) {
  constexpr int levels = 200'000;
  std::string const text = repeated("<a>", levels - 1) + "<a/>" + repeated("</a>", levels - 1);
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

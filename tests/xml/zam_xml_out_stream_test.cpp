#include "zam/xml/zam_xml_out_stream.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/temporary_folder.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

std::string const declaration = "<?xml version=\"1.0\"?>\n";
/// A document of one element with a value as its attribute and as its text.
std::string ElementWith(wstring const& value) {
  ZamXmlOutStream stream(StorageMemory);
  stream.CreateNode("a");
  stream.AddProperty("x", value);
  stream.AddText(value);
  stream.CloseNode("a");
  stream.Close();
  return stream.getXmlString();
}

TEST(ZamXmlOutStreamTest, WritesADocumentOnOneLineAfterItsDeclaration) {
  ZamXmlOutStream stream(StorageMemory);
  stream.CreateNode("a");
  stream.AddProperty("x", std::int32_t{5});
  stream.CreateNode("c");  // finishes the parent's start tag, but waits itself
  EXPECT_EQ(stream.getXmlString(), declaration + "<a x=\"5\"");
  stream.AddText(u"");
  EXPECT_EQ(stream.getXmlString(), declaration + "<a x=\"5\"><c>");
  stream.CreateNode("d");
  for (char const* name : {"d", "c"}) stream.CloseNode(name);
  stream.AddSubNodeText("b", u"t");
  stream.CloseNode("a");
  stream.Close();
  std::string const first = declaration + "<a x=\"5\"><c><d></d></c><b>t</b></a>";
  EXPECT_EQ(stream.getXmlString(), first);

  stream.CreateNode("e");  // memory goes on; Open begins a second document, and drops the begun tag
  stream.Open(u"ignored");
  EXPECT_EQ(FailureId([&] { stream.AddText(u""); }), 3001);
  stream.CloseNode("e");
  stream.CreateNode("dropped");
  stream.ClearBuffer();
  stream.Close();
  EXPECT_EQ(stream.getXmlString(), first + declaration + "</e>");

  ZamXmlOutStream bare;  // memory, without a declaration
  bare.AddSubNodeText("a", u"t");
  EXPECT_EQ(bare.getXmlString(), "<a>t</a>");
}

TEST(ZamXmlOutStreamTest, RefusesWhatDoesNotFitAndGoesOn) {
  ZamXmlOutStream stream(StorageMemory);
  auto const refuses = [&](char const* closed) {
    std::string const before = stream.getXmlString();
    EXPECT_EQ(FailureId([&] { stream.AddProperty("x", 0.5); }), 3001);
    EXPECT_EQ(FailureId([&] { stream.AddText(u"t"); }), 3001);
    EXPECT_EQ(FailureId([&] { stream.CloseNode(closed); }), 3002);
    EXPECT_EQ(stream.getXmlString(), before);
  };
  refuses("a");
  stream.CreateNode("a");
  stream.CreateNode("b");
  EXPECT_EQ(FailureId([&] { stream.CloseNode("a"); }), 3002);
  stream.AddText(u"t");  // b is still open
  refuses("a");
  stream.CloseNode("b");
  refuses("b");
  stream.CloseNode("a");
  refuses("a");
  EXPECT_EQ(stream.getXmlString(), declaration + "<a><b>t</b></a>");
}

TEST(ZamXmlOutStreamTest, EscapesAndReplacesInAttributesAsInText) {
  std::pair<wstring, std::string> const cases[] = {
      {u"a<b&\"c\"'>", "a&lt;b&amp;&quot;c&quot;&apos;&gt;"},
      {u"&amp;\t\n\r", "&amp;amp;&#09;&#10;&#13;"},
      {u"\x01\x1F\x7F\u0080", "  \x7F\xC2\x80"},
      {wstring(u"12345678\0off", 12), "12345678"},
      {{0xDC00, 0xD800, 0xD800, 0xDC00, 0xD800}, "\xEF\xBF\xBD\xEF\xBF\xBD\xF0\x90\x80\x80\xEF\xBF\xBD"},
  };
  for (auto const& [value, expected] : cases) {
    EXPECT_EQ(ElementWith(value), declaration + "<a x=\"" + expected + "\">" + expected + "</a>");
  }
}

/// What a reader has to see, told unit by unit.
wstring AsRead(wstring const& value) {
  wstring result;
  for (std::size_t i = 0; i < value.size(); ++i) {
    wchar const unit = value[i];
    bool const isPair = unit >= 0xD800 && unit < 0xDC00 && i + 1 < value.size() && (value[i + 1] & 0xFC00) == 0xDC00;
    bool const isControl = unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r';
    bool const isAlone = !isPair && (unit & 0xF800) == 0xD800;
    result += isControl ? u' ' : isAlone || unit >= 0xFFFE ? u'\uFFFD' : unit;
    if (isPair) result += value[++i];
  }
  return result;
}

TEST(XmlWriters, AreReadBackWhateverTheValuesAre) {
  std::vector<wstring> values = {wstring(100'000, u'"')};
  for (unsigned int unit = 1; unit < 0x10000; ++unit) {
    if (unit % 16 == 1) values.emplace_back();
    values.back() += static_cast<wchar>(unit);
  }
  std::mt19937 random(5);
  constexpr wchar const* pieces[] = {u"plain words", u"&", u"\"", u"<", u"\x02", u"\t", u"\u00E4", u"x", u"\U0001F600"};
  for (int i = 0; i < 3000; ++i) {
    values.emplace_back(random() % 4 == 0 ? 1 : 0, static_cast<wchar>(0xD800 + random() % 0x800));
    for (auto count = random() % 12; count > 0; --count) values.back() += pieces[random() % std::size(pieces)];
  }
  XmlTree tree;
  tree.SetDoCutValues(false);
  for (wstring const& value : values) {
    Ref<XmlNode> const former(tree.GetRoot());
    tree.SetRoot(XmlNode::Create(u"a"))->AddProperty(u"x", value);
    tree.GetRoot()->AddContent(value);
    for (std::string const& document : {ElementWith(value), tree.WriteBuffer()}) {
      XmlTree read;
      read.SetDoCutValues(false);
      ASSERT_TRUE(read.ReadBuffer(document));
      EXPECT_TRUE(read.GetRoot()->GetPropertyText(u"x") == AsRead(value));
      auto const& texts = read.GetRoot()->GetChildren();
      EXPECT_TRUE((texts.empty() ? u"" : texts.front()->GetContent()) == AsRead(value));
    }
  }
}

TEST(ZamXmlOutStreamTest, WritesFilesOneAfterTheOther) {
  TemporaryFolder const folder;
  for (StorageType const type : {StorageFile, StorageCompressed}) {
    ZamXmlOutStream stream(type);
    for (char16_t const* name : {u"first", u"Größe.xml"}) {
      wstring const path = folder.Write(name, std::string(100, 'x')).u16string();
      stream.Open(path);
      EXPECT_EQ(FailureId([&] { stream.Open(path); }), 3003);
      stream.CreateNode("a");
      for (int i = 0; i < 10'000; ++i) stream.AddSubNodeText("b", u"some text");
      EXPECT_EQ(FailureId([&] { XmlTree{path}; }), 2003);  // a reader sees a complete file, or none
      pid_t const child = fork();                          // has the open file too
      if (child == 0) _exit(pause());
      stream.CloseNode("a");
      stream.Close();
      EXPECT_EQ(folder.Bytes(name).starts_with("\x1F\x8B"), type == StorageCompressed);
      EXPECT_EQ(XmlTree(path).GetRoot()->ChildCount(), 10'000);
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }
  for (bool const close : {false, true}) {  // a begun tag is lost without Close, and nothing else
    {
      ZamXmlOutStream stream(StorageFile, folder.Wide("cut"));
      stream.CreateNode("a");
      stream.AddText(u"t");
      stream.CreateNode("begun");
      if (close) stream.Close();
    }
    EXPECT_EQ(folder.Bytes("cut"), declaration + "<a>t" + (close ? "<begun" : ""));
  }
}

/// What files that can't be written leave is tested for all writers.
TEST(ZamXmlOutStreamTest, TellsWhetherAllWasWritten) {
  TemporaryFolder const folder;
  wstring const good = folder.Wide("good");
  auto const isWritten = [](ZamXmlOutStream& stream) {
    stream.AddSubNodeText("a", u"text");
    stream.Close();
    return stream.IsWritten();
  };
  for (StorageType const type : {StorageFile, StorageCompressed, static_cast<StorageType>(9)}) {
    bool const isFile = type == StorageFile || type == StorageCompressed;
    ZamXmlOutStream stream(type);  // without a file
    EXPECT_FALSE(isWritten(stream));
    stream.AddSubNodeText("lost", u"");
    stream.Open(good);
    EXPECT_EQ(isWritten(stream), isFile);
    EXPECT_EQ(folder.Bytes("good").starts_with(declaration + "<a>"), type == StorageFile);
    if (!isFile) continue;
    stream.Open(u"/dev/full");
    EXPECT_FALSE(isWritten(stream));
    stream.Open(good);
    EXPECT_TRUE(isWritten(stream));
  }
}

TEST(ZamXmlOutStreamTest, DecodesUtf8AfterWhatIsThere) {
  std::pair<std::string, wstring> const cases[] = {
      {"a\xC3\xA4\xE2\x82\xAC", u"a\u00E4\u20AC"},
      {"\xF0\x9D\x84\x9E\xF4\x8F\xBF\xBF!", {0xD834, 0xDD1E, 0xDBFF, 0xDFFF, u'!'}},
      {"\xC3\x24\xBF\xBF\xED\xA0\x80", {0x00E4, 0x07FF, 0xD800}},  // continuation bytes aren't tested
      {"x\xE2\x82", u"x\uFFFD"},
      {"\xF8y\xF0", u"\uFFFDy\uFFFD"},
  };
  for (auto const& [bytes, units] : cases) {
    wstring result = u"before ";
    ZamXmlOutStream::utf8towstr(result, bytes);
    EXPECT_TRUE(result == u"before " + units) << bytes;
  }
}

}  // namespace
}  // namespace ZaM::test

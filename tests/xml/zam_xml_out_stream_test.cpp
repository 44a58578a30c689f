#include "zam/xml/zam_xml_out_stream.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/temporary_folder.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

std::string const declaration = "<?xml version=\"1.0\"?>\n";
std::string const unreadable = "\xEF\xBF\xBD";  // U+FFFD

/// A document of one element with a value as its attribute and, if it is one, as its text.
template <class Value>
std::string elementWith(Value const& value) {
  ZamXmlOutStream stream(StorageMemory);
  stream.CreateNode("a");
  stream.AddProperty("x", value);
  if constexpr (std::is_same_v<Value, wstring>) stream.AddText(value);
  stream.CloseNode("a");
  stream.Close();
  return stream.getXmlString();
}

template <class Value>
std::string attribute(Value const& value) {
  std::string const element = elementWith(value);
  std::size_t const begin = declaration.size() + 6;
  return element.substr(begin, element.find('"', begin) - begin);
}

/// Keeps the last element's attribute, as bytes and wide, and its text.
struct Reader : XmlSaxCallback {
  void OnStartElement(XmlSaxParser* parser, unsigned char const*, unsigned char const** attributes) override {
    if (attributes) raw = reinterpret_cast<char const*>(attributes[1]);
    if (attributes) parser->ConvertString(attributes[1], static_cast<int>(raw.size()), value);
    parser->PushCallback(this);
  }
  void OnEndElement(XmlSaxParser* parser, unsigned char const*) override {
    parser->ConvertString(parser->GetCharacterBuffer(), static_cast<int>(parser->GetCharacterBufferSize()), text);
    ++elements;
  }

  std::string raw;
  wstring value;
  wstring text;
  int elements = 0;
};

Reader read(std::string const& document) {
  Reader reader;
  XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &reader);
  return reader;
}

TEST(ZamXmlOutStreamTest, WritesADocumentOnOneLineBehindItsDeclaration) {
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

enum Plain { plainValue = 7 };
enum class Letter : char { value = 'a' };
enum class Wide : std::uint64_t { value = 1ULL << 63 };

TEST(ZamXmlOutStreamTest, TakesEachKindOfValueForWhatItIs) {
  std::pair<std::string, std::string> const cases[] = {
      // what would turn into a bool
      {attribute(u"text"), "text"},
      {attribute("n\xC3\xA4rrow"), "n\xC3\xA4rrow"},
      {attribute(const_cast<wchar*>(u"p")), "p"},
      {attribute(static_cast<char const*>(nullptr)), ""},
      {attribute(u'\u20AC'), "\xE2\x82\xAC"},
      // the given kinds
      {attribute(true), "1"},
      {attribute(false), "0"},
      {attribute(std::numeric_limits<std::int32_t>::min()), "-2147483648"},
      {attribute(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808"},
      {attribute(-1e-9), "-0.000000"},
      {std::to_string(attribute(1e300).size()), "255"},
      // all others
      {attribute(std::numeric_limits<std::size_t>::max()), "18446744073709551615"},
      {attribute(static_cast<short>(-8)), "-8"},
      {attribute(0.25F), "0.250000"},
      {attribute(plainValue), "7"},
      {attribute(Letter::value), "97"},
      {attribute(Wide::value), "9223372036854775808"},
  };
  for (auto const& [actual, expected] : cases) EXPECT_EQ(actual, expected);
}

TEST(ZamXmlOutStreamTest, EscapesAndReplacesInAttributesAsInText) {
  std::pair<wstring, std::string> const cases[] = {
      {u"a<b&\"c\"'>", "a&lt;b&amp;&quot;c&quot;&apos;&gt;"},
      {u"&amp;\t\n\r", "&amp;amp;&#09;&#10;&#13;"},
      {u"\x01\x1F\x7F\u0080", "  \x7F\xC2\x80"},
      {wstring(u"12345678\0off", 12), "12345678"},
      {{0xDC00, 0xD800, 0xD800, 0xDC00, 0xD800}, unreadable + unreadable + "\xF0\x90\x80\x80" + unreadable},
  };
  for (auto const& [value, expected] : cases) {
    EXPECT_EQ(elementWith(value), declaration + "<a x=\"" + expected + "\">" + expected + "</a>");
  }
}

/// What a reader has to see, told unit by unit.
wstring asRead(wstring const& value) {
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

TEST(ZamXmlOutStreamTest, IsReadBackWhateverTheValuesAre) {
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
  for (wstring const& value : values) {
    Reader const reader = read(elementWith(value));
    ASSERT_TRUE(reader.value == asRead(value));
    ASSERT_TRUE(reader.text == asRead(value));
  }
}

TEST(ZamXmlOutStreamTest, IsReadBackNumberByNumber) {
  XmlSaxParser parser;
  std::string text;
  auto const written = [&](auto const& number) {
    text = read(elementWith(number)).raw;
    return reinterpret_cast<unsigned char const*>(text.c_str());
  };
  for (std::int64_t const number : {INT64_C(-1), INT64_C(1) << 40, INT64_MIN, INT64_MAX}) {
    auto const narrow = static_cast<std::int32_t>(number);
    EXPECT_EQ(parser.GetTimetValue(written(number), 7), number);
    EXPECT_EQ(parser.GetLongValue(written(narrow), 7), narrow);
    EXPECT_EQ(parser.GetSizetValue(written(static_cast<unsigned int>(narrow)), 7), static_cast<unsigned int>(narrow));
  }
  for (double const number : {0.0, -1234567.890625, 0.000001, 1e22, 1e200}) {
    EXPECT_EQ(parser.GetDoubleValue(written(number), 7.0), number);
  }
  EXPECT_EQ(parser.GetDoubleValue(written(std::numeric_limits<double>::infinity()), 7.0), 7.0);
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
      Reader reader;  // sees a complete file, or none
      EXPECT_EQ(FailureId([&] { XmlSaxParser().ParseFile(path, &reader); }), 2003);
      pid_t const child = fork();  // has the open file too
      if (child == 0) _exit(pause());
      stream.CloseNode("a");
      stream.Close();
      EXPECT_EQ(folder.Bytes(name).starts_with("\x1F\x8B"), type == StorageCompressed);
      EXPECT_EQ(FailureId([&] { XmlSaxParser().ParseFile(path, &reader); }), 0);
      EXPECT_EQ(reader.elements, 10'001);
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

TEST(ZamXmlOutStreamTest, TellsWhetherAllWasWritten) {
  TemporaryFolder const folder;
  wstring const good = folder.Wide("good");
  auto const isWritten = [](ZamXmlOutStream& stream, int elements) {
    std::mt19937 random(1);
    for (int i = 0; i < elements; ++i) stream.AddSubNodeText("a", {static_cast<wchar>(0x4E00 + random() % 9999)});
    stream.Close();
    return stream.IsWritten();
  };
  for (StorageType const type : {StorageFile, StorageCompressed}) {
    for (int const elements : {1, 100'000}) {
      ZamXmlOutStream stream(type, u"/dev/full");
      EXPECT_FALSE(isWritten(stream, elements));
      stream.Open(good);
      EXPECT_TRUE(isWritten(stream, elements));
    }
  }
  folder.Write("good", "kept");
  for (wstring const& path : {good + u"/file", folder.Path().u16string(), good + wstring(u"\0", 1)}) {
    ZamXmlOutStream plain(StorageFile, path);
    EXPECT_FALSE(isWritten(plain, 1));
    EXPECT_EQ(FailureId([&] { ZamXmlOutStream(StorageCompressed, path); }), 2002);
  }
  EXPECT_EQ(folder.Bytes("good"), "kept");
  for (StorageType const type : {StorageFile, StorageCompressed, static_cast<StorageType>(9)}) {
    ZamXmlOutStream stream(type);  // without a file
    EXPECT_FALSE(isWritten(stream, 1));
    stream.AddSubNodeText("lost", u"");
    stream.Open(good);
    EXPECT_EQ(isWritten(stream, 1), type == StorageFile || type == StorageCompressed);
    EXPECT_EQ(folder.Bytes("good").starts_with(declaration + "<a>"), type == StorageFile);
  }
}

TEST(ZamXmlOutStreamTest, DecodesUtf8BehindWhatIsThere) {
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

TEST(ZamXmlOutStreamTest, IsAsItWasWhereMemoryRunsOut) {
  std::string const name(100, 'n');
  wstring const value(20'000, u'<');
  ZamXmlOutStream stream(StorageMemory);
  std::function<void()> const steps[] = {[&] { stream.CreateNode(name); },
                                         [&] { stream.AddProperty(name, value); },
                                         [&] { stream.AddProperty("x", 1e9); },
                                         [&] { stream.AddText(value); },
                                         [&] { stream.AddSubNodeText(name, value); },
                                         [&] { stream.CloseNode(name); }};
  for (auto const& step : steps) {
    std::string const before = stream.getXmlString();
    FailEachAllocation([&] { step(); }, [&] { EXPECT_EQ(stream.getXmlString(), before); });
  }
  EXPECT_EQ(read(stream.getXmlString()).elements, 2);
}

}  // namespace
}  // namespace ZaM::test

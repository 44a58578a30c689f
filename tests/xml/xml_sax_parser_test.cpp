#include "zam/xml/xml_sax_parser.h"

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/gzip.h"
#include "tests/support/temporary_folder.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

unsigned char const* bytes(char const* text) {
  return reinterpret_cast<unsigned char const*>(text);
}

std::string string(unsigned char const* text) {
  return reinterpret_cast<char const*>(text);
}

/// Notes its events as `^<a p='1'>[text in front of a tag]</a>$`, each behind the recorder's name if it has one.
struct Recorder : XmlSaxCallback {
  Recorder() : log(ownLog) {}
  Recorder(std::string label, std::string& sharedLog) : name(std::move(label)), log(sharedLog) {}

  void OnStartDocument(XmlSaxParser* parser) override { note(parser, "^"); }
  void OnEndDocument(XmlSaxParser* parser) override { note(parser, "$"); }
  void OnStartElement(XmlSaxParser* parser, unsigned char const* element, unsigned char const** attributes) override {
    std::string tag = "<" + string(element) + (attributes != nullptr && *attributes == nullptr ? " empty run" : "");
    for (; attributes != nullptr && *attributes != nullptr; attributes += 2) {
      tag += " " + string(attributes[0]) + "='" + string(attributes[1]) + "'";
    }
    note(parser, tag + ">");
    push(parser, string(element));
  }
  void OnEndElement(XmlSaxParser* parser, unsigned char const* element) override {
    note(parser, "</" + string(element) + ">");
  }

  void note(XmlSaxParser* parser, std::string const& event) {
    unsigned char const* const text = parser->GetCharacterBuffer();
    log +=
        name + (text != nullptr ? "[" + std::string(text, text + parser->GetCharacterBufferSize()) + "]" : "") + event;
    onEvent(parser, event);
  }

  std::string ownLog;
  std::string name;
  std::string& log;
  std::function<void(XmlSaxParser*, std::string const&)> onEvent = [](auto*, auto const&) {};
  std::function<void(XmlSaxParser*, std::string const&)> push = [this](auto* parser, auto const&) {
    parser->PushCallback(this);
  };
};

enum class From { memory, plainFile, gzipFile };
constexpr From everySource[] = {From::memory, From::plainFile, From::gzipFile};

void parse(XmlSaxParser& parser, From source, std::string const& document, XmlSaxCallback* callback) {
  if (source == From::memory) {
    return parser.ParseMemory(document.data(), static_cast<unsigned int>(document.size()), callback);
  }
  TemporaryFolder const folder;
  auto const file = folder.Write("file", source == From::plainFile ? document : Gzip(document));
  parser.ParseFile(file.u16string(), callback);
}

std::string events(std::string const& document, From source = From::memory) {
  XmlSaxParser parser;
  Recorder recorder;
  parse(parser, source, document, &recorder);
  return recorder.log;
}

/// Whether a parser is as good as new.
void expectUsable(XmlSaxParser& parser) {
  Recorder recorder;
  parse(parser, From::memory, "<!DOCTYPE a [<!ENTITY e '!'>]><a>x<b/>y&e;</a>", &recorder);
  EXPECT_EQ(recorder.log, "^<a>[x]<b></b>[y!]</a>$");
}

/// `part` so many times, with a number from 0 on for each `#`.
std::string repeated(std::string const& part, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) {
    for (char const c : part) c == '#' ? all += std::to_string(i) : all += c;
  }
  return all;
}

TEST(XmlSaxParser, SendsEventsWithTheTextInFrontOfThem) {
  std::pair<std::string, char const*> const cases[] = {
      {"<a>one<b/>two</a>", "^<a>[one]<b></b>[two]</a>$"},
      {"<?xml version='1.0'?>\n<!--c--><a>\n <b/> </a>\n<?p i?>", "^<a>[\n ]<b></b>[ ]</a>$"},
      {"<a>1<![CDATA[<2>]]>&lt;&#x41;<!--c-->3<?p i?>4</a>", "^<a>[1<2><A34]</a>$"},
      {"<x:a xmlns:x='u' p='1&amp;2&#10;3' q=''/>", "^<x:a xmlns:x='u' p='1&2\n3' q=''></x:a>$"},
      {"<!DOCTYPE a [<!ENTITY e '1<b p=\"&f;\"/>2'><!ENTITY f '3'>]><a p='&f;'>0&e;4</a>",
       "^<a p='3'>[01]<b p='3'></b>[24]</a>$"},
      {"<!DOCTYPE a [<!ENTITY e '&#13;&#10;'><!ENTITY f ']]'>]><a>&f;&e;</a>", "^<a>[]]\n]</a>$"},
      {"<!DOCTYPE a [<!ENTITY e ']]&#62;'>]><a><b/>&e;</a>", "^<a><b></b>"},
      {"<!DOCTYPE a [<!ATTLIST a p CDATA 'default'>]><a q='&#233;'/>", "^<a q='\xC3\xA9'></a>$"},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>", "^<a>[\xC3\xA9]</a>$"},
      {std::string("\xFF\xFE<\0a\0>\0\x3D\xD8\x00\xDE<\0/\0a\0>\0", 20), "^<a>[\xF0\x9F\x98\x80]</a>$"},
      {std::string("\xFF\xFE\0\0<\0\0\0a\0\0\0>\0\0\0\x00\xF6\x01\0<\0\0\0/\0\0\0a\0\0\0>\0\0\0", 36),
       "^<a>[\xF0\x9F\x98\x80]</a>$"},
      {std::string("\0\0\xFE\xFF\0\0\0<\0\0\0a\0\0\0/\0\0\0>", 20), "^<a></a>$"},
      {"<?xml version='1.0' encoding='Shift_JIS'?><a>\x83\x7D</a>", "^<a>[\xE3\x83\x9E]</a>$"},
      {"<?xml version='1.0'" + std::string(60'000, ' ') + "encoding='ISO-8859-15'?><a>\xA4</a>",
       "^<a>[\xE2\x82\xAC]</a>$"},
      // Encodings for which a converter would be looked for.
      {"<?xml version='1.0' encoding='IBM037'?><a/>", ""},
      {"<?xml version='1.0'" + std::string(60'000, ' ') + "encoding = \"UTF-7\"?><a/>", ""},
      // Up to the fault of what is malformed.
      {"<a><b>1</b>2<c>3</d></a>", "^<a><b>[1]</b>[2]<c>"},
      {"<a p='1' p='2'/>", "^"},
      {"<a>&unknown;</a>", "^<a>"},
      {"<a/><b/>", "^<a></a>$"},
      {"<a><b/>", "^<a><b></b>$"},
      {"text", "^$"},
      {"", "$"},
  };
  for (auto const& [document, expected] : cases) {
    for (From const source : everySource) EXPECT_EQ(events(document, source), expected) << document;
  }
}

TEST(XmlSaxParser, PutsOneCallbackOnTheStackForEachElement) {
  // What the outer callback pushes for <x>, itself, the inner one, or null (-), and who is told of <x>'s content.
  for (auto const& [pushed, told] : {std::pair("", ""), {"-", ""}, {"o", "o"}, {"i", "i"}, {"oi", "i"}, {"i-", ""}}) {
    XmlSaxParser parser;
    std::string log;
    Recorder inner("i", log);
    Recorder outer("o", log);
    outer.push = [&, pushed = pushed](auto*, std::string const& element) {
      if (element != "x") return parser.PushCallback(&outer);
      for (char const who : std::string_view(pushed)) {
        // So often that the stack moves in memory while its top is called.
        for (int i = 0; i < 1'000; ++i) parser.PushCallback(who == '-' ? nullptr : who == 'i' ? &inner : &outer);
      }
    };
    inner.onEvent = [&](auto*, std::string const& event) {
      if (event == "</y>") parser.PushCallback(&outer);  // out of place
    };
    parse(parser, From::memory, "<r><x><y><z/></y></x><z/></r>", &outer);
    std::string expected = "o^o<r>o<x>";
    for (char const* event : {"<y>", "<z>", "</z>", "</y>", "</x>"}) expected += *told ? told + std::string(event) : "";
    EXPECT_EQ(log, expected + "o<z>o</z>o</r>o$") << pushed;
  }
}

TEST(XmlSaxParser, KeepsTextsOfEverySizeWhole) {
  // The text of each CDATA section comes in pieces of its own.
  std::vector<std::size_t> const texts[] = {{2'047},       {2'048},        {1, 2'046}, {1, 2'047},
                                            {2'047, 1, 1}, {2'000, 2'000}, {2'048, 1}, {300'000}};
  for (std::vector<std::size_t> const& sections : texts) {
    std::string expected;
    std::string content;
    for (std::size_t const size : sections) {
      std::string const part(size, static_cast<char>('a' + expected.size() % 7));
      expected += part;
      content += "<![CDATA[" + part + "]]>";
    }
    XmlSaxParser parser;
    Recorder recorder;
    recorder.onEvent = [&](auto*, std::string const& event) {
      auto const place = reinterpret_cast<std::uintptr_t>(parser.GetCharacterBuffer());
      bool const isInside = place - reinterpret_cast<std::uintptr_t>(&parser) < sizeof parser;
      EXPECT_TRUE(event != "</b>" || isInside == (expected.size() < 2'048)) << expected.size();
    };
    for (From const source : everySource) {
      recorder.log.clear();
      parse(parser, source, "<a><b>" + content + "</b>s<c/>" + content, &recorder);
      EXPECT_TRUE(recorder.log.starts_with("^<a><b>[" + expected + "]</b>[s]<c></c>")) << expected.size();
    }
    expectUsable(parser);  // without what an unfinished document left
  }
}

TEST(XmlSaxParser, ReadsFilesOfEverySizeCutAndDamagedAnywhere) {
  for (std::size_t const size : {1'023u, 1'024u, 1'025u, 2'048u, 16'384u, 65'535u, 65'536u, 65'537u, 131'072u}) {
    std::string document = "<a>" + repeated("<e n='#'>text</e>", size / 24) + "</a>";
    document.resize(size, '\n');
    std::string const whole = events(document);
    ASSERT_TRUE(whole.ends_with("</a>$"));
    for (From const source : everySource) EXPECT_TRUE(events(document, source) == whole) << size;
  }
  std::string const document = "<a>" + repeated("<e n='#'>\xC3\xA9</e>", 15) + "</a>";
  std::string const packed = Gzip(document);
  std::string const whole = events(document);
  TemporaryFolder const folder;
  int files = 0;
  XmlSaxParser parser;
  Recorder recorder;
  auto const read = [&](std::string const& file) {
    auto const path = folder.Write(std::to_string(++files), file);  // replacing one takes long on some file systems
    recorder.log.clear();
    std::int32_t const id = FailureId([&] { parser.ParseFile(path.u16string(), &recorder); });
    if (recorder.log.ends_with('$')) recorder.log.pop_back();
    return id;
  };
  for (std::string const& file : {document, packed}) {
    for (std::size_t place = 0; place < file.size(); ++place) {
      EXPECT_EQ(read(file.substr(0, place)), 0);
      // Where a start tag is cut, it may be told of without what is missing.
      EXPECT_TRUE(whole.starts_with(recorder.log.substr(0, recorder.log.rfind('<')))) << place << recorder.log;
      std::string damaged = file;
      damaged[place] = static_cast<char>(damaged[place] ^ 0x55);
      std::int32_t const id = read(damaged);
      EXPECT_TRUE(id == 0 || (id == 2004 && file == packed)) << place << " " << id;
    }
  }
  EXPECT_EQ(read(Gzip("<a><b>") + Gzip("</b></a>") + "rest"), 0);
  EXPECT_EQ(recorder.log, "^<a><b></b></a>");
  expectUsable(parser);
}

TEST(XmlSaxParser, ReportsFilesThatCannotBeRead) {
  TemporaryFolder const folder;
  auto const locked = folder.Path() / "locked";
  ZamXmlOutStream const writer(StorageFile, locked.u16string());
  std::pair<std::filesystem::path, std::int32_t> const cases[] = {
      {folder.Path() / "missing", 2003}, {folder.Path(), 2003}, {"", 2003}, {locked, 2003}, {"/proc/self/mem", 2004}};
  XmlSaxParser parser;
  Recorder recorder;
  for (auto const& [path, id] : cases) {
    EXPECT_EQ(FailureId([&, &file = path] { parser.ParseFile(file.u16string(), &recorder); }), id) << path;
    expectUsable(parser);
  }
  EXPECT_EQ(FailureId([&] { parser.ParseFile(u"missing", nullptr); }), 1);
  EXPECT_EQ(FailureId([&] { parser.ParseMemory("<a/>", 4, nullptr); }), 1);
}

TEST(XmlSaxParser, LetsThroughWhatACallbackThrows) {
  std::string const document = "<!DOCTYPE a [<!ENTITY e '<c/><d/>'>]><a>" + std::string(5'000, 'x') + "<b>&e;</b>" +
                               repeated("<e n='#'/>", 9'000) + "</a>";
  auto const openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  auto const before = openFiles();
  XmlSaxParser parser;
  EXPECT_TRUE(parser.GetMajorVersion() == -1 && parser.GetMinorVersion() == -1);
  parser.SetVersionInfo(3, 14);
  for (std::string const thrower : {"^", "<a>", "<b>", "<c>", "</c>", "</b>", "<e n='8999'>", "</a>", "$"}) {
    for (From const source : everySource) {
      std::string last;
      Recorder recorder;
      recorder.onEvent = [&](auto*, std::string const& event) {
        last = event;
        if (event == thrower) throw BaseException(10, u"newer");
      };
      EXPECT_EQ(FailureId([&] { parse(parser, source, document, &recorder); }), 10) << thrower;
      EXPECT_EQ(last, thrower);
      EXPECT_EQ(openFiles(), before);
      expectUsable(parser);
    }
  }
  EXPECT_TRUE(parser.GetMajorVersion() == 3 && parser.GetMinorVersion() == 14);
}

TEST(XmlSaxParser, ParsesOtherDocumentsWithinAnEvent) {
  for (From const source : everySource) {
    XmlSaxParser parser;
    std::string log;
    Recorder outer("o", log);
    Recorder inner("i", log);
    outer.onEvent = [&](auto*, std::string const& event) {
      if (event == "<b>" || event == "</c>") parse(parser, source, "<x>1<y/></x>", &inner);
      if (event == "<d>") {
        EXPECT_THROW(parse(parser, source, "<throw/>", &inner), int);
      }
    };
    inner.onEvent = [&](auto*, std::string const& event) {
      if (event == "<y>") expectUsable(parser);
      if (event == "<throw>") throw 7;
    };
    parse(parser, source, "<a><b>2</b><c>3</c>4<d>5</d></a>", &outer);
    std::string const nested = "i^i<x>i[1]<y>i</y>i</x>i$";
    EXPECT_EQ(log, "o^o<a>o<b>" + nested + "o[2]</b>o<c>o[3]</c>" + nested + "o[4]<d>i^i<throw>o[5]</d>o</a>o$");
  }
}

TEST(XmlSaxParser, ReadsNumbersFromValues) {
  XmlSaxParser parser;
  struct {
    char const* value;
    std::int32_t asLong;
    unsigned int asSizet;
    std::int64_t asTimet;
    double asDouble;
  } const cases[] = {{nullptr, 7, 7, 7, 7},
                     {"", 7, 7, 7, 7},
                     {"abc", 0, 7, 7, 7},
                     {" \t\n12abc", 12, 12, 12, 12},
                     {"-1", -1, UINT32_MAX, -1, -1},
                     {"+1.5e2", 1, 1, 1, 150},
                     {"18446744073709551615", INT32_MAX, UINT32_MAX, -1, 18446744073709551616.0}};
  for (auto const& [value, asLong, asSizet, asTimet, asDouble] : cases) {
    EXPECT_EQ(parser.GetLongValue(bytes(value), 7), asLong);
    EXPECT_EQ(parser.GetSizetValue(bytes(value), 7), asSizet);
    EXPECT_EQ(parser.GetTimetValue(bytes(value), 7), asTimet);
    EXPECT_EQ(parser.GetDoubleValue(bytes(value), 7), asDouble);
  }
  for (bool const byDefault : {false, true}) {
    EXPECT_TRUE(parser.GetBoolValue(bytes("10"), byDefault));
    EXPECT_FALSE(parser.GetBoolValue(bytes("01"), byDefault));
    for (char const* other : {"true", "", static_cast<char const*>(nullptr)}) {
      EXPECT_EQ(parser.GetBoolValue(bytes(other), byDefault), byDefault);
    }
  }
}

TEST(XmlSaxParser, ConvertsTextsOfEveryLength) {
  XmlSaxParser parser;
  for (auto const& [utf8, utf16] : {std::pair("x", u"x"),
                                    {"\xC3\xA9", u"\u00e9"},
                                    {"\xE4\xB8\x80", u"\u4e00"},
                                    {"\xF0\x9F\x98\x80", u"\U0001F600"},
                                    {"\xFF", u"\ufffd"}}) {
    for (std::size_t const times : {0u, 1u, 341u, 342u, 512u, 513u, 1'024u, 1'025u, 30'000u}) {
      std::string const given = repeated(utf8, times);
      wstring expected;
      for (std::size_t i = 0; i < times; ++i) expected += utf16;
      wstring result = u"before";
      parser.ConvertString(bytes(given.c_str()), static_cast<int>(given.size()), result);
      EXPECT_TRUE(result == expected) << utf8 << times;
    }
  }
}

TEST(XmlSaxParser, OpensNothingThatADocumentNames) {
  TemporaryFolder const folder;
  std::string const secret = folder.Write("secret", "<!ENTITY e 'stolen'>");
  int const watch = inotify_init1(IN_NONBLOCK);
  ASSERT_GE(inotify_add_watch(watch, secret.c_str(), IN_OPEN), 0);
  char notice[4096];
  std::string const include = "<i:include xmlns:i='http://www.w3.org/2001/XInclude' href='";
  for (std::string const& document : {"<!DOCTYPE a [<!ENTITY e SYSTEM 'file://" + secret + "'>]><a>&e;</a>",
                                      "<!DOCTYPE a PUBLIC 'id' '" + secret + "'><a>&e;</a>",
                                      "<!DOCTYPE a [<!ENTITY % p SYSTEM '" + secret + "'>%p;]><a>&e;</a>",
                                      "<?xml-stylesheet href='" + secret + "'?>" + include + secret + "'/>"}) {
    for (From const source : everySource) EXPECT_EQ(events(document, source).find("stolen"), std::string::npos);
    EXPECT_LT(read(watch, notice, sizeof notice), 0) << document;
  }
  folder.Write("secret", "");
  EXPECT_GT(read(watch, notice, sizeof notice), 0);  // it would have been noticed
  close(watch);
}

/// What a document ends in: its last event, or the limit that it passes.
std::string outcome(std::string const& document, From source) {
  XmlSaxParser parser;
  Recorder recorder;
  try {
    parse(parser, source, document, &recorder);
  } catch (LimitExceededException const& failure) {
    EXPECT_GT(failure.GetValue(), failure.GetLimit());
    wstring const& what = failure.GetWhat();
    return std::string(what.begin(), what.end());
  }
  EXPECT_LE(std::count(recorder.log.begin(), recorder.log.end(), 'x'), 1'200'000);
  return recorder.log.ends_with("</a>$") ? "" : "malformed";
}

TEST(XmlSaxParser, ReportsEachLimitThatADocumentPasses) {
  std::string const entity = "<!DOCTYPE a [<!ENTITY e '!'>]>";
  std::string const big = "<!DOCTYPE a [<!ENTITY e '" + std::string(100'000, 'x') + "'>]><a>";
  auto const nested = [](std::size_t times) {
    return "<!DOCTYPE a [<!ENTITY e0 '" + std::string(90'000, 'x') + "'><!ENTITY e1 '" + repeated("&e0;", times) +
           "'>]><a>&e1;</a>";
  };
  auto const chain = [](int levels, std::size_t references) {
    std::string document = "<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxx'>";
    for (int i = 1; i <= levels; ++i) {
      document +=
          "<!ENTITY e" + std::to_string(i) + " '" + repeated("&e" + std::to_string(i - 1) + ";", references) + "'>";
    }
    return document + "]><a>&e" + std::to_string(levels) + ";</a>";
  };
  auto const list = [](std::size_t values) { return "<!ATTLIST a p (t" + repeated("|t#", values) + ") 't'>"; };
  auto const parameter = [](std::size_t references) {
    return "<!DOCTYPE a [<!ENTITY e ''><!ENTITY % p ''><!ATTLIST a p CDATA '" + repeated("&e;", references) +
           "'>%p;]><a></a>";
  };
  std::string const expansion = "bytes that references in an XML document stand for";
  std::string const attributes = "attributes of an XML element";
  struct {
    std::string accepted;
    std::string refused;
    std::string limit;
  } const cases[] = {
      {"<?xml version='1.0'" + std::string(65'000, ' ') + "encoding='ASCII'?><a></a>",
       "<?xml version='1.0'" + std::string(67'000, ' ') + "encoding='ASCII'?><a></a>", "bytes of an XML declaration"},
      {big + repeated("&e;", 8) + "</a>", big + repeated("&e;", 10) + "</a>", expansion},
      {big + repeated("<b p='&e;&e;&e;'/>", 2) + "</a>", big + repeated("<b p='&e;&e;&e;'/>", 4) + "</a>", expansion},
      {nested(11), nested(12), expansion},
      {chain(2, 5), chain(8, 10), expansion},
      {chain(39, 1), chain(40, 1), expansion},
      // Of what is malformed, which libxml2 parses.
      {entity + "<a" + repeated(" p#=\"'=>\"", 100'000) + "></a>",
       entity + "<a" + repeated(" p#=''", 100'000) + " p0=''></a>", attributes},
      {"<!DOCTYPE a [<!ENTITY e '<b" + repeated(" p#=\"\"", 4'096) + "/>'>]><a>&e;</a>",
       "<!DOCTYPE a [<!ENTITY e '<b" + repeated(" p#=\"\"", 4'097) + "/>'>]><a>&e;</a>", attributes},
      {"<!DOCTYPE a [" + repeated("<!ATTLIST a p# CDATA ''>", 10'000) + "]><a></a>",
       "<!DOCTYPE a [" + repeated("<!ATTLIST a p# CDATA ''>", 10'001) + "]><a></a>",
       "declared attributes in an XML document"},
      {"<!DOCTYPE a [" + list(10'000) + "]><a></a>", "<!DOCTYPE a [" + list(11'000) + "]><a></a>",
       "listed values in the declarations of an XML document"},
      {"<!DOCTYPE a [<!ENTITY % l \"" + list(3'000) + "\">%l;]><a></a>",
       "<!DOCTYPE a [<!ENTITY % l \"" + list(3'000) + "\">%l;%l;%l;]><a></a>",
       "listed values in the declarations of an XML document"},
      {"<!DOCTYPE a SYSTEM '" + std::string(490'000, 'y') + "' []><a></a>",
       "<!DOCTYPE a SYSTEM '" + std::string(510'000, 'y') + "' []><a></a>", "bytes of declarations in an XML document"},
      {"<!DOCTYPE a [<!ELEMENT a (b" + repeated(",b#", 49'900) + ")>]><a></a>",
       "<!DOCTYPE a [<!ELEMENT a (b" + repeated(",b#", 50'001) + ")>]><a></a>", "names in an XML document"},
      {parameter(4'990), parameter(10'010), "references in front of a parameter entity"},
      {"<!DOCTYPE a [<!ENTITY e ''><!ELEMENT " + std::string(49'999, 'n') + " ANY>]><a></a>",
       "<!DOCTYPE a [<!ENTITY e ''><!ELEMENT " + std::string(50'001, 'n') + " ANY>]><a></a>",
       "markup in an XML document"},
  };
  for (auto const& [accepted, refused, limit] : cases) {
    SCOPED_TRACE(refused.substr(0, 100));
    EXPECT_EQ(outcome(accepted, From::memory), "");
    EXPECT_EQ(outcome(refused, From::gzipFile), limit);
  }
  // What looks like a limit in a message of libxml2, and is none.
  EXPECT_EQ(outcome("<a p='Name too long' xml:space='Huge input lookup'><Huge>&huge;</a>", From::memory), "malformed");
  EXPECT_EQ(outcome("<a><!--\xC3\xA4 huge text node, and what else it says", From::memory), "malformed");
  EXPECT_EQ(outcome("<!DOCTYPE a><!-- value too long -- -- --><a/>", From::memory), "malformed");
  EXPECT_EQ(outcome("<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '<b>&e;</b>'>]><a>&e;</a>", From::memory), "malformed");
}

TEST(XmlSaxParser, TakesNoMoreOfADocumentThanItMay) {
  std::string const document = "<a>" + std::string(200'000, '.') + "</a>";  // 300 bytes as a gzip file
  for (From const source : everySource) {
    XmlSaxParser parser;
    Recorder recorder;
    parser.SetMaxBytes(document.size());
    parse(parser, source, document, &recorder);
    EXPECT_TRUE(recorder.log.ends_with("</a>$"));
    parser.SetMaxBytes(document.size() - 1);
    EXPECT_THROW(parse(parser, source, document, &recorder), LimitExceededException);
    parser.SetMaxBytes(1'000);
    expectUsable(parser);
  }
}

TEST(XmlSaxParser, ReadsWhatTheLibraryCanWrite) {
  std::string const long10 = std::string(10'500'000, '.');
  for (std::string const& document :
       {"<a>" + repeated("<e#/>", 60'000) + "</a>", "<a" + repeated(" p#=''", 5'000) + "></a>",
        "<a><" + std::string(60'000, 'n') + "/></a>", "<a p='" + long10 + "'></a>", "<a><![CDATA[" + long10 + "]]></a>",
        "<a><?p " + long10 + "?></a>", "<a><!--" + long10 + "--></a>",
        "<a>" + repeated("<e xml:id='i#'/>", 60'000) + "</a>"}) {
    for (From const source : everySource) EXPECT_EQ(outcome(document, source), "") << document.substr(0, 40);
    // Neither a document type nor another encoding makes a difference.
    EXPECT_EQ(outcome("<?xml version='1.0' encoding='ISO-8859-1'?><!DOCTYPE a [<!-- ' --><?p ]>?><!ENTITY e '!'>]>" +
                          document,
                      From::memory),
              "");
  }
}

}  // namespace
}  // namespace ZaM::test

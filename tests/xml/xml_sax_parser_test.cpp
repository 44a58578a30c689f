// What receivers of events do and are given. What they are told is tested in readers_test.cpp, and what they throw and
// parse meanwhile by xml_sax_parser_fuzzer.
#include "zam/xml/xml_sax_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/xml/readers.h"
#include "zam/platform/unicode.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

void Parse(XmlSaxParser& parser, std::string const& document, XmlSaxCallback* callback) {
  parser.ParseMemory(document.data(), static_cast<unsigned int>(document.size()), callback);
}

TEST(XmlSaxParser, PutsOneCallbackOnTheStackForEachElement) {
  XmlSaxParser parser;
  std::string log;
  Recorder inner("i", log);
  Recorder outer("o", log);
  // What the names of elements make their receivers push; so often that the stack moves in memory.
  auto const push = [&](auto&, std::string const& element) {
    for (char const who : element) {
      for (int i = 0; i < 1'000; ++i) parser.PushCallback(who == 'i' ? &inner : who == 'o' ? &outer : nullptr);
    }
  };
  outer.push = inner.push = push;
  inner.onEvent = outer.onEvent = [&](auto&, std::string const& event) {
    if (event == "</o>") parser.PushCallback(&inner);  // out of place
  };
  Parse(parser, "<o><n><o/></n><oi><o/><in><i/></in></oi><io><o/></io></o>", &outer);
  EXPECT_EQ(log, "o^o<o>o<n>o<oi>i<o>o</o>i<in>i</oi>o<io>o<o>o</o>o</io>o</o>o$");
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
    recorder.onEvent = [&](auto&, std::string const& event) {
      auto const place = reinterpret_cast<std::uintptr_t>(parser.GetCharacterBuffer());
      bool const isInside = place - reinterpret_cast<std::uintptr_t>(&parser) < sizeof parser;
      EXPECT_TRUE(event != "</b>" || isInside == (expected.size() < 2'048)) << expected.size();
    };
    Parse(parser, "<a><b>" + content + "</b>s<c/>" + content, &recorder);
    EXPECT_TRUE(recorder.log.starts_with("^<a><b>[" + expected + "]</b>[s]<c></c>")) << expected.size();
  }
}

TEST(XmlSaxParser, TakesWellFormedUtf8AndNoOtherWhereverItStands) {
  using namespace std::string_literals;
  std::string const bytes = "A\x7F\x80\x8F\x90\x9F\xA0\xBD\xBE\xBF\xC2\xE1"s;
  for (char const first : "\x80\xC1\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF4\xF5"s) {
    for (char const second : bytes) {
      for (char const third : bytes) {
        std::string const sequence = {first, second, third, (second ^ third) & 1 ? 'A' : '\x80'};
        bool const isLast = sequence.starts_with("\xEF\xBF\xBE") || sequence.starts_with("\xEF\xBF\xBF");
        bool const isGood = platform::IsUtf8(sequence) && !isLast;
        for (std::size_t place = 0; place < 18; ++place) {
          std::string const text = Repeated("x", place / 2) + Repeated("\xD0\x96", place % 2) + sequence + "\xD0\x96";
          XmlSaxParser parser;
          Recorder recorder;
          Parse(parser, "<a p='" + text + "'><b>" + text + "</b></a>", &recorder);
          EXPECT_EQ(recorder.log == "^<a p='" + text + "'><b>[" + text + "]</b></a>$", isGood)
              << testing::PrintToString(text);
          Recorder inText;
          Parse(parser, "<a>" + text + "</a>", &inText);
          EXPECT_EQ(inText.log == "^<a>[" + text + "]</a>$", isGood) << testing::PrintToString(text);
        }
      }
    }
  }
}

TEST(XmlSaxParser, ConvertsTextsOfEveryLength) {
  XmlSaxParser parser;
  for (std::size_t const times : {0u, 1u, 341u, 342u, 512u, 1'024u, 1'025u, 30'000u}) {
    std::string const given = Repeated("x\xF0\x9F\x98\x80\xFF", times);
    wstring expected;
    for (std::size_t i = 0; i < times; ++i) expected += u"x\U0001F600\ufffd";
    wstring result = u"before";
    auto const* const bytes = reinterpret_cast<unsigned char const*>(given.data());
    parser.ConvertString(bytes, static_cast<int>(given.size()), result);
    EXPECT_TRUE(result == expected) << times;
  }
}

}  // namespace
}  // namespace ZaM::test

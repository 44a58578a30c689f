#include "zam/foundation/text_encoding.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/uncaught.h"

namespace ZaM {
namespace {

using namespace std::string_literals;

TEST(TextEncoding, ComesAndGoesInOneCall) {
  EXPECT_EQ(ToUtf8(FromUtf8("Straße \U0001F600\0x"s)), "Straße \U0001F600\0x"s);
  EXPECT_TRUE(FromUtf8("Stra\xDF"
                       "e") == u"Stra\uFFFDe");
  EXPECT_EQ(ToUtf8(wstring{u'a', 0xDC00, 0xD800, 0xD83D}), "a\uFFFD\uFFFD\uFFFD");
}

TEST(TextEncoding, IsUtf8OrNot) {
  std::string const right[] = {"",
                               "az",
                               "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80",
                               "\xC2\x80\xDF\xBF\xE0\xA0\x80",
                               "\xF4\x8F\xBF\xBF",
                               "\xED\x9F\xBF\xEE\x80\x80",
                               "\uFFFD",
                               "a\0\uFFFFz"s};
  for (std::string const& bytes : right) {
    EXPECT_TRUE(IsUtf8(bytes) && DecodeText(bytes) == FromUtf8(bytes)) << testing::PrintToString(bytes);
  }
  // A byte that only goes on, cut ones, something else in between, overlong ones, a surrogate, above U+10FFFF.
  for (std::string const wrong : {"\x80", "\xC3", "\xE2\x82", "\xC3(", "\xC0\xAF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                                  "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFF", "\uFFFD\xFF"}) {
    std::string const bytes = "plain text and then \uFFFD" + wrong;
    EXPECT_TRUE(!IsUtf8(bytes) && !DecodeText(bytes)) << testing::PrintToString(bytes);
  }
}

TEST(TextEncoding, IsWhatTheMarkSaysOrElseTheName) {
  struct {
    std::string bytes, name;
    std::optional<wstring> text;
  } const cases[] = {
      {"Gr\xFC\xDF"
       "e",
       "ISO-8859-1", u"Grüße"},
      {"\x80 5", "Windows_1252", u"€ 5"},
      {"\xEF\xBB\xBFä", "windows-1252", u"ä"},
      {"\xFF\xFE"
       "a\0\x3D\xD8\0\xDE"s,
       "UTF-8", u"a\U0001F600"},
      {"\xFE\xFF\0a"s, "utf8", u"a"},
      {"\xFF\xFE\0\0a\0\0\0"s, "UTF-8", u"a"},
      {"\0\0\xFE\xFF\0\1\xF6\0"s, "UTF-8", u"\U0001F600"},
      {"a\0b\0"s, "UTF-16LE", u"ab"},
      {"\xCC\xC1", "KOI8-R", u"ла"},
      {"\x93\xFA\x96\x7B", "Shift_JIS", u"日本"},
      {"\xA4\xE9", "Big5", u"日"},
      {std::string(10'000, '\xE4'), "latin1", wstring(10'000, u'ä')},
      {"\xFF\xFE"
       "a",
       "UTF-8",
       {}},                                      // half a unit
      {"\xFF\xFE\0\xD8"s, "UTF-8", {}},          // half a pair
      {"\xFF\xFE\0\0\0\0\x11\0"s, "UTF-8", {}},  // above U+10FFFF
      {"\x93", "Shift_JIS", {}},                 // cut
      {"\xE4", "US-ASCII", {}},
      {"ä\xE4", "UTF8", {}},
  };
  for (auto const& [bytes, name, text] : cases) {
    EXPECT_TRUE(DecodeText(bytes, name) == text) << name << ' ' << testing::PrintToString(bytes);
  }
  for (std::string const& name : {""s, "UTF-9"s, "no such encoding"s, "UTF-8\0"s}) {
    EXPECT_EQ(test::FailureId([&] { static_cast<void>(DecodeText("a", name)); }), ErrorId::InvalidArgument) << name;
  }
}

TEST(Uncaught, AFailureSaysItsSentenceBeforeTheProgramEnds) {
  auto const end = [](auto exception) {
    DescribeUncaught();
    DescribeUncaught();
    std::thread([&] { throw exception; }).join();
  };
  EXPECT_DEATH(end(FileIOException(ErrorId::FileOpen, u"März.xml")),
               "^Could not open file: März.xml\nterminate called after throwing an instance of 'ZaM::FileIOException'");
  EXPECT_DEATH(end(1), "^terminate called after throwing an instance of 'int'");
  EXPECT_DEATH((DescribeUncaught(), std::terminate()), "^terminate called without an active exception");
}

}  // namespace
}  // namespace ZaM

#include "zam/platform/unicode.h"

#include <gtest/gtest.h>

#include <string>

namespace ZaM::platform {
namespace {

std::u16string FromCodePoint(char32_t point) {
  if (point < 0x10000) return {static_cast<char16_t>(point)};
  return {static_cast<char16_t>(0xD7C0 + (point >> 10)), static_cast<char16_t>(0xDC00 | (point & 0x3FF))};
}

TEST(Unicode, EveryCodePointSurvivesTheWayThereAndBack) {
  for (char32_t point = 0; point <= 0x10FFFF; ++point) {
    if (point == 0xD800) point = 0xE000;
    std::u16string const units = u'<' + FromCodePoint(point) + u'>';
    ASSERT_TRUE(Utf16FromUtf8(Utf8FromUtf16(units)) == units) << std::hex << std::uint32_t{point};
  }
}

TEST(Unicode, MalformedSequencesBecomeReplacementCharacters) {
  struct {
    std::string bytes;
    std::u16string expected;
  } const cases[] = {
      {"a\x80z", u"a\uFFFDz"},                            // continuation alone
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                      // overlong
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},            // overlong, second byte already impossible
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {"\xF0\x9F\x98z", u"\uFFFDz"},                      // cut off: one for what made sense so far
      {"\xE2\x82", u"\uFFFD"},                            // cut off by the end
      {"\xF5\xFF", u"\uFFFD\uFFFD"},                      // no first bytes
      {"\xF0\x90\xC3\xA4", u"\uFFFD\u00E4"},              // the byte that broke it begins a new one
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFDA"},  // as in the Unicode standard, table 3-8
  };
  for (auto const& [bytes, expected] : cases)
    EXPECT_TRUE(Utf16FromUtf8(bytes) == expected) << testing::PrintToString(bytes);
}

TEST(Unicode, FindsTheMalformedByteAnywhereInPlainText) {
  for (std::size_t place = 0; place < 40; ++place) {
    std::string bytes(40, 'a');
    std::u16string expected(40, u'a');
    bytes[place] = '\x80';
    expected[place] = u'\uFFFD';
    EXPECT_TRUE(Utf16FromUtf8(bytes) == expected) << place;
  }
}

TEST(Unicode, SurrogatesWithoutTheirOtherHalfBecomeReplacementCharacters) {
  EXPECT_EQ(Utf8FromUtf16(std::u16string{u'a', 0xD800, u'b'}),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(Utf8FromUtf16(std::u16string{0xDC00, 0xD83D, 0xDE00}), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(Utf8FromUtf16(std::u16string{0xD83D, 0xD83D}), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

}  // namespace
}  // namespace ZaM::platform

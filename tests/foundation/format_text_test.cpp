#include "zam/foundation/format_text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "zam/platform/unicode.h"

namespace ZaM::detail {
namespace {

wstring Format(wstring const& text, std::vector<FormatArgument> const& arguments = {}, std::size_t capacity = 1024) {
  return FormatText(text, arguments, capacity);
}

TEST(FormatText, PutsArgumentsInPlaceOfPlaceholders) {
  struct {
    wstring text;
    std::vector<FormatArgument> arguments;
    wstring expected;
  } const cases[] = {
      {u"%s and %s", {u"a", u"b"}, u"a and b"},
      {u"%s", {u"100% %s %%"}, u"100% %s %%"},  // an argument is never read as a text
      {u"100%% %s", {u"a"}, u"100% a"},
      {u"%s", {static_cast<wchar const*>(nullptr)}, u"(null)"},
      {u"%c%c", {u'\u00E4', 0x10041}, u"\u00E4A"},
      {u"[%5s|%-5s|%.2s|%5.1s]", {u"abc", u"abc", u"abc", u"abc"}, u"[  abc|abc  |ab|    a]"},

      // What has no argument, or none of its kind, stands as it is written.
      {u"%d %s %ld", {1}, u"1 %s %ld"},
      {u"%5d: %s, %s", {u"a", u"b"}, u"%5d: b, %s"},
      {u"%s %d", {7, 8}, u"%s 8"},
      {u"%", {u"a"}, u"%"},
      {u"%l", {u"a"}, u"%l"},
      {u"%*d %*s", {5, 6}, u"%*d %*s"},
      {u"%n %p %f %hs %lld %s", {u"a"}, u"%n %p %f %hs %lld a"},
  };
  for (auto const& [text, arguments, expected] : cases) {
    EXPECT_TRUE(Format(text, arguments) == expected)
        << platform::Utf8FromUtf16(text) << " gives " << platform::Utf8FromUtf16(Format(text, arguments));
  }
}

TEST(FormatText, CutsWhatDoesNotFit) {
  EXPECT_TRUE(Format(u"abcdef", {}, 4) == u"abc");
  EXPECT_TRUE(Format(u"%s%d", {u"ab", 1234}, 5) == u"ab12");
  EXPECT_TRUE(Format(u"a", {}, 1).empty());
  EXPECT_TRUE(Format(u"%99999999999999999999s|", {u"x"}, 6) == u"     ");
  EXPECT_TRUE(Format(u"%.99999999999999999999d|", {7}, 6) == u"00000");
  EXPECT_TRUE(Format(u"%-99999999999999999999s|", {u"x"}, 6) == u"x    ");
  EXPECT_EQ(Format(u"%s", {wstring(5000, u'x').c_str()}).size(), 1023u);
}

/// Every combination of flags, width, precision and conversion against the C library, on numbers at the edges.
TEST(FormatText, WritesNumbersAsTheCLibraryDoes) {
  std::mt19937 random(20240229);
  auto const pick = [&](auto const& choices) { return choices[random() % std::size(choices)]; };
  std::string const flags[] = {"", "-", "0", "+", " ", "#"}, widths[] = {"", "1", "7", "15"},
                    precisions[] = {"", ".", ".0", ".1", ".9", ".14"}, conversions[] = {"d", "i", "u", "x", "X", "o"};
  std::int32_t const numbers[] = {0, 1, -1, 7, 255, -4096, 2147483647, -2147483647 - 1, 123456789};
  for (int i = 0; i < 20'000; ++i) {
    std::string const form = "%" + pick(flags) + pick(flags) + pick(widths) + pick(precisions) + pick(conversions);
    std::int32_t const number = pick(numbers);
    char expected[64];
    std::snprintf(expected, sizeof expected, form.c_str(), number);
    ASSERT_EQ(platform::Utf8FromUtf16(Format(platform::Utf16FromUtf8(form), {number})), expected) << form;
  }
}

}  // namespace
}  // namespace ZaM::detail

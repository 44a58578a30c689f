#include "zam/foundation/strings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "tests/support/comma_locale.h"

namespace ZaM {
namespace {

using namespace std::string_literals;

TEST(Strings, AreSubstituted) {
  struct {
    wstring text, search, replacement, expected;
  } const cases[] = {
      {u"aXbXc", u"X", u"YY", u"aYYbYYc"},
      {u"aaa", u"aa", u"b", u"ba"},
      {u"abab", u"ab", u"ab", u"abab"},
      {u"ab", u"b", u"bb", u"abb"},
      {u"xaab", u"ab", u"", u"xa"},  // a false start before the occurrence
      {u"abc", u"X", u"Y", u"abc"},
      {u"", u"X", u"Y", u""},
      {u"abc", u"", u"Y", u"abc"},
      {u"aXb\0Xc"s, u"X", u"Y\0Z"s, u"aY\0Zb\0Xc"s},  // searches end at a zero unit, and nothing is lost
      {u"aXb", u"X\0b"s, u"-", u"a-b"},
      {u"a\0b"s, u"\0"s, u"-", u"a\0b"s},
  };
  for (auto const& [text, search, replacement, expected] : cases) {
    EXPECT_TRUE(Replace(text, search, replacement) == expected) << testing::PrintToString(text);
  }
}

TEST(Strings, LoseTheCharactersOfASet) {
  EXPECT_TRUE(DeleteStr(u"a-b_c-", u"-_") == u"abc");
  EXPECT_TRUE(DeleteStr(u"abc", u"") == u"abc");
  EXPECT_TRUE(DeleteStr(u"a\0b-c"s, u"-\0b"s) == u"a\0bc"s);
}

TEST(Strings, AreCutAtTheFirstSeparator) {
  struct {
    wstring text, separator;
    bool isFound;
    wstring left, right;
  } const cases[] = {
      {u"k=v=w", u"=", true, u"k", u"v=w"},       {u"k::", u"::", true, u"k", u""},
      {u"abc", u"=", false, u"old", u"older"},    {u"abc", u"", true, u"", u"abc"},
      {u"a\0=b"s, u"=", false, u"old", u"older"}, {u"a=b\0c"s, u"=\0x"s, true, u"a", u"b\0c"s},
  };
  for (auto const& [text, separator, isFound, expectedLeft, expectedRight] : cases) {
    wstring left = u"old";
    wstring right = u"older";
    EXPECT_EQ(Split(text, separator, left, right), isFound);
    EXPECT_TRUE(left == expectedLeft && right == expectedRight) << testing::PrintToString(text);
  }
  wstring text = u"k=v=w";
  wstring other = u"=";
  EXPECT_TRUE(Split(text, other, text, other));
  EXPECT_TRUE(text == u"k" && other == u"v=w") << "the outputs are the inputs";
  EXPECT_TRUE(Split(other, u"=", text, other));
  EXPECT_TRUE(text == u"v" && other == u"w");
}

TEST(Strings, NameALocatorAndWhatIsInIt) {
  struct {
    wstring name, first, second;
  } const cases[] = {{u"loc.field.x", u"loc", u"field.x"},
                     {u"loc", u"loc", u""},
                     {u".x", u".x", u""},
                     {u".a.b", u".a.b", u""},
                     {u"loc.", u"loc", u""},
                     {u"", u"", u""},
                     {u"a\0.b"s, u"a\0.b"s, u""}};
  for (auto const& [name, expectedFirst, expectedSecond] : cases) {
    wstring first = u"old";
    wstring second = name;  // may be the input, too
    SplitLocatorName(second, first, second);
    EXPECT_TRUE(first == expectedFirst && second == expectedSecond) << testing::PrintToString(name);
  }
}

TEST(Strings, KnowDigitsAndSeparators) {
  EXPECT_EQ(GetNumCount(u"a1b22/:09\uFF11\u0661"), 5);
  EXPECT_EQ(GetNumCount(u""), 0);
  struct {
    wchar character;
    wstring separators;
    bool expected;
  } const cases[] = {{0x4DFF, u"", false}, {0x4E00, u"", true},   {0x9FA5, u"", true}, {0x9FA6, u"", false},
                     {u',', u";,", true},  {u',', u"", false},    {0, u",", false},    {0, u",\0"s, false},
                     {u'あ', u"", false},  {u'b', u"\0b"s, false}};
  for (auto const& [character, separators, expected] : cases) {
    EXPECT_EQ(IsSeparator(character, separators), expected) << int{character};
  }
}

TEST(Strings, AreReadFromNarrowText) {
  struct {
    std::string text;
    wstring expected;
  } const cases[] = {{"", u""},
                     {"Gr\xC3\xBC\xC3\x9F\x65", u"Grüße"},
                     {"\xF0\x9F\x98\x80", u"\U0001F600"},
                     {"a\0b"s, u"a"},
                     {"a\xFF"
                      "b\xE2\x82",
                      u"a\uFFFDb\uFFFD"}};
  for (auto const& [text, expected] : cases) {
    wstring result = u"old";
    EXPECT_TRUE(ConvertA2W(text, result) && result == expected) << text;
    EXPECT_TRUE(ConvertA2W(text.c_str(), result) && result == expected) << text;
  }
  wstring result = u"old";
  EXPECT_FALSE(ConvertA2W(static_cast<char const*>(nullptr), result));
  EXPECT_TRUE(result == u"old");
}

TEST(Strings, AreWrittenAsNarrowTextOnlyAsAWhole) {
  struct {
    wstring text;
    std::string expected;
  } const cases[] = {{u"", ""},
                     {u"abc", "abc"},
                     {u"ü\U0001F600", "\xC3\xBC\xF0\x9F\x98\x80"},
                     {u"a\0b"s, "a\0b"s},
                     {{u'a', 0xD800, u'b', 0xDC00},
                      "a\xEF\xBF\xBD"
                      "b\xEF\xBF\xBD"}};
  for (auto const& [text, expected] : cases) {
    std::string result = "old";
    EXPECT_TRUE(ConvertW2A(text, result));
    EXPECT_EQ(result, expected);
    for (std::size_t size = 0; size <= expected.size() + 2; ++size) {
      std::string buffer(expected.size() + 3, '#');
      bool const isRoom = size > expected.size();
      std::string const written = isRoom ? expected + '\0' : "";
      EXPECT_EQ(ConvertW2A(text, buffer.data(), static_cast<std::int32_t>(size)), isRoom) << size;
      EXPECT_EQ(buffer, written + std::string(buffer.size() - written.size(), '#')) << size;
    }
  }
  char buffer = '#';
  EXPECT_FALSE(ConvertW2A(u"", &buffer, -1));
  EXPECT_FALSE(ConvertW2A(u"", nullptr, 1));
  EXPECT_EQ(buffer, '#');
}

/// Properties of case over all units, and cases known from the Unicode tables.
void ExpectEnglishCase() {
  struct {
    wchar lower, upper;
  } const pairs[] = {{u'i', u'I'}, {u'ä', u'Ä'},   {u'ÿ', u'Ÿ'}, {u'я', u'Я'},   {u'ω', u'Ω'},     {u'ā', u'Ā'},
                     {u'ⅷ', u'Ⅷ'}, {u'ｚ', u'Ｚ'}, {u'ß', u'ß'}, {u'中', u'中'}, {0xD801, 0xD801}, {0xDC28, 0xDC28}};
  for (auto const& [lower, upper] : pairs) {
    EXPECT_EQ(ZamToUpper(lower), upper) << int{lower};
    EXPECT_EQ(ZamToLower(upper), lower) << int{upper};
  }
  for (std::uint32_t i = 0; i < 0x10000; ++i) {
    auto const unit = static_cast<wchar>(i);
    auto const small = ZamToLower(unit);
    auto const capital = ZamToUpper(unit);
    ASSERT_TRUE(ZamToLower(small) == small && ZamToUpper(capital) == capital) << i << ": a second time changes nothing";
    if (i < 0x80) {
      auto const character = static_cast<int>(i);
      ASSERT_TRUE(small == std::tolower(character) && capital == std::toupper(character)) << i;
    }
    ASSERT_TRUE(i < 0xD800 || i >= 0xF900 || (small == unit && capital == unit)) << i;
    if (unit == 0) continue;
    wstring const text(2, unit);
    ASSERT_TRUE(ZamStrToLower(text) == wstring(2, small) && ZamStrToUpper(text) == wstring(2, capital)) << i;
    ASSERT_EQ(ZamStrICmp(text.c_str(), wstring(2, small).c_str()), 0) << i;
  }
}

TEST(Strings, HaveTheCaseOfEnglishUnderAnyLocale) {
  ExpectEnglishCase();
  test::CommaLocale const german;
  ExpectEnglishCase();
}

TEST(Strings, ChangeTheirCaseUpToTheTerminator) {
  EXPECT_TRUE(ZamStrToLower(u"ÄB\0CD"s) == u"äb\0CD"s);
  EXPECT_TRUE(ZamStrToUpper(u"äb\0cd"s) == u"ÄB\0cd"s);
  wchar buffer[] = u"Ab\0Cd";
  EXPECT_EQ(ZamChrToUpper(buffer, 3), 0);
  EXPECT_TRUE(wstring(buffer, 5) == u"AB\0Cd"s);
  EXPECT_EQ(ZamChrToLower(buffer, 6), 0);
  EXPECT_TRUE(wstring(buffer, 5) == u"ab\0Cd"s);
  for (unsigned int const size : {0u, 1u, 2u}) {
    EXPECT_NE(ZamChrToUpper(buffer, size), 0) << "no terminator among " << size;
    EXPECT_NE(ZamChrToLower(buffer + 3, size), 0) << "no terminator among " << size;
  }
  EXPECT_TRUE(wstring(buffer, 5) == u"ab\0Cd"s);
  EXPECT_NE(ZamChrToLower(nullptr, 3), 0);
}

TEST(Strings, SortInLowerCase) {
  wchar const* const sorted[] = {u"", u"A", u"a-", u"A_", u"aB", u"B", u"Ä", u"Я", u"\U0001F600"};
  for (auto const* const& a : sorted) {
    for (auto const* const& b : sorted) {
      int const order = ZamStrICmp(a, b);
      EXPECT_TRUE(&a < &b ? order < 0 : &a > &b ? order > 0 : order == 0);
    }
  }
  EXPECT_EQ(ZamStrICmp(u"Grüße aus ЯLTA", u"gRÜßE AUS яlta"), 0);
  EXPECT_LT(ZamStrICmp(u"_", u"Z"), 0) << "where capitals would sort before it";
}

}  // namespace
}  // namespace ZaM

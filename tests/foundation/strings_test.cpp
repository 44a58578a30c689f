#include "zam/foundation/strings.h"

#include <gtest/gtest.h>

#include <cctype>
#include <random>
#include <string>
#include <utility>

#include "tests/support/comma_locale.h"

namespace ZaM {
namespace {

using namespace std::string_literals;

TEST(Strings, AreSubstituted) {
  struct {
    wstring text, search, replacement, expected;
  } const cases[] = {
      {u"aXbXc", u"X", u"YY", u"aYYbYYc"},
      {u"ab", u"b", u"bb", u"abb"},  // what was put in isn't searched again
      {u"abc", u"", u"Y", u"abc"},
      {u"aXb\0Xc"s, u"X", u"Y\0Z"s, u"aY\0Zb\0Xc"s},  // searches end at a zero unit, and nothing is lost
      {u"aXb", u"X\0b"s, u"-", u"a-b"},
  };
  for (auto const& [text, search, replacement, expected] : cases) {
    EXPECT_EQ(Replace(text, search, replacement), expected);
  }
  EXPECT_EQ(DeleteStr(u"a-b_c-", u"-_"), u"abc");
  EXPECT_EQ(DeleteStr(u"a\0b-c"s, u"-\0b"s), u"a\0bc"s);
}

TEST(Strings, AreSearchedAsByThePlainWay) {
  std::mt19937 random(3);
  auto const anyText = [&](std::size_t most) {
    wstring text(random() % (most + 1), u'a');
    for (wchar& unit : text) unit = static_cast<wchar>(u'a' + random() % 2);
    return text;
  };
  for (int round = 0; round < 20'000; ++round) {
    wstring const text = anyText(24), sought = anyText(6) + u'a';
    wstring plain = text;
    for (std::size_t i = 0; (i = plain.find(sought, i)) != plain.npos; ++i) plain.replace(i, sought.size(), u"-");
    ASSERT_EQ(Replace(text, sought, u"-"), plain) << testing::PrintToString(text) << testing::PrintToString(sought);
    wstring left, right;
    bool const isFound = text.find(sought) != text.npos;
    ASSERT_EQ(Split(text, sought, left, right), isFound);
    ASSERT_TRUE(!isFound || (left == text.substr(0, text.find(sought)) && left + sought + right == text));
  }
}

// A plain search takes the product of both lengths: minutes.
TEST(Strings, AreSearchedInTimeThatFollowsTheirLength) {
  constexpr std::size_t length = 1'000'000;
  wstring const text(length, u'a');
  wstring const half(length / 2, u'a');
  EXPECT_EQ(Replace(text, half, u"b"), u"bb");
  EXPECT_EQ(Replace(text, half + u'b', u"").size(), length);
  EXPECT_EQ(DeleteStr(text, wstring(length, u'b')).size(), length);
  wstring left, right;
  EXPECT_FALSE(Split(text, half + u'b', left, right));
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
    EXPECT_EQ(left, expectedLeft);
    EXPECT_EQ(right, expectedRight);
  }
  wstring text = u"k=v=w", other = u"=";
  EXPECT_TRUE(Split(text, other, text, other));
  EXPECT_TRUE(text == u"k" && other == u"v=w") << "the outputs are the inputs";
  EXPECT_TRUE(Split(other, u"=", other, text));
  EXPECT_TRUE(other == u"v" && text == u"w");
}

TEST(Strings, NameALocatorAndWhatIsInIt) {
  struct {
    wstring name, first, second;
  } const cases[] = {{u"loc.field.x", u"loc", u"field.x"},
                     {u"loc", u"loc", u""},
                     {u".a.b", u".a.b", u""},
                     {u"loc.", u"loc", u""},
                     {u"a\0.b"s, u"a\0.b"s, u""}};
  for (auto const& [name, expectedFirst, expectedSecond] : cases) {
    wstring first = u"old", second = name;  // may be the input, too
    SplitLocatorName(second, first, second);
    EXPECT_EQ(first, expectedFirst);
    EXPECT_EQ(second, expectedSecond);
  }
}

TEST(Strings, KnowDigitsAndSeparators) {
  EXPECT_EQ(GetNumCount(u"a1b22/:09\uFF11\u0661"), 5);
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

TEST(Strings, AreReadFromNarrowTextThatMayBeMalformed) {
  std::pair<std::string, wstring> const cases[] = {
      {"", u""},
      {"Gr\xC3\xBC\xC3\x9F\x65", u"Grüße"},
      {"\xF0\x9F\x98\x80\0b"s, u"\U0001F600"},
      {"a\x80z", u"a\uFFFDz"},                            // continuation alone
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                      // overlong
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},            // overlong, second byte already impossible
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {"\xF0\x9F\x98z", u"\uFFFDz"},                      // cut off: one for what made sense so far
      {"g\xE2\x82", u"g\uFFFD"},                          // cut off by the end
      {"\xF5\xFF", u"\uFFFD\uFFFD"},                      // no first bytes
      {"\xF0\x90\xC3\xA4", u"\uFFFD\u00E4"},              // the byte that broke it begins a new one
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFDA"},
  };
  for (auto const& [text, expected] : cases) {
    // In front of it, plain text of any length.
    for (std::size_t length = 0; length < 20; ++length) {
      wstring result = u"old";
      EXPECT_TRUE(ConvertA2W(std::string(length, 'p') + text, result) && result == wstring(length, u'p') + expected);
      EXPECT_TRUE(ConvertA2W(text.c_str(), result) && result == expected) << text;
    }
  }
  wstring result = u"old";
  EXPECT_FALSE(ConvertA2W(static_cast<char const*>(nullptr), result));
  EXPECT_TRUE(result == u"old");
}

TEST(Strings, HoldEveryCharacterOnTheWayThereAndBack) {
  for (char32_t point = 1; point <= 0x10FFFF; ++point) {
    if (point == 0xD800) point = 0xE000;
    bool const isPair = point >= 0x10000;
    wstring units = {u'<', static_cast<wchar>(isPair ? 0xD7C0 + (point >> 10) : point), u'>'};
    if (isPair) units.insert(2, 1, static_cast<wchar>(0xDC00 | (point & 0x3FF)));
    std::string bytes;
    wstring back;
    ASSERT_TRUE(ConvertW2A(units, bytes) && ConvertA2W(bytes, back) && back == units) << std::uint32_t{point};
  }
}

TEST(Strings, AreWrittenAsNarrowTextOnlyAsAWhole) {
  std::pair<wstring, std::string> const cases[] = {{u"", ""},
                                                   {u"ü\U0001F600\0g"s, "\xC3\xBC\xF0\x9F\x98\x80\0g"s},
                                                   {{0xD800, u'g', 0xDC00}, "\xEF\xBF\xBDg\xEF\xBF\xBD"},
                                                   {{0xD83D, 0xD83D, 0xDE00}, "\xEF\xBF\xBD\xF0\x9F\x98\x80"}};
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
  wchar const pairs[][2] = {{u'i', u'I'}, {u'ä', u'Ä'},   {u'ÿ', u'Ÿ'}, {u'я', u'Я'},   {u'ω', u'Ω'},
                            {u'ⅷ', u'Ⅷ'}, {u'ｚ', u'Ｚ'}, {u'ß', u'ß'}, {u'中', u'中'}, {u'ǆ', u'Ǆ'}};
  for (auto const& [lower, upper] : pairs) {
    EXPECT_EQ(ZamToUpper(lower), upper);
    EXPECT_EQ(ZamToLower(upper), lower);
  }
  for (int i = 0; i < 0x10000; ++i) {
    auto const unit = static_cast<wchar>(i);
    auto const small = ZamToLower(unit), capital = ZamToUpper(unit);
    ASSERT_TRUE(ZamToLower(small) == small && ZamToUpper(capital) == capital) << i << ": a second time changes nothing";
    ASSERT_TRUE(i >= 0x80 || (small == std::tolower(i) && capital == std::toupper(i))) << i;
    ASSERT_TRUE(i < 0xD800 || i >= 0xF900 || (small == unit && capital == unit)) << i;
    wstring const text = {unit, 0, unit};  // only up to the terminator
    ASSERT_EQ(ZamStrToLower(text), (wstring{small, 0, unit}));
    ASSERT_EQ(ZamStrToUpper(text), (wstring{capital, 0, unit}));
    ASSERT_EQ(ZamStrICmp(text.c_str(), wstring{small}.c_str()), 0) << i;
  }
}

TEST(Strings, HaveTheCaseOfEnglishUnderAnyLocale) {
  ExpectEnglishCase();
  test::CommaLocale const german;
  ExpectEnglishCase();
}

TEST(Strings, ChangeTheirCaseWhereTheyStand) {
  wchar buffer[] = u"Ab\0Cd";
  EXPECT_EQ(ZamChrToUpper(buffer, 3), 0);
  EXPECT_EQ(wstring(buffer, 5), u"AB\0Cd"s);
  EXPECT_EQ(ZamChrToLower(buffer, 6), 0);
  for (unsigned int const size : {0u, 1u, 2u}) {
    EXPECT_NE(ZamChrToUpper(buffer, size), 0) << "no terminator among " << size;
    EXPECT_NE(ZamChrToLower(buffer + 3, size), 0) << "no terminator among " << size;
  }
  EXPECT_EQ(wstring(buffer, 5), u"ab\0Cd"s);
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
}

}  // namespace
}  // namespace ZaM

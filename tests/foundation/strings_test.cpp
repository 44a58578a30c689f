// Wide text: searched, cut, in another case, and from and to bytes.
#include "zam/foundation/strings.h"

#include <gtest/gtest.h>

#include <cctype>
#include <optional>
#include <random>

#include "tests/support/comma_locale.h"
#include "tests/support/failing_allocation.h"
#include "zam/foundation/text_encoding.h"

namespace ZaM {
namespace {

using namespace std::string_literals;

/// What a search in it sees: it ends at a zero unit.
wstring Seen(wstring const& text) {
  return text.substr(0, text.find(u'\0'));
}

TEST(Strings, AreSearchedAsByThePlainWay) {
  std::mt19937 random(3);
  auto const anyText = [&](std::size_t most) {
    wstring text(random() % (most + 1), u'a');
    for (wchar& unit : text) unit = u"aaaabbbb\0"[random() % 9];
    return text;
  };
  for (int round = 0; round < 20'000; ++round) {
    wstring const text = anyText(24), separator = anyText(6), put = anyText(3);
    wstring const seen = Seen(text), sought = Seen(separator), rest = text.substr(seen.size());
    wstring replaced = seen, deleted = text;
    for (std::size_t i = 0; !sought.empty() && (i = replaced.find(sought, i)) != wstring::npos; i += put.size()) {
      replaced.replace(i, sought.size(), put);
    }
    std::erase_if(deleted, [&](wchar unit) { return sought.find(unit) != wstring::npos; });
    ASSERT_EQ(Replace(text, separator, put), replaced + rest) << testing::PrintToString(text);
    ASSERT_EQ(DeleteStr(text, separator), deleted) << testing::PrintToString(text);

    std::size_t const at = seen.find(sought);
    wstring left = text, right = separator;  // the inputs may be the outputs
    bool const isFound = round % 2 == 0 ? Split(left, right, left, right) : Split(right = left, separator, left, right);
    ASSERT_EQ(isFound, at != wstring::npos) << testing::PrintToString(text);
    ASSERT_EQ(left, text.substr(0, at)) << testing::PrintToString(text);
    ASSERT_EQ(right, isFound ? text.substr(at + sought.size()) : round % 2 == 0 ? separator : text);
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
      {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80", u"\x80\u07FF\u0800\uD7FF\uE000"},
      {"\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0001F600\U0010FFFF"},
      {"a\x80z", u"a\uFFFDz"},                  // continuation alone
      {"\xC0\xAF", u"\uFFFD\uFFFD"},            // overlong
      {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},  // overlong, second byte already impossible
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {"\xF0\x9F\x98z", u"\uFFFDz"},                      // cut off: one for what made sense so far
      {"g\xE2\x82", u"g\uFFFD"},                          // cut off by the end
      {"\xF5\xFF", u"\uFFFD\uFFFD"},                      // no first bytes
      {"\xF0\x90\xC3\xA4", u"\uFFFD\u00E4"},              // the byte that broke it begins a new one
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFDA"},
  };
  for (auto const& [end, endOfText] : cases) {
    bool const isUtf8 = endOfText.find(u'\uFFFD') == wstring::npos;
    // Behind plain text of any length.
    for (std::size_t length = 0; length < 20; ++length) {
      std::string const bytes = std::string(length, 'p') + end;
      wstring const text = wstring(length, u'p') + endOfText;
      wstring fromText, fromArray;
      EXPECT_TRUE(ConvertA2W(bytes + "\0x"s, fromText) && fromText == text) << bytes;
      EXPECT_TRUE(ConvertA2W(bytes.c_str(), fromArray) && fromArray == text) << bytes;
      EXPECT_TRUE(FromUtf8(bytes + "\0x"s) == text + u"\0x"s) << bytes;
      EXPECT_TRUE(IsUtf8("\uFFFD" + bytes) == isUtf8 &&
                  DecodeText(bytes) == (isUtf8 ? std::optional(text) : std::nullopt))
          << bytes;
    }
  }
  wstring result = u"old";
  EXPECT_TRUE(!ConvertA2W(static_cast<char const*>(nullptr), result) && result == u"old");
}

TEST(Strings, AreDecodedAsTheMarkSaysOrElseTheName) {
  struct {
    std::string bytes, name;
    std::optional<wstring> text;
  } const cases[] = {
      {"\x80 5", "Windows_1252", u"€ 5"},
      {"\xEF\xBB\xBFä", "windows-1252", u"ä"},
      {"\xFF\xFEz\0\x3D\xD8\0\xDE"s, "UTF-8", u"z\U0001F600"},
      {"\xFE\xFF\0a"s, "utf8", u"a"},
      {"\xFF\xFE\0\0a\0\0\0"s, "UTF-8", u"a"},
      {"\0\0\xFE\xFF\0\1\xF6\0"s, "UTF-8", u"\U0001F600"},
      {"a\0b\0"s, "UTF-16LE", u"ab"},
      {"\xA4\xE9", "Big5", u"日"},
      {std::string(10'000, '\xE4'), "latin1", wstring(10'000, u'ä')},
      {"\xFF\xFEz", "UTF-8", {}},                // half a unit
      {"\xFF\xFE\0\xD8"s, "UTF-8", {}},          // half a pair
      {"\xFF\xFE\0\0\0\0\x11\0"s, "UTF-8", {}},  // above U+10FFFF
      {"\x93", "Shift_JIS", {}},                 // cut
      {"\xE4", "US-ASCII", {}},
      {"ä\xE4", "UTF8", {}},
  };
  for (auto const& [bytes, name, text] : cases) {
    EXPECT_TRUE(DecodeText(bytes, name) == text) << name << ' ' << testing::PrintToString(bytes);
  }
  for (std::string const& name : {""s, "UTF-9"s, "UTF-8\0"s}) {
    EXPECT_EQ(test::FailureId([&] { static_cast<void>(DecodeText("a", name)); }), ErrorId::InvalidArgument) << name;
  }
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
    ASSERT_EQ(ToUtf8(units), bytes);
  }
}

TEST(Strings, AreWrittenAsNarrowTextOnlyAsAWhole) {
  std::pair<wstring, std::string> const cases[] = {{u"", ""},
                                                   {u"ü\U0001F600\0g"s, "\xC3\xBC\xF0\x9F\x98\x80\0g"s},
                                                   {{0xD800, u'g', 0xDC00}, "\xEF\xBF\xBDg\xEF\xBF\xBD"},
                                                   {{0xD83D, 0xD83D, 0xDE00}, "\xEF\xBF\xBD\xF0\x9F\x98\x80"}};
  for (auto const& [text, expected] : cases) {
    std::string result = "old";
    EXPECT_TRUE(ConvertW2A(text, result) && result == expected && ToUtf8(text) == expected) << expected;
    for (std::size_t size = 0; size <= expected.size() + 2; ++size) {
      std::string buffer(expected.size() + 3, '#');
      bool const isRoom = size > expected.size();
      std::string const written = isRoom ? expected + '\0' : "";
      EXPECT_EQ(ConvertW2A(text, buffer.data(), static_cast<std::int32_t>(size)), isRoom) << size;
      EXPECT_EQ(buffer, written + std::string(buffer.size() - written.size(), '#')) << size;
    }
  }
  char buffer = '#';
  EXPECT_TRUE(!ConvertW2A(u"", &buffer, -1) && !ConvertW2A(u"", nullptr, 1) && buffer == '#');
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

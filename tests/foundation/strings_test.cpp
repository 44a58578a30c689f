// Wide text: searched, cut, in another case, from and to bytes, and as paths.
#include "zam/foundation/strings.h"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <cctype>
#include <optional>
#include <random>

#include "tests/support/comma_locale.h"
#include "tests/support/failing_allocation.h"
#include "zam/foundation/paths.h"
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
  std::pair<wstring, wstring> const cases[] = {{u"loc.field.x", u"loc|field.x"},
                                               {u"loc", u"loc|"},
                                               {u".a.b", u".a.b|"},
                                               {u"loc.", u"loc|"},
                                               {u"a\0.b"s, u"a\0.b|"s}};
  for (auto const& [name, expected] : cases) {
    wstring first = u"old", second = name;  // may be the input, too
    SplitLocatorName(second, first, second);
    EXPECT_EQ(first + u'|' + second, expected);
  }
}

TEST(Strings, KnowDigitsAndSeparators) {
  EXPECT_EQ(GetNumCount(u"a1b22/:09\uFF11\u0661"), 5);
  for (wchar const unit : {u'\u4E00', u'\u9FA5'}) EXPECT_TRUE(IsSeparator(unit, u""));
  for (wchar const unit : {u'\u4DFF', u'\u9FA6', u'あ', u',', u'\0'}) EXPECT_FALSE(IsSeparator(unit, u";\0,"s));
  EXPECT_TRUE(IsSeparator(u',', u";,"));
}

/// Most bytes and units are at the edges of what is well-formed. ICU is another reader and writer.
TEST(Strings, AreReadFromBytesAndWrittenAsAnotherLibraryDoes) {
  constexpr unsigned char edges[] = {0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0,
                                     0xE1, 0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xFF};
  constexpr wchar edgesOfUnits[] = {0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
  std::mt19937 random(5);
  for (int round = 0; round < 200'000; ++round) {
    std::string bytes(random() % 20, 'p'), written;
    for (auto n = random() % 24; n > 0; --n) {
      bytes += static_cast<char>(n % 2 == 0 ? edges[random() % std::size(edges)] : 0x80 + random() % 64);
    }
    auto const byIcu = icu::UnicodeString::fromUTF8(bytes);
    wstring const text(byIcu.getBuffer(), static_cast<std::size_t>(byIcu.length()));
    bool const isUtf8 = text.find(u'\uFFFD') == wstring::npos;
    wstring fromText, fromArray;
    ASSERT_TRUE(ConvertA2W(bytes + "\0x"s, fromText) && fromText == text) << testing::PrintToString(bytes);
    ASSERT_TRUE(ConvertA2W(bytes.c_str(), fromArray) && fromArray == text) << testing::PrintToString(bytes);
    ASSERT_EQ(FromUtf8(bytes + "\0x"s), text + u"\0x"s) << testing::PrintToString(bytes);
    ASSERT_EQ(IsUtf8("\uFFFD" + bytes), isUtf8) << testing::PrintToString(bytes);
    ASSERT_EQ(DecodeText(bytes), isUtf8 ? std::optional(text) : std::nullopt) << testing::PrintToString(bytes);

    wstring units = text;
    for (auto n = random() % 8; n > 0; --n) units += edgesOfUnits[random() % std::size(edgesOfUnits)];
    std::string const expected = icu::UnicodeString(units.data(), static_cast<int>(units.size())).toUTF8String(written);
    ASSERT_TRUE(ToUtf8(units) == expected && ConvertW2A(units, written) && written == expected);
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
      {"\xA4\xE9", "Big5", u"日"},
      {std::string(10'000, '\xE4'), "latin1", wstring(10'000, u'ä')},
      {"\xFF\xFEz", "UTF-8", {}},                // half a unit
      {"\xFF\xFE\0\xD8"s, "UTF-8", {}},          // half a pair
      {"\xFF\xFE\0\0\0\0\x11\0"s, "UTF-8", {}},  // above U+10FFFF
      {"\x93", "Shift_JIS", {}},                 // cut
      {"ä\xE4", "UTF8", {}},
  };
  for (auto const& [bytes, name, text] : cases) {
    EXPECT_TRUE(DecodeText(bytes, name) == text) << name << ' ' << testing::PrintToString(bytes);
  }
  for (std::string const& name : {""s, "UTF-9"s, "UTF-8\0"s}) {
    EXPECT_EQ(test::FailureId([&] { static_cast<void>(DecodeText("a", name)); }), ErrorId::InvalidArgument) << name;
  }
}

TEST(Strings, AreWrittenIntoABufferOnlyAsAWhole) {
  std::string const expected = "\xC3\xBC\xF0\x9F\x98\x80\0g"s;
  wstring const text = FromUtf8(expected);
  for (std::size_t size = 0; size <= expected.size() + 2; ++size) {
    std::string buffer(expected.size() + 3, '#');
    bool const isRoom = size > expected.size();
    std::string const written = isRoom ? expected + '\0' : "";
    EXPECT_EQ(ConvertW2A(text, buffer.data(), static_cast<std::int32_t>(size)), isRoom) << size;
    EXPECT_EQ(buffer, written + std::string(buffer.size() - written.size(), '#')) << size;
  }
  char buffer = '#';
  EXPECT_TRUE(!ConvertW2A(u"", &buffer, -1) && !ConvertW2A(u"", nullptr, 1) && buffer == '#');
}

// Properties of case over all units, and cases known from the Unicode tables.
TEST(Strings, HaveTheCaseOfEnglishUnderAnyLocale) {
  test::CommaLocale const german;
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

TEST(Paths, CutsAtTheLastBackslashAlone) {
  struct {
    wstring path, folder, name;
  } const cases[] = {{u"a\\b\\c.txt", u"a\\b", u"c.txt"}, {u"c.txt", u"", u"c.txt"}, {u"a/b/c.txt", u"", u"a/b/c.txt"},
                     {u"a\\b\\", u"a\\b", u""},           {u"\\x", u"", u"x"},       {u"", u"", u""}};
  for (auto const& [path, folder, name] : cases) {
    EXPECT_TRUE(GetFolder(path) == folder && ZamGetDirectoryFromFilename(path) == folder);
    EXPECT_TRUE(GetPureFileName(path) == name);
  }
}

TEST(Paths, ComparesFoldersWithoutCaseAndAtAnyLength) {
  wstring const path = u"C:\\D\u00C4ta\\x.txt";
  EXPECT_TRUE(CheckFolder(path, u"c:\\d\u00E4TA") && CheckFolder(u"x.txt", u""));
  EXPECT_FALSE(CheckFolder(path, u"c:\\d\u00E4TA\\") || CheckFolder(path, u"c:\\d\u00E4T"));
  EXPECT_TRUE(CheckFolder(wstring(1000, u'a') + u"\\x", wstring(1000, u'A')));
}

TEST(Paths, TellsWhatTwoPathsHaveInCommonAndTheWayBetweenThem) {
  struct {
    wstring a, b, prefix, way;
  } const cases[] = {{u"C:\\a\\b", u"c:\\A\\c\\d", u"C:\\a", u"..\\c\\d"},
                     {u"C:\\a", u"C:\\a\\b\\c", u"C:\\a", u".\\b\\c"},
                     {u"C:\\a\\b\\", u"C:\\a", u"C:\\a", u".."},
                     {u"C:\\ab", u"C:\\ac", u"C:\\", u"..\\ac"},
                     {u"\\a\\b", u"\\c", u"\\", u"..\\..\\c"},
                     {u"\\\\s\\a\\x", u"\\\\s\\a\\y", u"\\\\s\\a", u"..\\y"},
                     {u"\\\\s\\x", u"\\\\t\\x", u"", u""},
                     {u"C:\\a", u"D:\\a", u"", u""},
                     {u"a\\\\b", u"a\\\\c", u"a", u"..\\c"},
                     {u"", u"", u"", u""}};
  for (auto const& [a, b, prefix, way] : cases) {
    wchar result[260] = {u'?'};
    EXPECT_TRUE(ZamPathCommonPrefix(a, b, result) && result == prefix) << testing::PrintToString(a);
    EXPECT_TRUE(ZamPathRelativePathTo(result, a, b) && result == way) << testing::PrintToString(a);
  }
}

TEST(Paths, StaysInsideTheBuffer) {
  for (std::size_t const length : {259u, 260u, 5000u}) {
    wstring const path(length, u'a');
    wstring buffer(261, u'#');
    ZamPathCommonPrefix(path, path, buffer.data());
    EXPECT_TRUE(wstring(buffer.c_str()) == (length < 260 ? path : u""));
    ZamPathRelativePathTo(buffer.data(), u"x", u"x\\" + path);
    EXPECT_EQ(wstring(buffer.c_str()).size(), 0u) << "with `.\\` in front even the first is too long";
    EXPECT_TRUE(buffer[260] == u'#');
  }
  EXPECT_TRUE(ZamPathCommonPrefix(u"a", u"a", nullptr));
}

}  // namespace
}  // namespace ZaM

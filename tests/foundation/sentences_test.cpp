// What exceptions and the formatter say. Beside these tests lie no satellites, so that all sentences are the built-in
// ones.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <random>
#include <thread>

#include "tests/support/comma_locale.h"
#include "tests/support/failing_allocation.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/format_text.h"
#include "zam/foundation/hresult.h"
#include "zam/foundation/uncaught.h"
#include "zam/platform/unicode.h"

namespace ZaM {
namespace {

static_assert(!std::is_base_of_v<std::exception, BaseException>);
static_assert(std::has_virtual_destructor_v<BaseException>);

wstring Said(BaseException const& failure) {
  return failure.GetErrorDescription();
}

using Base = BaseException;
using Bounds = OutOfBoundsException;
using Format = XMLFormatException;
using File = FileIOException;
using Canceled = UserCanceledException;
using Collection = CollectionException;
using System = WinOperationException;

// What is only a row of errors.def has one case for its class; the others are what a class makes of it.
TEST(Exceptions, SpeakOfTheirDetailUpToTheCapacityOfTheirClass) {
  constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
  wstring const words(3000, u'x');
  auto const cut = [&](wstring const& front, std::size_t size) { return (front + words).substr(0, size); };
  std::pair<wstring, wstring> const cases[] = {
      {Said(Base(ErrorId::InvalidArgument, u"count")), u"Invalid argument: count."},
      {Said(Base(ErrorId::InvalidArgument)), u"Invalid argument specified."},
      {Said(Base(25, u"no %s, 100%")), u"no %s, 100%"},
      {Said(Base(37)), u"Failed to load form definition, because preprocessing method '' is not installed."},
      {Said(Base(53)), u"The settings are incomplete: %s"},
      {Said(Base(4001)), u"ZaM exception number 4001"},
      {Said(Bounds(8, 7, 5)), u"Zam-Exception: Index (7) out of range (0 - 4). "},
      {Said(Bounds(8, 0, least)), u"Zam-Exception: Index (0) out of range (0 - 2147483647). "},
      {Said(LimitExceededException(u"50% of %s", ~0ull, 0)),
       u"Limit exceeded: 50% of %s (18446744073709551615, at most 0)"},
      {Said(File(2003, u"a%20b%s.xml")), u"Could not open file: a%20b%s.xml"},
      {Said(File(-7, u"a%s.xml")), u"FileIOException -7, Filename: a%s.xml"},
      {Said(Canceled(21)), u"Training canceled by user"},
      {Said(Canceled(5)), u"ZaM exception number 5"},
      {Said(Collection(1001, 3, 0)), u"Zam-Exception: Index (3) out of range (0 - -1). "},
      {Said(Collection(1002, 0)), u"Item with Id #0 not found."},
      {Said(Collection(5, 1, 2)), u"Unknown collection exception #5."},
      {Said(XmlException(3002, u"unused")), u"Canot close the XML node."},
      {Said(System(100, u"mkdir", ENOENT)), u"Win operation \"mkdir\" failed. Error: 2 - No such file or directory"},
      {Said(System(100, u"50%d %s", 0x80070005)),
       u"Win operation \"50%d %s\" failed. Error: -2147024891 - "},  // no error of this system
      {Said(System(100)), u"Win operation \"\" failed. Error: 0 - Success"},
      {Said(System(5, u"mkdir", ENOENT)), u"Out of memory"},
      {Said(Base(25, words)), words},
      {Said(Format(11, words)), cut(u"Invalid XML format for node '", 127)},
      {Said(Collection(1003, words)), cut(u"Item with name '", 255)},
      {Said(File(7, words)), u"FileIOException 7, Filename: " + words},
      {Said(System(100, words, ENOENT)), cut(u"Win operation \"", 511)},
      {HResultToString(0, words, u""), cut(u"Error in ", 255)},
  };
  for (auto const& [said, expected] : cases) EXPECT_EQ(said, expected) << platform::Utf8FromUtf16(said);
}

TEST(Exceptions, ALimitIsExceededAboveItAlone) {
  RequireAtMost(u"passes", 20, 20);
  try {
    RequireAtMost(u"passes", 21, 20);
    FAIL();
  } catch (LimitExceededException const& failure) {
    EXPECT_TRUE(failure.GetErrorId() == 4001 && failure.GetWhat() == u"passes");
    EXPECT_TRUE(failure.GetValue() == 21 && failure.GetLimit() == 20);
  }
}

TEST(Exceptions, TakeTheSystemsTextInTheLanguageAndEncodingOfTheLocale) {
  test::CommaLocale const german;
  wstring const sentence = u"Win operation \"read\" failed. Error: 11 - Die Ressource ist zur Zeit nicht verfügbar";
  EXPECT_EQ(Said(System(100, u"read", EAGAIN)), sentence);
  ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);  // has no ü
  EXPECT_TRUE(Said(System(100, u"read", EAGAIN)).starts_with(sentence.substr(0, sentence.find(u'ü'))));
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

TEST(HResultToString, MakesALineOfTheNumberOrTheDescriptionThatWaits) {
  auto const line = [](std::uint32_t hr) { return HResultToString(static_cast<std::int32_t>(hr), u"a%s", u"Load"); };
  for (auto const* const description : {u"first", u"disk %d full"}) SetErrorInfo(description);
  std::thread([&] { EXPECT_EQ(line(0), u"Error in a%s, Function Load: Unknown error (0x0)"); }).join();
  EXPECT_EQ(line(0x80004005), u"Error in a%s, Function Load: disk %d full (0x80004005)");
  EXPECT_EQ(line(0x80004005), u"Error in a%s, Function Load: Unspecified error (0x80004005)") << "taken away";

  wstring description;
  wstring const words = u"a description that needs memory of its own";
  auto const hasNone = [&] { EXPECT_FALSE(GetErrorInfo(description)); };
  EXPECT_GT(test::FailEachAllocation([&] { SetErrorInfo(words); }, hasNone, {.mayKeepMemory = true}), 0u);
  auto const describe = [] { static_cast<void>(HResultToString(-1, u"place", u"call")); };
  EXPECT_GT(test::FailEachAllocation(describe, [&] { hasNone(), SetErrorInfo(words); }, {.mayKeepMemory = true}), 0u);
  hasNone();
}

wstring Formatted(wstring const& text, std::vector<detail::FormatArgument> const& arguments, std::size_t size = 1024) {
  return detail::FormatText(text, arguments, size);
}

TEST(FormatText, PutsArgumentsInPlaceOfPlaceholders) {
  wstring const words(5000, u'x');
  struct {
    wstring text;
    std::vector<detail::FormatArgument> arguments;
    wstring expected;
    std::size_t size = 1024;
  } const cases[] = {
      {u"%s", {u"100% %s %%"}, u"100% %s %%"},  // an argument is never read as a text
      {u"100%% %c%c", {u'\u00E4', 0x10041}, u"100% \u00E4A"},
      {u"[%5s|%-5s|%.2s|%5.1s]", {u"abc", u"abc", u"abc", u"abc"}, u"[  abc|abc  |ab|    a]"},
      {u"%s", {static_cast<wchar const*>(nullptr)}, u"(null)"},

      // What has no argument, or none of its kind, stands as it is written.
      {u"%d %s %ld", {1}, u"1 %s %ld"},
      {u"%5d: %s, %s", {u"a", u"b"}, u"%5d: b, %s"},
      {u"%s %d", {7, 8}, u"%s 8"},
      {u"%", {u"a"}, u"%"},
      {u"%*d %*s", {5, 6}, u"%*d %*s"},
      {u"%n %p %f %hs %lld %s", {u"a"}, u"%n %p %f %hs %lld a"},

      // What doesn't fit is cut.
      {u"abcdef", {}, u"abc", 4},
      {u"%s%d", {u"ab", 1234}, u"ab12", 5},
      {u"%99999999999999999999s|", {u"x"}, u"     ", 6},
      {u"%.99999999999999999999d|", {7}, u"00000", 6},
      {u"%s", {words.c_str()}, words.substr(0, 1023)},
  };
  for (auto const& [text, arguments, expected, size] : cases) {
    EXPECT_EQ(Formatted(text, arguments, size), expected) << platform::Utf8FromUtf16(text);
  }
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
    ASSERT_EQ(platform::Utf8FromUtf16(Formatted(platform::Utf16FromUtf8(form), {number})), expected) << form;
  }
}

}  // namespace
}  // namespace ZaM

#include "zam/foundation/regex.h"

#include <gtest/gtest.h>

#include <boost/regex.hpp>
#include <chrono>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/run_on_stack.h"

namespace ZaM {
namespace {

using Places = std::vector<std::pair<int, int>>;  // positions and lengths

Places Find(Regex& regex, wstring const& text) {
  Places places;
  _Match const* match = regex.Match(text);
  for (; match->matched; match = match->next) places.emplace_back(match->position, match->length);
  EXPECT_TRUE(match->position == -1 && match->length == -1 && !match->next);
  return places;
}

Places Find(wstring const& pattern, wstring const& text, bool ignoreCase = false) {
  Regex regex(pattern, ignoreCase);
  return Find(regex, text);
}

TEST(Regex, FindsEachMatchInATextOfItsOwn) {
  struct {
    wstring pattern, text;
    Places expected;
  } const cases[] = {
      {u"a", u"banana", {{1, 1}, {3, 1}, {5, 1}}},
      {u".", u"\U0001F600", {{0, 1}, {1, 1}}},
      {u"\U0001F600", u"a\U0001F600", {{1, 2}}},
      {u"a\\x{0}b|\\x{444F}", {u'a', 0, u'b', 0x444F}, {{0, 3}, {3, 1}}},
      {u"[[:alpha:]]+", u"Grüße, Ялта! 漢字", {{0, 5}, {7, 4}, {13, 2}}},
      {u"\\w+", u"ä_٣ \U0001F600", {{0, 3}}},
      {u"\\d+", u"a1٣４²b", {{1, 3}}},
      {u"\\D", u"1b", {{1, 1}}},
      {u"(?:[\\s])+", u"a\u00A0\u2028\u2029\x85\t", {{1, 5}}},
      {u"\\h\\v", u" \n", {{0, 2}}},
      {u"[[:punct:]]+", u"a$.€“", {{1, 4}}},
      {u"[[:lower:]][[:upper:]]", u"äÄяЯ", {{0, 2}, {2, 2}}},
      {u"[[:unicode:]]", u"ÿĀ", {{1, 1}}},
      {u"[[:xdigit:]]+", u"gFf9", {{1, 3}}},
      {u"[[=e=]]+", u"aeÉěa", {{1, 3}}},
      {u"[[.comma.][.я.]]+", u"a,я", {{1, 2}}},
      {u"\\0179", u"\u000F9", {{0, 2}}},
      {u"[а-я]+", u"xялтаx", {{1, 4}}},
  };
  for (auto const& [pattern, text, expected] : cases) {
    EXPECT_EQ(Find(pattern, text), expected) << testing::PrintToString(pattern);
  }
}

TEST(Regex, HeedsCaseUnlessToldOtherwise) {
  struct {
    wstring pattern, text;
    std::size_t heeding, ignoring;
  } const cases[] = {{u"A", u"aA", 1, 2}, {u"Ялта", u"яЛТА", 0, 1},     {u"[ä-ö]", u"ÄÖ", 0, 2},
                     {u"ÿ", u"Ÿ", 0, 1},  {u"[[:upper:]]", u"ä", 0, 1}, {u"(ä)\\1", u"äÄ", 0, 1},
                     {u"ß", u"S", 0, 0}};
  for (auto const& [pattern, text, heeding, ignoring] : cases) {
    EXPECT_EQ(Find(pattern, text, false).size(), heeding) << testing::PrintToString(pattern);
    EXPECT_EQ(Find(pattern, text, true).size(), ignoring) << testing::PrintToString(pattern);
  }
}

/// What the engine itself, over bytes, finds in ASCII; nothing and -1 for a malformed pattern.
Places FindInBytes(std::string const& pattern, std::string const& text) try {
  boost::regex const expression(pattern);
  Places places;
  auto start = text.begin();
  for (boost::smatch what;
       boost::regex_search(start, text.end(), what, expression, boost::regex_constants::match_not_initial_null);
       start = what[0].second) {
    places.emplace_back(what[0].first - text.begin(), what[0].length());
  }
  return places;
} catch (boost::regex_error const&) {
  return {{-1, -1}};
}

TEST(Regex, AgreesWithTheEngineOverBytes) {
  std::mt19937 random(7);
  std::string const pieces[] = {
      "a",       "b",     "B",     ".",           "^",           "$",           "|",           "(",          ")",
      "*",       "+",     "?",     "*?",          "{1,2}",       "[ab]",        "[^a]",        "\\w",        "\\W",
      "\\b",     "\\d",   "\\s",   "[A-Z]",       "[[:alpha:]",  "(?=b)",       "(?<=a)",      "\\1",        "\\K",
      "(?i:aB)", "\\x61", "\\101", "[[:print:]]", "[[:graph:]]", "[[:punct:]]", "[[:cntrl:]]", "[[:blank:]]"};
  int malformed = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string pattern;
    for (auto n = 1 + random() % 6; n > 0; --n) pattern += pieces[random() % std::size(pieces)];
    std::string text;
    for (auto n = random() % 9; n > 0; --n) text += "aabB1 \n\r\t-"[random() % 10];
    Places found;
    try {
      found = Find(wstring(pattern.begin(), pattern.end()), wstring(text.begin(), text.end()));
    } catch (boost::regex_error const&) {
      found = {{-1, -1}};
      ++malformed;
    }
    ASSERT_EQ(found, FindInBytes(pattern, text)) << pattern << " on " << text;
  }
  EXPECT_GT(malformed, 1000);
}

TEST(Regex, HandsOverTheEnginesOwnExceptionAndStaysUsable) {
  for (wchar const* const malformed :
       {u"(", u"[", u"a{2,1}", u"*", u"\\x{110000}", u"[[:ä:]]", u"[[.comm\u0161.]]", u"\\"}) {
    EXPECT_THROW(Regex(malformed, true), boost::regex_error) << testing::PrintToString(malformed);
  }
  EXPECT_THROW(Regex(wstring(100'000, u'('), false), boost::regex_error);

  Regex range(u"[Z-a]", true);  // upside down in lower case
  for (int i = 0; i < 2; ++i) EXPECT_THROW(range.Match(u"a"), boost::regex_error);
}

wstring Repeated(std::size_t times, wstring const& text) {
  wstring all;
  while (times-- > 0) all += text;
  return all;
}

// Each pattern beside a text that it may still take its time for, and one that would take seconds to days.
TEST(Regex, GivesUpInProportionToTheText) {
  struct {
    wstring pattern, accepted;
    std::size_t count;
    wstring refused;
  } const cases[] = {
      {u"(a+)+$", wstring(100'000, u'a'), 1, wstring(100'000, u'a') + u'!'},
      {u"((((a*)*)*)*)*b", wstring(1'000, u'a') + u'b', 1, wstring(100'000, u'a')},  // states that read nothing
      {u"a*a*!|a", wstring(200, u'a'), 200, wstring(100'000, u'a')},    // each search stays within its own bound
      {u".*.*!|a", wstring(100, u'a'), 100, wstring(9'000, u'a')},      // reads without looking where it is
      {u"(?>a+|c)b", wstring(2'500, u'a'), 0, wstring(200'000, u'a')},  // one state reads all the rest
      {u"(?>a+|c)b", Repeated(10'000, wstring(40, u'a') + u'!'), 0, Repeated(1'000, wstring(400, u'a') + u'!')},
  };
  for (auto const& [pattern, accepted, count, refused] : cases) {
    auto const start = std::chrono::steady_clock::now();
    Regex regex(pattern, false);
    EXPECT_EQ(Find(regex, accepted).size(), count) << testing::PrintToString(pattern);
    EXPECT_THROW(regex.Match(refused), boost::regex_error) << testing::PrintToString(pattern);
    EXPECT_EQ(Find(regex, u"\n").size(), 0u) << "usable again";
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(1));
  }
}

TEST(Regex, DestroysAMillionMatchesOnASmallStack) {
  std::size_t count = 0;
  test::RunOnStack(256 * 1024, [&] {
    Regex regex(u"a", false);
    count = Find(regex, wstring(1'000'000, u'a')).size() + Find(regex, u"aa").size();
  });
  EXPECT_EQ(count, 1'000'002u);
  auto* const head = new _Match(nullptr, 0, 1, true);
  new _Match(new _Match(head, 1, 1, true), -1, -1, false);
  EXPECT_EQ(head->next->next->position, -1);
  delete head;
}

}  // namespace
}  // namespace ZaM

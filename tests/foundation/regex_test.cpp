#include "zam/foundation/regex.h"

#include <gtest/gtest.h>

#include <boost/regex.hpp>
#include <chrono>
#include <random>
#include <sstream>

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
      {u".", u"\U0001F600", {{0, 1}, {1, 1}}},
      {u"a\\x{0}b|\\x{444F}", {u'a', 0, u'b', 0x444F}, {{0, 3}, {3, 1}}},
      {u"[[:alpha:]]+", u"Grüße, Ялта! 漢字", {{0, 5}, {7, 4}, {13, 2}}},
      {u"\\w+\\d+", u"ä_٣1٣４² \U0001F600", {{0, 6}}},
      {u"(?:[\\s])+", u"a\u00A0\u2028\u2029\x85\t", {{1, 5}}},
      {u"\\h\\v", u" \n", {{0, 2}}},
      {u"[[:punct:]]+", u"a$.€“", {{1, 4}}},
      {u"[[:lower:]][[:upper:]]", u"äÄяЯ", {{0, 2}, {2, 2}}},
      {u"[[:unicode:]]", u"ÿĀ", {{1, 1}}},
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

/// What the engine itself, over bytes, finds in ASCII.
Places FindInBytes(std::string const& pattern, std::string const& text) {
  boost::regex const expression(pattern);
  boost::smatch what;
  Places places;
  for (auto start = text.begin();
       boost::regex_search(start, text.end(), what, expression, boost::regex_constants::match_not_initial_null);
       start = what[0].second) {
    places.emplace_back(what[0].first - text.begin(), what[0].length());
  }
  return places;
}

template <class Search>
Places ResultOf(Search search) try {
  return search();
} catch (boost::regex_error const&) {
  return {{-1, -1}};  // of a malformed pattern
}

TEST(Regex, AgreesWithTheEngineOverBytes) {
  std::istringstream list(
      R"(a b B . ^ $ | ( ) * + ? *? {1,2} [ab] [^a] \w \W \b \d \D \s [A-Z] [[:alpha:] (?=b) (?<=a) \1 \K
      (?i:aB) \x61 \101 [[:print:]] [[:graph:]] [[:punct:]] [[:cntrl:]] [[:blank:]] [[:xdigit:]])");
  std::vector<std::string> const pieces(std::istream_iterator<std::string>(list), {});
  std::mt19937 random(7);
  for (int round = 0; round < 20'000; ++round) {
    std::string pattern, text;
    for (auto n = 1 + random() % 6; n > 0; --n) pattern += pieces[random() % pieces.size()];
    for (auto n = random() % 9; n > 0; --n) text += "aabB1 \n\r\t-"[random() % 10];
    wstring const widePattern(pattern.begin(), pattern.end()), wideText(text.begin(), text.end());
    ASSERT_EQ(ResultOf([&] { return Find(widePattern, wideText); }),
              ResultOf([&] { return FindInBytes(pattern, text); }))
        << pattern << " on " << text;
  }
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

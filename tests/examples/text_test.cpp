#include <gtest/gtest.h>

#include <map>
#include <string>

#include "fold.h"
#include "number_text.h"
#include "term_extractor.h"
#include "utf8.h"

namespace classify {
namespace {

TEST(Fold, HashesAsThePublishedVectorsSay) {
  struct {
    char const* text;
    std::uint32_t hash;
  } const vectors[] = {{"", 0x811C9DC5},    {"a", 0xE40C292C},      {"b", 0xE70C2DE5},
                       {"foo", 0xA9F37ED7}, {"foobar", 0xBF9CF968}, {"chongo was here!\n", 0xD49930D5}};
  for (auto const& [text, hash] : vectors) EXPECT_EQ(Fnv1a(text), hash) << text;
  EXPECT_EQ(Fnv1a("\xE9"), (2166136261U ^ 0xE9U) * 16777619U) << "bytes are unsigned";
  EXPECT_EQ(FoldOf("foobar"), 0xBF9CF968 % 5);
}

TEST(Utf8, MakesAnyNamePrintable) {
  EXPECT_EQ(Printable("b\xC3\xA4r"), "b\xC3\xA4r");
  EXPECT_EQ(Printable("a\tb\\\x1B[2J\xFF\xC2\x85"), "a\\x09b\\x5C\\x1B[2J\\xFF\\xC2\\x85");
  EXPECT_EQ(Printable("\xEF\xBF\xBF"), "\\xEF\\xBF\\xBF");
  EXPECT_EQ(Right("\xC3\xA4", 3), "  \xC3\xA4");
}

TEST(NumberText, GroupsAndRounds) {
  EXPECT_EQ(Grouped(0), "0");
  EXPECT_EQ(Grouped(999), "999");
  EXPECT_EQ(Grouped(1234567), "1,234,567");
  EXPECT_EQ(Fixed(-0.126, 2), "-0.13");
  EXPECT_EQ(Percent(1, 8), "12.5 %");
  EXPECT_EQ(Percent(0, 0), "-");
}

// How often each kind of term occurs, and how many different ones there are.
std::map<TermKind, std::pair<int, int>> KindsOf(Terms const& terms) {
  std::map<TermKind, std::pair<int, int>> kinds;
  for (Term const& term : terms) {
    kinds[term.kind].first += term.count;
    ++kinds[term.kind].second;
  }
  return kinds;
}

TEST(TermExtractor, FindsWordsPairsAndFragments) {
  using Kinds = std::map<TermKind, std::pair<int, int>>;
  constexpr TermKind word = TermKind::Word;
  constexpr TermKind pair = TermKind::Pair;
  constexpr TermKind fragment = TermKind::Fragment;
  struct {
    char16_t const* text;
    Kinds kinds;
  } const cases[] = {
      {u"", {}},
      {u"\u0915\u0E01 ... 7", {}},                      // nothing that the filter knows
      {u"Abcd", {{word, {1, 1}}, {fragment, {3, 3}}}},  // 0abc abcd bcd0
      {u"ab, AB! ab", {{word, {3, 1}}, {pair, {2, 1}}, {fragment, {3, 1}}}},
      {u"\u6F22\u5B57", {{word, {2, 2}}, {pair, {1, 1}}, {fragment, {4, 4}}}},  // two ideographs without a blank
      {u"ab \u0640 cd", {{word, {2, 2}}, {pair, {1, 1}}, {fragment, {2, 2}}}},  // a word of dropped marks alone
  };
  TermExtractor extractor(2, false);
  for (auto const& [text, kinds] : cases) EXPECT_EQ(KindsOf(extractor.Extract(text)), kinds) << ZaM::ToUtf8(text);
  EXPECT_EQ(TermExtractor(1, false).Extract(u"x ab").size(), 4U)
      << "x, ab, the pair, and the whole of ab as a fragment";
  EXPECT_EQ(TermExtractor(1, true).Extract(u"7").size(), 1U);
}

}  // namespace
}  // namespace classify

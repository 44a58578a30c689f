#include "zam/text/ascii_text_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/ref.h"

namespace ZaM {
namespace {

using Numbers = std::vector<std::int32_t>;

/// Bytes as the numbers they stand for.
Numbers ToNumbers(char const* bytes, std::size_t count) {
  Numbers numbers;
  for (std::size_t i = 0; i < count; ++i) numbers.push_back(static_cast<unsigned char>(bytes[i]));
  return numbers;
}

struct Case {
  char const* name;
  std::u16string text;
  unsigned char minWordLen;
  unsigned int outSize;
  Numbers stream;
  Numbers positions;
};

unsigned int const plenty = 64;

Case const wideCases[] = {
    {"two words", u"ab cd", 1, plenty, {0, 26, 27, 0, 28, 29, 0}, {0, 0, 1, 2, 3, 4, 5}},
    {"all too short", u"ab cd", 3, plenty, {0}, {0}},
    {"no text", u"", 1, plenty, {0}, {0}},
    {"first entry points before the first word", u"  ab", 1, plenty, {0, 26, 27, 0}, {1, 2, 3, 4}},
    {"a short word leaves no trace", u"a1 b", 2, plenty, {0, 26, 17, 0}, {0, 0, 1, 2}},
    {"minimum length 0 is 1", u"a, b ,", 0, plenty, {0, 26, 0, 27, 0}, {0, 0, 1, 3, 4}},
    {"minimum length is unsigned", u"abc", 200, plenty, {0}, {0}},
    {"a zero separates", std::u16string(u"a\0b", 3), 1, plenty, {0, 26, 0, 27, 0}, {0, 0, 1, 2, 3}},
    {"kana", u"\u3042\u3043", 1, plenty, {0, 26, 37, 36, 0, 26, 37, 37, 0}, {0, 0, 0, 0, 0, 1, 1, 1, 1}},
    {"short run before an ideograph", u"ab\u3042cd", 3, plenty, {0, 26, 27, 26, 37, 36, 0}, {0, 0, 1, 2, 2, 2, 2}},
    {"dropped mark", u"a\u0640b", 1, plenty, {0, 26, 27, 0}, {0, 0, 2, 3}},
    {"dropped marks count", u"\u0640a\u0640", 3, plenty, {0, 26, 0}, {0, 1, 2}},
    {"dropped mark alone", u"\u0640", 1, plenty, {0}, {0}},
    {"dropped mark and blank", u"\u0640 ", 1, plenty, {0, 0}, {0, 1}},
    {"surrogate pair",
     u"x \xD840\xDC00 y",
     1,
     plenty,
     {0, 49, 0, 53, 32, 42, 53, 56, 42, 0, 50, 0},
     {0, 0, 1, 2, 2, 2, 3, 3, 3, 3, 5, 6}},
    {"high surrogate and letters",
     u"\xD840 \xD840q",
     9,
     plenty,
     {0, 53, 32, 42, 0, 53, 32, 42, 42, 0},
     {0, 0, 0, 0, 1, 2, 2, 2, 3, 4}},
    {"low surrogate alone", u"\xDC00q", 1, plenty, {0, 53, 56, 42, 0, 42, 0}, {0, 0, 0, 0, 0, 1, 2}},
    {"highest ideograph", u"\uFAFF", 1, plenty, {0, 58, 54, 57, 0}, {0, 0, 0, 0, 0}},
    {"cut word", u"abcdefghij", 1, 6, {0, 26, 27, 28, 29, 0}, {0, 0, 1, 2, 3, 4}},
    {"no room for an ideograph", u"ab\u3042\u3043", 1, 8, {0, 26, 27, 0}, {0, 0, 1, 2}},
    {"room for one ideograph", u"ab\u3042\u3043", 1, 12, {0, 26, 27, 26, 37, 36, 0}, {0, 0, 1, 2, 2, 2, 2}},
    {"letters go on where an ideograph didn't fit", u"ab\u3042cd", 1, 8, {0, 26, 27, 28, 29, 0}, {0, 0, 1, 3, 4, 5}},
    {"no room for a word", u"ab", 1, 3, {0}, {0}},
    {"room for the first byte", u"ab", 1, 1, {0}, {0}},
    {"no room", u"ab", 1, 0, {}, {}},
};

Case const narrowCases[] = {
    {"accents fold", u"\u00E4\u00C4\u00C5\u00E0x", 1, plenty, {0, 30, 30, 31, 0, 49, 0}, {0, 0, 1, 2, 3, 4, 5}},
    {"many words fit length + 2 bytes",
     u"a b c d e f",
     1,
     13,
     {0, 26, 0, 27, 0, 28, 0, 29, 0, 30, 0, 31, 0},
     {0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
    {"words that fit", u"ab cd ef", 1, 9, {0, 26, 27, 0, 28, 29, 0}, {0, 0, 1, 2, 3, 4, 5}},
    {"the first that doesn't fit ends it", u"ab cdefgh i", 1, 7, {0, 26, 27, 0}, {0, 0, 1, 2}},
    {"exactly", u"ab cd", 1, 7, {0, 26, 27, 0, 28, 29, 0}, {0, 0, 1, 2, 3, 4, 5}},
    {"no room for a word", u"ab", 1, 3, {0}, {0}},
    {"room for the first byte", u"ab", 1, 1, {0}, {0}},
    {"no room", u"ab", 1, 0, {}, {}},
};

/// Runs both forms of a filtering, and expects the same stream from both and nothing behind it.
template <class Filter, class FilterWithPositions>
void ExpectStream(Case const& expected, Filter filter, FilterWithPositions filterWithPositions) {
  SCOPED_TRACE(expected.name);
  std::string const untouched(plenty, '#');
  std::string out = untouched;
  auto size = filter(out.data());
  EXPECT_EQ(ToNumbers(out.data(), size), expected.stream);
  EXPECT_EQ(out.substr(size), untouched.substr(size));

  Numbers positions(7, -1);
  out = untouched;
  size = filterWithPositions(out.data(), positions);
  EXPECT_EQ(ToNumbers(out.data(), size), expected.stream);
  EXPECT_EQ(out.substr(size), untouched.substr(size));
  EXPECT_EQ(positions, expected.positions);
}

TEST(AsciiTextFilter, Filters16BitText) {
  for (Case const& one : wideCases) {
    Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(one.minWordLen, true));
    auto const length = static_cast<unsigned int>(one.text.size());
    ExpectStream(
        one, [&](char* out) { return filter->FilterTextW(one.text.data(), length, out, one.outSize); },
        [&](char* out, Numbers& positions) {
          return filter->FilterTextW(one.text.data(), length, out, one.outSize, positions);
        });
    TextFilter& contract = *filter;
    ExpectStream(
        one, [&](char* out) { return contract.FilterText(one.text.data(), length, out, one.outSize); },
        [&](char* out, Numbers& positions) {
          return contract.FilterText(one.text.data(), length, out, one.outSize, positions);
        });
  }
}

TEST(AsciiTextFilter, FiltersBytes) {
  for (Case const& one : narrowCases) {
    Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(one.minWordLen, true));
    std::string const text(one.text.begin(), one.text.end());
    auto const length = static_cast<unsigned int>(text.size());
    ExpectStream(
        one, [&](char* out) { return filter->FilterTextA(text.data(), length, out, one.outSize); },
        [&](char* out, Numbers& positions) {
          return filter->FilterTextA(text.data(), length, out, one.outSize, positions);
        });
  }
}

TEST(AsciiTextFilter, TakesNullForNothing) {
  Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, true));
  char out = '#';
  Numbers positions(3);
  EXPECT_EQ(filter->FilterTextA(nullptr, 0, &out, 1, positions), 1u);
  EXPECT_EQ(filter->FilterTextW(nullptr, 0, &out, 1), 1u);
  EXPECT_EQ(out, 0);
  EXPECT_EQ(positions, Numbers{0});
  EXPECT_EQ(filter->FilterTextA("a", 1, nullptr, 0), 0u);
  EXPECT_EQ(filter->FilterTextW(u"a", 1, nullptr, 0, positions), 0u);
  EXPECT_EQ(positions, Numbers{});
}

TEST(AsciiTextFilter, BelievesTheGreatestSize) {
  Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, true));
  char out[5];
  EXPECT_EQ(filter->FilterTextW(u"\u3042", 1, out, 0xFFFFFFFF), 5u);
  EXPECT_EQ(filter->FilterTextA("abc", 3, out, 0xFFFFFFFF), 5u);
}

TEST(AsciiTextFilter, ChangesTheMinimumLengthAlone) {
  Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, true));
  char out[plenty];
  filter->SetMinWordLen(2);
  EXPECT_EQ(filter->GetMinWordLen(), 2);
  EXPECT_EQ(ToNumbers(out, filter->FilterTextA("a 12", 4, out, plenty)), (Numbers{0, 17, 18, 0}));
}

TEST(AsciiTextFilter, CountsReferences) {
  auto* const filter = AsciiTextFilter::Create(3, true);
  EXPECT_EQ(filter->AddRefCount(), 2);
  EXPECT_EQ(filter->Release(), 1);
  EXPECT_EQ(filter->Release(), 0);
}

TEST(AsciiTextFilter, CopiesItsSettingsItsTablesAndItsCount) {
  auto* const source = AsciiTextFilter::Create(2, false);
  source->AddRefCount();
  auto* const copy = new AsciiTextFilter(*source);
  EXPECT_EQ(copy->AddRefCount(), 3);
  auto* const assigned = AsciiTextFilter::Create(9, true);
  source->Release();
  *assigned = *copy;
  EXPECT_EQ(assigned->Release(), 2);
  *assigned = *source;
  source->SetUseDigits(true);
  char out[plenty];
  for (auto* const filter : {copy, assigned}) {
    EXPECT_EQ(ToNumbers(out, filter->FilterTextA("ab1c de", 7, out, plenty)), (Numbers{0, 26, 27, 0, 29, 30, 0}));
  }
  EXPECT_EQ(source->Release(), 0);
  EXPECT_EQ(assigned->Release(), 0);
  while (copy->Release() > 0) continue;
}

TEST(AsciiTextFilter, ReportsThatMemoryRanOut) {
  EXPECT_EQ(test::FailEachAllocation([] { AsciiTextFilter::Create(1, true)->Release(); }, [] {}), 1u);

  Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, true));
  std::string const text(5000, 'a');
  std::u16string const wide(5000, u'\u3042');
  std::vector<char> out(20006);
  Numbers positions;
  auto const growsNarrow = [&] {
    Numbers().swap(positions);
    filter->FilterTextA(text.data(), 5000, out.data(), 5002, positions);
  };
  auto const growsWide = [&] {
    Numbers().swap(positions);
    filter->FilterTextW(wide.data(), 5000, out.data(), 20006, positions);
  };
  auto const staysValid = [&] { EXPECT_LE(positions.size(), 20001u); };
  EXPECT_GT(test::FailEachAllocation(growsNarrow, staysValid), 1u);
  EXPECT_GT(test::FailEachAllocation(growsWide, staysValid), 1u);
  EXPECT_EQ(positions.size(), 20001u);
}

}  // namespace
}  // namespace ZaM

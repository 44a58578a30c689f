// Every way to filter gives what the plain rules give: step by step, on every kernel, and on models of those that this
// machine may lack the instructions for.
#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>

#include "fuzz/every_kernel.h"
#include "tests/support/failing_allocation.h"
#include "zam/foundation/ref.h"

namespace ZaM {
namespace {

using test::Settings;

/// Text whose words, gaps and oddities are short or about as long as a block by chance.
template <class Unit>
struct TextMaker {
  std::size_t Below(std::size_t bound) { return engine() % bound; }

  template <std::size_t count>
  Unit OneOf(char16_t const (&units)[count], std::size_t bound = count) {
    return static_cast<Unit>(units[Below(bound)]);
  }

  std::basic_string<Unit> Make(std::size_t length) {
    constexpr bool wide = sizeof(Unit) > 1;
    std::basic_string<Unit> text;
    bool const withIdeographs = wide && Below(2) == 0;
    while (text.size() < length) {
      text.append(Below(20) == 0 ? 50 + Below(90) : 1 + Below(9),
                  OneOf(u"aZ7\u00E4\u0436\u03B1\u05D0\u0627\u06D4\u0640\u05B0", wide ? 11 : 4));
      if (Below(8) == 0) text += static_cast<Unit>(engine());
      for (auto n = withIdeographs && Below(3) == 0 ? 1 + Below(9) : 0; n > 0; --n) text += OneOf(ideographs);
      if (Below(12) != 0) text.append(Below(6) == 0 ? 1 + Below(70) : 1 + Below(2), Unit{' '});
    }
    text.resize(length);
    return text;
  }

  static constexpr char16_t ideographs[] = {0x3042, 0x4E00, 0xAC00, 0xFAFF, 0xD840, 0xDBFF, 0xDC00, 0x0640, u'x'};
  std::mt19937 engine{1};
};

class EveryKernel : public testing::TestWithParam<test::Kernel> {
 protected:
  void SetUp() override {
    if (!GetParam().runs) GTEST_SKIP() << "This processor has no instructions for " << GetParam().name << ".";
  }

  template <class Unit>
  void ExpectPlainStream(std::basic_string<Unit> const& text, Settings settings) {
    AsciiTextFilter& user = *filters[settings.useDigits];
    user.SetMinWordLen(static_cast<unsigned char>(settings.minWordLen));
    ASSERT_EQ(test::Difference(user, GetParam(), text, settings, test::FilterPlainly(text, settings)), "")
        << text.size() << " units, minimum length " << settings.minWordLen << ", size " << settings.outSize;
  }

  template <class Unit>
  void ExpectPlainStreamsOfRandomTexts() {
    constexpr unsigned int minWordLens[] = {0, 1, 2, 3, 4, 7, 31, 62, 63, 64, 65, 128, 255};
    TextMaker<Unit> maker;
    for (int round = 0; round < 1500 && !HasFatalFailure(); ++round) {
      auto const text = maker.Make(maker.Below(round % 50 == 0 ? 6000 : round % 2 == 0 ? 70 : 300));
      Settings settings{minWordLens[maker.Below(round % 3 == 0 ? 13 : 4)], maker.Below(4) != 0, 0};
      settings.outSize = static_cast<std::int64_t>(4 * text.size() + 3);
      auto const needed = test::FilterPlainly(text, settings).Size();
      ExpectPlainStream(text, settings);
      for (auto const size : {needed, needed - 1, needed + 2 - static_cast<std::int64_t>(maker.Below(12)),
                              static_cast<std::int64_t>(maker.Below(12))}) {
        settings.outSize = std::max<std::int64_t>(size, 0);
        ExpectPlainStream(text, settings);
      }
    }
  }

  Ref<AsciiTextFilter> filters[2]{Ref(AsciiTextFilter::Create(1, false)), Ref(AsciiTextFilter::Create(1, true))};
};

INSTANTIATE_TEST_SUITE_P(TextFilter, EveryKernel, testing::ValuesIn(test::Kernels()),
                         [](auto const& tested) { return tested.param.name; });

TEST_P(EveryKernel, FiltersAsThePlainRulesDo) {
  ExpectPlainStreamsOfRandomTexts<char>();
  ExpectPlainStreamsOfRandomTexts<wchar>();
  // At the end of the text a word is left open, whose last unit writes nothing.
  for (int size = 0; size < 30; ++size) ExpectPlainStream<wchar>(u"abcdefgh \xD840\u0640", {1, true, size});
}

// FNV-1a over the symbols of all units, without digits and with them. If this differs, stored words have become
// worthless.
TEST(SymbolTable, StaysAsItIsForEver) {
  std::uint64_t checksum = 0xCBF29CE484222325;
  for (int i = 0; i < 0x20000; ++i) {
    checksum = (checksum ^ test::SymbolOf(static_cast<wchar>(i), i >= 0x10000)) * 0x100000001B3;
  }
  EXPECT_EQ(checksum, 0x39EF12AAC730615EU);
}

TEST_P(EveryKernel, GivesEveryCharacterItsSymbol) {
  for (bool const useDigits : {true, false}) {
    std::string bytes;
    for (int unit = 0; unit < 0x100; ++unit) bytes += {static_cast<char>(unit), ' '};
    ExpectPlainStream(bytes, {1, useDigits, 1000});
    std::u16string units;
    for (int unit = 0; unit < 0x10000; ++unit) units += {static_cast<wchar>(unit), u' '};
    ExpectPlainStream(units, {1, useDigits, 1'000'000});
  }
}

/// Streams told by hand, for the plain rules too.
TEST(PlainRules, FilterKnownTexts) {
  struct {
    std::u16string text;
    Settings settings;
    std::vector<unsigned char> bytes;
    std::vector<std::int32_t> positions;
  } const cases[] = {
      {u"  ab cd", {1, true, 64}, {0, 26, 27, 0, 28, 29, 0}, {1, 2, 3, 4, 5, 6, 7}},
      {u"a1 b", {2, true, 64}, {0, 26, 17, 0}, {0, 0, 1, 2}},
      {u"\u3042\u3043", {1, true, 64}, {0, 26, 37, 36, 0, 26, 37, 37, 0}, {0, 0, 0, 0, 0, 1, 1, 1, 1}},
      {u"ab\u3042cd", {3, true, 64}, {0, 26, 27, 26, 37, 36, 0}, {0, 0, 1, 2, 2, 2, 2}},
      {u"\u0640a\u0640", {3, true, 64}, {0, 26, 0}, {0, 1, 2}},
      {u"\u0640 ", {1, true, 64}, {0, 0}, {0, 1}},
      {u"x \xD840\xDC00 y",
       {1, true, 64},
       {0, 49, 0, 53, 32, 42, 53, 56, 42, 0, 50, 0},
       {0, 0, 1, 2, 2, 2, 3, 3, 3, 3, 5, 6}},
      {u"abcdefghij", {1, true, 6}, {0, 26, 27, 28, 29, 0}, {0, 0, 1, 2, 3, 4}},
      {u"ab\u3042cd", {1, true, 8}, {0, 26, 27, 28, 29, 0}, {0, 0, 1, 3, 4, 5}},
      {u"ab", {1, true, 0}, {}, {}},
  };
  for (auto const& [text, settings, bytes, positions] : cases) {
    auto const plain = test::FilterPlainly(text, settings);
    EXPECT_EQ(plain.bytes, bytes);
    EXPECT_EQ(plain.positions, positions);
  }
  EXPECT_EQ(test::FilterPlainly("\xC4\xE0 cdefgh i", {1, true, 9}).bytes, (std::vector<unsigned char>{0, 30, 0}));
}

TEST(AsciiTextFilter, TakesNullForNothingAndBelievesTheGreatestSize) {
  Ref<TextFilter> const filter(AsciiTextFilter::Create(1, true));
  char out[5] = "#";
  std::vector<std::int32_t> positions(3);
  EXPECT_EQ(filter->FilterTextA("a", 1, nullptr, 0), 0u);
  EXPECT_EQ(filter->FilterText(u"a", 1, nullptr, 0, positions), 0u);
  EXPECT_EQ(positions, std::vector<std::int32_t>{});
  EXPECT_EQ(filter->FilterTextA(nullptr, 0, out, 1, positions), 1u);
  EXPECT_EQ(filter->FilterText(nullptr, 0, out, 1), 1u);
  EXPECT_EQ(positions, std::vector<std::int32_t>{0});
  EXPECT_EQ(filter->FilterTextW(u"\u3042", 1, out, 0xFFFFFFFF), 5u);
  EXPECT_EQ(filter->FilterTextA("abc", 3, out, 0xFFFFFFFF), 5u);
}

TEST(AsciiTextFilter, CopiesItsSettingsItsTablesAndItsCount) {
  std::ptrdiff_t const blocks = test::LiveBlocks();
  auto* const source = AsciiTextFilter::Create(2, false);
  source->AddRefCount();
  auto* const copy = new AsciiTextFilter(*source);
  auto* const assigned = AsciiTextFilter::Create(9, true);
  *assigned = *copy;
  source->SetUseDigits(true);
  source->SetMinWordLen(3);
  for (auto* const filter : {copy, assigned}) {
    char out[9];
    EXPECT_EQ(std::string(out, filter->FilterTextA("ab1c de", 7, out, 9)), std::string("\0\x1A\x1B\0\x1D\x1E\0", 7));
    EXPECT_EQ(filter->AddRefCount(), 3);
  }
  for (auto* const filter : {source, copy, assigned}) {
    while (filter->Release() > 0) continue;
  }
  EXPECT_EQ(test::LiveBlocks(), blocks);
}

TEST(AsciiTextFilter, RebuildsItsTablesAndShowsTheSameBytesWithDigitsAndWithout) {
  std::string expected(256, '_');
  std::iota(&expected[16], &expected[26], '0');
  std::iota(&expected[26], &expected[52], 'A');
  std::iota(&expected[52], &expected[58], '\xDA');
  Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, true));
  for (bool const useDigits : {true, false, true}) {
    filter->SetUseDigits(useDigits);
    char out[9];
    EXPECT_EQ(filter->FilterTextW(u"1\u0661\u06F9", 3, out, 9), useDigits ? 5u : 1u);
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(filter->GetAlphaNum()), 256), expected);
    EXPECT_EQ(filter->GetMinSymbol(), 16u);
    EXPECT_EQ(filter->GetSymbolCount(), 208u);
  }
}

TEST(AsciiTextFilter, ReportsThatMemoryRanOut) {
  EXPECT_EQ(test::FailEachAllocation([] { AsciiTextFilter::Create(1, true)->Release(); }, [] {}), 1u);

  Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, true));
  std::u16string const wide(5000, u'\u3042');
  std::vector<char> out(20006);
  std::vector<std::int32_t> positions;
  auto const grow = [&] {
    std::vector<std::int32_t>().swap(positions);
    filter->FilterTextW(wide.data(), 5000, out.data(), 20006, positions);
  };
  auto const isBounded = [&] { EXPECT_LE(positions.size(), 20001u); };
  EXPECT_GT(test::FailEachAllocation(grow, isBounded, {.mayKeepMemory = true}), 2u);
  EXPECT_EQ(positions.size(), 20001u);
}

}  // namespace
}  // namespace ZaM

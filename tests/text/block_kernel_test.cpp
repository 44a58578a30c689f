// Every way to filter gives what the plain rules give: step by step, and in blocks on every kernel of this machine.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/text/every_kernel.h"
#include "zam/foundation/ref.h"

namespace ZaM {
namespace {

template <class Unit>
void ExpectPlainStream(std::basic_string<Unit> const& text, test::Settings settings) {
  auto const minWordLen = static_cast<unsigned char>(settings.minWordLen);
  Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(minWordLen, settings.useDigits));
  ASSERT_EQ(test::DifferenceFromPlainRules(*filter, text, settings), "")
      << text.size() << " units, minimum length " << settings.minWordLen << ", size " << settings.outSize;
}

/// Text whose words, gaps and oddities are short or as long as a block by chance.
template <class Unit>
class TextMaker {
 public:
  explicit TextMaker(unsigned int seed) : engine(seed) {}

  std::size_t Below(std::size_t bound) { return engine() % bound; }

  std::basic_string<Unit> Make(std::size_t length) {
    std::basic_string<Unit> text;
    bool const withIdeographs = Below(2) == 0;
    while (text.size() < length) {
      text.append(Below(20) == 0 ? 50 + Below(90) : 1 + Below(9), Letter());
      if (Below(8) == 0) text += static_cast<Unit>(engine());
      if (sizeof(Unit) > 1 && withIdeographs && Below(3) == 0) AppendIdeographs(text);
      if (Below(12) != 0) text.append(Below(6) == 0 ? 1 + Below(70) : 1 + Below(2), Unit{' '});
    }
    text.resize(length);
    return text;
  }

 private:
  Unit Letter() {
    constexpr unsigned int letters[] = {'a', 'Z', '7', 0xE4, 0x0436, 0x03B1, 0x05D0, 0x0627, 0x06D4, 0x0640, 0x05B0};
    return static_cast<Unit>(letters[Below(sizeof(Unit) > 1 ? std::size(letters) : 4)]);
  }

  void AppendIdeographs(std::basic_string<Unit>& text) {
    constexpr unsigned int ideographs[] = {0x3042, 0x4E00, 0xAC00, 0xFAFF, 0xD840, 0xDBFF, 0xDC00, 0x0640, 'x'};
    for (auto count = 1 + Below(9); count > 0; --count)
      text += static_cast<Unit>(ideographs[Below(std::size(ideographs))]);
  }

  std::mt19937 engine;
};

template <class Unit>
void ExpectPlainStreamsOfRandomTexts(unsigned int seed) {
  constexpr unsigned int minWordLens[] = {0, 1, 2, 3, 4, 7, 31, 62, 63, 64, 65, 128, 255};
  TextMaker<Unit> maker(seed);
  for (int round = 0; round < 500 && !testing::Test::HasFatalFailure(); ++round) {
    auto const text = maker.Make(maker.Below(round % 10 == 0 ? 6000 : 500));
    test::Settings settings{minWordLens[maker.Below(std::size(minWordLens))], maker.Below(4) != 0, 0};
    if (round % 2 == 0) settings.minWordLen %= 4;
    settings.outSize = static_cast<std::int64_t>(4 * text.size() + 3);
    ExpectPlainStream(text, settings);
    auto const needed = test::FilterPlainly(std::basic_string_view<Unit>(text), settings).Size();
    for (auto const size :
         {needed + 2, needed, needed - 1, needed - 7, needed / 2, static_cast<std::int64_t>(maker.Below(12))}) {
      if (size >= 0) ExpectPlainStream(text, {settings.minWordLen, settings.useDigits, size});
    }
  }
}

TEST(BlockKernel, FiltersBytesAsThePlainRulesDo) {
  ExpectPlainStreamsOfRandomTexts<char>(1);
}

TEST(BlockKernel, Filters16BitTextAsThePlainRulesDo) {
  ExpectPlainStreamsOfRandomTexts<wchar>(2);
}

/// Streams told by hand, for the plain rules too.
TEST(BlockKernel, FiltersKnownTexts) {
  struct {
    std::u16string text;
    test::Settings settings;
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
    auto const plain = test::FilterPlainly(std::u16string_view(text), settings);
    EXPECT_EQ(plain.bytes, bytes);
    EXPECT_EQ(plain.positions, positions);
    ExpectPlainStream(text, settings);
  }
  std::string const narrow = "\xC4\xE0 cdefgh i";
  EXPECT_EQ(test::FilterPlainly(narrow, {1, true, 9}).bytes, (std::vector<unsigned char>{0, 30, 0}));
  ExpectPlainStream(narrow, {1, true, 9});
}

TEST(BlockKernel, FindsWordsOfAnyLengthAtAnyPlaceOfABlock) {
  constexpr std::size_t lengths[] = {1, 2, 61, 62, 63, 64, 65, 126, 127, 128, 129, 254, 255, 256};
  for (auto const length : lengths) {
    for (std::size_t before = 0; before < 66; ++before) {
      auto const text = std::string(before, ' ') + std::string(length, 'a') + " b " + std::string(140, ',') + "cd";
      for (std::size_t const minWordLen : {length - 1, length, length + 1}) {
        auto const clipped = static_cast<unsigned int>(std::min<std::size_t>(minWordLen, 255));
        ExpectPlainStream(text, {clipped, true, static_cast<std::int64_t>(text.size()) + 2});
        std::u16string wide(text.begin(), text.end());
        ExpectPlainStream(wide, {clipped, true, 2000});
        wide[before + length] = u'\u3042';  // the word's last letter touches an ideograph
        ExpectPlainStream(wide, {clipped, true, 2000});
        wide[before + length] = u' ';
        wide[before] = u'\xD840';  // its second letter does
        ExpectPlainStream(wide, {clipped, true, 2000});
      }
    }
  }
}

}  // namespace
}  // namespace ZaM

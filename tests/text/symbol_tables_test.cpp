// Every character's symbol, as a program finds it in the stream.
#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <string>
#include <vector>

#include "tests/text/plain_filter.h"
#include "zam/foundation/ref.h"
#include "zam/text/ascii_text_filter.h"

namespace ZaM {
namespace {

/// The symbol of the one character before a separator, by what the filter makes of it: 241 for an ideograph.
unsigned int SymbolIn(std::array<char, 8> const& stream, unsigned int size) {
  switch (size) {
    case 1:
      return 0;
    case 2:
      return 1;
    case 3:
      return static_cast<unsigned char>(stream[1]);
    default:
      return 241;
  }
}

unsigned int NarrowSymbol(AsciiTextFilter& filter, unsigned int byte) {
  std::array<char, 8> stream;
  char const text[] = {static_cast<char>(byte), ' '};
  return SymbolIn(stream, filter.FilterTextA(text, 2, stream.data(), stream.size()));
}

unsigned int WideSymbol(AsciiTextFilter& filter, unsigned int unit) {
  std::array<char, 8> stream;
  wchar const text[] = {static_cast<wchar>(unit), u' '};
  return SymbolIn(stream, filter.FilterTextW(text, 2, stream.data(), stream.size()));
}

void ExpectAllSymbols(AsciiTextFilter& filter, bool useDigits) {
  for (unsigned int byte = 0; byte < 0x100; ++byte) {
    ASSERT_EQ(NarrowSymbol(filter, byte), test::SymbolOfLatin1(byte, useDigits)) << std::hex << byte;
  }
  for (unsigned int unit = 0; unit < 0x10000; ++unit) {
    ASSERT_EQ(WideSymbol(filter, unit), test::SymbolOf(static_cast<wchar>(unit), useDigits)) << std::hex << unit;
  }
}

TEST(SymbolTables, GiveEveryCharacterItsSymbolWithDigitsAndWithout) {
  for (bool const useDigits : {true, false}) {
    Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, useDigits));
    ExpectAllSymbols(*filter, useDigits);
  }
}

TEST(SymbolTables, AreRebuiltByOneFilterWithoutTouchingAnother) {
  Ref<AsciiTextFilter> const changed(AsciiTextFilter::Create(1, true));
  Ref<AsciiTextFilter> const other(AsciiTextFilter::Create(1, true));
  changed->SetUseDigits(false);
  EXPECT_FALSE(changed->GetUseDigits());
  ExpectAllSymbols(*changed, false);
  ExpectAllSymbols(*other, true);
  changed->SetUseDigits(true);
  ExpectAllSymbols(*changed, true);
}

TEST(SymbolTables, ShowTheSameBytesWithDigitsAndWithout) {
  std::string expected(256, '_');
  std::iota(&expected[16], &expected[26], '0');
  std::iota(&expected[26], &expected[52], 'A');
  std::iota(&expected[52], &expected[58], '\xDA');
  for (bool const useDigits : {true, false}) {
    Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, useDigits));
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(filter->GetAlphaNum()), 256), expected);
    EXPECT_EQ(filter->GetMinSymbol(), 16u);
    EXPECT_EQ(filter->GetSymbolCount(), 208u);
  }
}

TEST(SymbolTables, EncodeEveryIdeographInBase40) {
  Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, true));
  for (unsigned int unit = 0; unit < 0x10000; ++unit) {
    if (test::SymbolOf(static_cast<wchar>(unit), true) != 241) continue;
    auto const number = unit - 0x2E80;
    std::string const expected{0, static_cast<char>(number / 1600 + 26), static_cast<char>(number / 40 % 40 + 26),
                               static_cast<char>(number % 40 + 26), 0};
    wchar const text = static_cast<wchar>(unit);
    std::array<char, 8> stream;
    auto const size = filter->FilterTextW(&text, 1, stream.data(), stream.size());
    ASSERT_EQ(std::string(stream.data(), size), expected) << std::hex << unit;
  }
}

}  // namespace
}  // namespace ZaM

// Every character's symbol, as a program finds it in the stream.
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <string_view>

#include "tests/text/plain_filter.h"
#include "zam/foundation/ref.h"
#include "zam/text/ascii_text_filter.h"

namespace ZaM {
namespace {

/// Filters every character by itself, before a separator.
template <class Unit, class Filter>
void ExpectPlainSymbols(unsigned int characters, bool useDigits, Filter filter) {
  for (unsigned int character = 0; character < characters; ++character) {
    Unit const text[] = {static_cast<Unit>(character), Unit{' '}};
    auto const expected = test::FilterPlainly(std::basic_string_view<Unit>(text, 2), {1, useDigits, 8}).bytes;
    char stream[8];
    ASSERT_EQ(std::string(stream, filter(text, 2U, stream, 8U)), std::string(expected.begin(), expected.end()))
        << std::hex << character;
  }
}

void ExpectAllSymbols(AsciiTextFilter& filter, bool useDigits) {
  ExpectPlainSymbols<char>(0x100, useDigits, [&](auto... all) { return filter.FilterTextA(all...); });
  ExpectPlainSymbols<wchar>(0x10000, useDigits, [&](auto... all) { return filter.FilterTextW(all...); });
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

}  // namespace
}  // namespace ZaM

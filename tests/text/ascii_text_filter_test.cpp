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

unsigned int const plenty = 64;

TEST(AsciiTextFilter, FiltersThroughItsContract) {
  Ref<TextFilter> const filter(AsciiTextFilter::Create(1, true));
  char out[plenty];
  Numbers positions(7);
  Numbers const stream = {0, 26, 17, 0};
  EXPECT_EQ(ToNumbers(out, filter->FilterText(u" a1", 3, out, plenty)), stream);
  EXPECT_EQ(ToNumbers(out, filter->FilterText(u" a1", 3, out, plenty, positions)), stream);
  EXPECT_EQ(positions, (Numbers{0, 1, 2, 3}));
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
  source->SetMinWordLen(3);
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
  std::u16string const wide(5000, u'\u3042');
  std::string const narrow(5000, 'a');
  std::vector<char> out(20006);
  Numbers positions;
  auto const grow = [&] {
    Numbers().swap(positions);
    filter->FilterTextA(narrow.data(), 5000, out.data(), 5002, positions);
    Numbers().swap(positions);
    filter->FilterTextW(wide.data(), 5000, out.data(), 20006, positions);
  };
  auto const isBounded = [&] { EXPECT_LE(positions.size(), 20001u); };
  EXPECT_GT(test::FailEachAllocation(grow, isBounded, {.mayKeepMemory = true}), 2u);
  EXPECT_EQ(positions.size(), 20001u);
}

}  // namespace
}  // namespace ZaM

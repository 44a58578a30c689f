// The numbers that stringhash adds up. Hashes are stored by those who use it: no number here may ever change.
#ifndef ZAM_FOUNDATION_STRINGHASH_TABLE_H
#define ZAM_FOUNDATION_STRINGHASH_TABLE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace ZaM::detail {

using StringHashTable = std::array<std::uint32_t, 1024>;

/// A number that was fixed before the others were made.
struct FixedHashNumber {
  std::size_t index;
  std::uint32_t number;
};

inline constexpr FixedHashNumber fixedHashNumbers[] = {
    {0, 0xCC657BC9}, {1, 0xCE2CE6D2}, {2, 0xAB2704B1},  {3, 0x97F2C0B8},  {4, 0x77F5A891},    {5, 0x93CE67AB},
    {6, 0x3825A755}, {7, 0x70D067D1}, {97, 0x004734D5}, {98, 0xDA26D86A}, {1023, 0x8B3AAFC3},
};

/// The n-th number of an endless sequence without visible order, in which none of the first 2³² comes twice: a counter
/// that steps by the golden ratio of 2³², through the finalizer of MurmurHash3.
constexpr std::uint32_t ScrambledNumber(std::uint32_t n) {
  std::uint32_t bits = (n + 1) * 0x9E3779B9U;
  bits = (bits ^ bits >> 16) * 0x85EBCA6BU;
  bits = (bits ^ bits >> 13) * 0xC2B2AE35U;
  return bits ^ bits >> 16;
}

/// The fixed numbers at their places, and in between those of the sequence that aren't among them.
constexpr StringHashTable MakeStringHashTable() {
  StringHashTable table{};
  auto const* fixed = std::begin(fixedHashNumbers);
  std::uint32_t n = 0;
  for (std::size_t i = 0; i < table.size(); ++i) {
    if (fixed != std::end(fixedHashNumbers) && fixed->index == i) {
      table[i] = (fixed++)->number;
      continue;
    }
    auto const isFixed = [&](FixedHashNumber const& one) { return one.number == ScrambledNumber(n); };
    while (std::any_of(std::begin(fixedHashNumbers), std::end(fixedHashNumbers), isFixed)) ++n;
    table[i] = ScrambledNumber(n++);
  }
  return table;
}

inline constexpr StringHashTable stringHashTable = MakeStringHashTable();

constexpr bool AllDiffer(StringHashTable numbers) {
  std::sort(numbers.begin(), numbers.end());
  return std::adjacent_find(numbers.begin(), numbers.end()) == numbers.end();
}

static_assert(AllDiffer(stringHashTable), "two characters with one number would be the same to the hash");

}  // namespace ZaM::detail

#endif

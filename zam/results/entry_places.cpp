#include "zam/results/entry_places.h"

#include <algorithm>
#include <bit>

namespace ZaM::detail {

namespace {

constexpr std::size_t shortList = 64;             // is always walked over
constexpr std::size_t longestList = 1ULL << 31U;  // with a table, whose slots have 32 bits

std::uint64_t KeyOf(IndexedResult const& entry) {
  return EntryKey(entry.GetIndex(), entry.GetResType());
}

}  // namespace

std::size_t EntryPlaces::Find(Entries const& entries, std::uint64_t key) {
  if (slots.empty()) {
    if (entries.size() <= shortList || walked < entries.size() || entries.size() >= longestList) {
      auto const match = std::find_if(entries.begin(), entries.end(),
                                      [key](IndexedResult const& entry) { return KeyOf(entry) == key; });
      auto const place = static_cast<std::size_t>(match - entries.begin());
      walked += place;
      return place;
    }
    Build(entries, entries.size());
  }
  std::uint32_t const slot = SlotOf(entries, key);
  return slot != 0 ? slot - 1 : entries.size();
}

void EntryPlaces::Append(Entries const& entries, std::uint64_t key) {
  if (slots.empty()) return;
  if (2 * (entries.size() + 1) > slots.size()) Build(entries, 2 * entries.size());
  SlotOf(entries, key) = static_cast<std::uint32_t>(entries.size() + 1);
}

bool EntryPlaces::AreDistinct(Entries const& entries) {
  return EntryPlaces().Build(entries, entries.size()) == entries.size();
}

std::size_t EntryPlaces::Build(Entries const& entries, std::size_t capacity) {
  slots = std::vector<std::uint32_t>(std::bit_ceil(2 * capacity + 2));
  std::size_t keys = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::uint32_t& slot = SlotOf(entries, KeyOf(entries[i]));
    if (slot != 0) continue;
    slot = static_cast<std::uint32_t>(i + 1);
    ++keys;
  }
  return keys;
}

// The slot of `key`, or the empty one that it would get. Keys are mixed with the place of the table in memory, so that
// a file can't be made of keys that all meet.
std::uint32_t& EntryPlaces::SlotOf(Entries const& entries, std::uint64_t key) {
  std::uint64_t mixed = (key ^ reinterpret_cast<std::uintptr_t>(slots.data())) * 0x9E3779B97F4A7C15;
  mixed = (mixed ^ mixed >> 32U) * 0x9E3779B97F4A7C15;
  std::size_t at = mixed >> 32U & (slots.size() - 1);
  while (slots[at] != 0 && KeyOf(entries[slots[at] - 1]) != key) at = (at + 1) & (slots.size() - 1);
  return slots[at];
}

}  // namespace ZaM::detail

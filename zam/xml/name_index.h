// Names and their numbers, for thousands of names at a time; internal.
#ifndef ZAM_XML_NAME_INDEX_H
#define ZAM_XML_NAME_INDEX_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "zam/xml/name_hash.h"

namespace ZaM::detail {

/// Numbers names, which others hold, from 0 on. Its memory stays from one use to the next, and beginning takes no time
/// in proportion to it. (See xml_linear_benchmark: with a set of the standard library, tags of many attributes take
/// half as long again.)
class NameIndex {
 public:
  static constexpr std::uint32_t none = static_cast<std::uint32_t>(-1);

  /// Empties it, with room for so many names until it has to grow.
  void Begin(std::size_t expected) {
    std::size_t const needed = std::bit_ceil(2 * expected);
    if (slots.size() < needed || ++round == 0) {
      slots.assign(needed, {});
      round = 1;
    }
    mask = needed - 1;
    names.clear();
  }

  /// The number of the name, which is new if it is the greatest so far.
  std::uint32_t Insert(std::string_view name) {
    if (2 * (names.size() + 1) > mask + 1) Grow();
    auto const hashed = static_cast<std::uint32_t>(hash(name));
    Slot& slot = slots[PlaceOf(name, hashed)];
    if (slot.round != round) {
      names.push_back(name);
      slot = {hashed, round, Count() - 1};
    }
    return slot.number;
  }

  [[nodiscard]] std::uint32_t Count() const { return static_cast<std::uint32_t>(names.size()); }

  [[nodiscard]] std::uint32_t Find(std::string_view name) const {
    if (names.empty()) return none;
    Slot const& slot = slots[PlaceOf(name, static_cast<std::uint32_t>(hash(name)))];
    return slot.round == round ? slot.number : none;
  }

 private:
  /// Small, and with a hash, so that a search among many names touches little more than the slot that it ends at.
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t round = 0;  // that it was filled in
    std::uint32_t number = 0;
  };

  void Grow() {
    std::vector<Slot> before(2 * (mask + 1));
    before.swap(slots);
    mask = slots.size() - 1;
    for (Slot const& slot : before) {
      if (slot.round == round) slots[PlaceOf(names[slot.number], slot.hash)] = slot;
    }
  }

  /// Of the slot that has the name, or where it goes.
  [[nodiscard]] std::size_t PlaceOf(std::string_view name, std::uint32_t hashed) const {
    std::size_t i = hashed & mask;
    auto const isOther = [&](Slot const& slot) { return slot.hash != hashed || names[slot.number] != name; };
    while (slots[i].round == round && isOther(slots[i])) i = (i + 1) & mask;
    return i;
  }

  NameHash hash;
  std::vector<Slot> slots;
  std::size_t mask = 0;  // of what is used of the slots in this round
  std::uint32_t round = 1;
  std::vector<std::string_view> names;  // by their numbers
};

}  // namespace ZaM::detail

#endif

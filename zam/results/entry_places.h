// Finds the entries of a list of results by their keys.
//
// Threads: one thread at a time, together with the list.
// Errors:  `std::bad_alloc` when memory runs out, which the results turn into BaseException with id 5.
#ifndef ZAM_RESULTS_ENTRY_PLACES_H
#define ZAM_RESULTS_ENTRY_PLACES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zam/results/result_item.h"

namespace ZaM::detail {

/// The class id and the group of an entry, as one number.
constexpr std::uint64_t EntryKey(unsigned int classId, eResultType type) {
  return std::uint64_t{classId} << 32U | static_cast<std::uint32_t>(type & resultTypeGroupMask);
}

/// Where the first entry of each key is, of a list that somebody else owns and passes to each call.
///
/// Searches begin by walking over the list. Once these walks have cost the length of a list that isn't short, a hash
/// table is made of it: a stored result may have any number of entries, and reading it must not take the square of
/// that, while a single search in a long list must not pay for a table.
///
/// A copy knows nothing, and assignment makes the target forget: the table would be that of another list.
class EntryPlaces {
 public:
  using Entries = std::vector<IndexedResult>;

  EntryPlaces() = default;
  /// Knows nothing.
  EntryPlaces(EntryPlaces const& /*other*/) noexcept {}
  /// Forgets.
  EntryPlaces& operator=(EntryPlaces const& /*other*/) noexcept {
    Forget();
    return *this;
  }

  /// The place of the first entry of `key`; the number of entries if there is none.
  std::size_t Find(Entries const& entries, std::uint64_t key);

  /// Takes note that an entry of `key`, which `entries` hasn't got, is about to be appended.
  void Append(Entries const& entries, std::uint64_t key);

  /// Whether all entries have different keys.
  static bool AreDistinct(Entries const& entries);

  /// Has to be called when entries were changed or moved otherwise.
  void Forget() noexcept {
    slots = {};
    walked = 0;
  }

 private:
  /// Makes the table of `entries`; returns how many different keys they have.
  std::size_t Build(Entries const& entries, std::size_t capacity);
  std::uint32_t& SlotOf(Entries const& entries, std::uint64_t key);

  std::vector<std::uint32_t> slots;  // a hash table, at most half full: 0, or a place + 1. Empty before it is made
  std::size_t walked = 0;            // how many entries the walks have passed over
};

}  // namespace ZaM::detail

#endif

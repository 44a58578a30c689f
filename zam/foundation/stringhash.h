// A fast hash of short strings, such as words.
#ifndef ZAM_FOUNDATION_STRINGHASH_H
#define ZAM_FOUNDATION_STRINGHASH_H

#include <cstdint>
#include <string>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// Turns a string into a 32-bit number: each character selects a random number, the numbers are added up with the
/// weights 1, 3, 5 …, and the sum wraps around.
///
///     h(c₀ c₁ … cₙ₋₁) = Σ (2i + 1) · table[cᵢ]  mod 2³²
///
/// The weights tell "listen" from "silent". There is no seed: the same string has the same hash in every process and
/// every version of the library, so hashes may be stored. It isn't made to withstand an opponent who looks for strings
/// with the same hash.
///
/// Single-byte strings use the first 256 of 1,024 numbers; of a 16-bit unit the low 10 bits count. So a text of
/// characters below 256 has the same hash in both forms, and so have U+0041 and U+0441. Zeros count like any other
/// character; an empty string gives 0.
///
/// Threads: holds nothing; any number of threads may hash at once, also on one object.
/// Errors:  nothing is thrown, and nothing allocated.
class ZAM_EXPORT stringhash {
 public:
  stringhash() = default;

  /// The number doesn't matter.
  stringhash(unsigned int) {}

  /// The hash of all bytes.
  std::uint32_t GetStringHash(std::string const& text) const;

  /// The hash of `length` bytes; null is fine for none.
  std::uint32_t GetStringHash(std::uint32_t length, char const* text) const;

  /// The hash of all 16-bit units.
  std::uint32_t GetStringHashW(wstring const& text) const;

  /// The hash of `length` 16-bit units; null is fine for none.
  std::uint32_t GetStringHashW(std::uint32_t length, wchar const* text) const;
};

}  // namespace ZaM

#endif

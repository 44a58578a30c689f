// The loops that stringhash may run.
#ifndef ZAM_FOUNDATION_STRINGHASH_KERNEL_H
#define ZAM_FOUNDATION_STRINGHASH_KERNEL_H

#include <cstddef>
#include <cstdint>

#include "zam/foundation/stringhash_table.h"
#include "zam/foundation/types.h"

namespace ZaM::detail {

/// The hash of up to eight characters, the first in the lowest byte, with zeros for those that are missing. Adds all
/// eight up and takes the zeros away again: a branch for where a word ends would mostly be guessed wrong.
inline std::uint32_t HashEight(std::uint64_t characters, std::size_t length) {
  std::uint32_t sum = 0;
  for (std::uint32_t i = 0; i < 8; ++i) sum += (2 * i + 1) * stringHashTable[characters >> 8 * i & 0xFF];
  return sum - stringHashTable[0] * static_cast<std::uint32_t>(64 - length * length);
}

struct StringHashKernel {
  std::uint32_t (*narrow)(std::size_t length, char const* text);
  std::uint32_t (*wide)(std::size_t length, wchar const* text);
};

/// The kernel for any machine.
extern StringHashKernel const portableStringHash;

/// The kernel for processors with AVX-512 VBMI2, null if this one isn't.
StringHashKernel const* Vector512StringHash();

}  // namespace ZaM::detail

#endif

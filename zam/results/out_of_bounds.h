// How the results report an index that is too great; internal.
#ifndef ZAM_RESULTS_OUT_OF_BOUNDS_H
#define ZAM_RESULTS_OUT_OF_BOUNDS_H

#include <algorithm>
#include <cstdint>
#include <limits>

#include "zam/foundation/exceptions.h"

namespace ZaM::detail {

/// Throws OutOfBoundsException(8, index, bound). The exception has room for 31 bits: a greater index shows as the
/// greatest of these, rather than as a negative one.
[[noreturn]] inline void ThrowOutOfBounds(std::uint64_t index, std::uint64_t bound) {
  constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
  throw OutOfBoundsException(ErrorId::IndexOutOfRange, static_cast<std::int32_t>(std::min(index, most)),
                             static_cast<std::int32_t>(std::min(bound, most)));
}

}  // namespace ZaM::detail

#endif

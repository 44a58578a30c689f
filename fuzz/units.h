// The bytes of a fuzz target as numbers and as wide text.
#ifndef FUZZ_UNITS_H
#define FUZZ_UNITS_H

#include <cstddef>
#include <cstdint>

#include "zam/foundation/types.h"

/// Takes them from front to back; zeros after the end.
class Bytes {
 public:
  Bytes(std::uint8_t const* first, std::size_t count) : next(first), rest(count) {}

  [[nodiscard]] bool AreLeft() const { return rest > 0; }
  unsigned int Take() { return rest == 0 ? 0 : (--rest, *next++); }

  /// Text of at most so many units, most of them ASCII, as long as there are bytes.
  ZaM::wstring TakeText(std::size_t most) {
    ZaM::wstring text;
    while (text.size() < most && AreLeft()) {
      unsigned int const byte = Take();
      text += static_cast<ZaM::wchar>(byte < 0xC0 ? byte : byte << 8 | Take());
    }
    return text;
  }

 private:
  std::uint8_t const* next;
  std::size_t rest;
};

#endif

// The halves of which UTF-16 makes characters beyond U+FFFF.
#ifndef ZAM_PLATFORM_SURROGATES_H
#define ZAM_PLATFORM_SURROGATES_H

#include <string_view>

namespace ZaM::platform {

constexpr bool IsHighSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}

constexpr bool IsLowSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

constexpr bool IsSurrogate(char16_t unit) {
  return (unit & 0xF800) == 0xD800;
}

/// Whether `units`, which aren't empty, begin with both halves of a character.
constexpr bool BeginsWithPair(std::u16string_view units) {
  return IsHighSurrogate(units[0]) && units.size() > 1 && IsLowSurrogate(units[1]);
}

constexpr char32_t CodePoint(char16_t high, char16_t low) {
  return 0x10000u + ((high - 0xD800u) << 10) + (low - 0xDC00u);
}

/// The halves of a code point above U+FFFF.
constexpr char16_t HighSurrogate(char32_t point) {
  return static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10 & 0x3FF));
}
constexpr char16_t LowSurrogate(char32_t point) {
  return static_cast<char16_t>(0xDC00 + (point & 0x3FF));
}

}  // namespace ZaM::platform

#endif

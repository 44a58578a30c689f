// UTF-8 and UTF-16, into each other. Both directions take anything: what is malformed becomes U+FFFD.
#ifndef ZAM_PLATFORM_UNICODE_H
#define ZAM_PLATFORM_UNICODE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ZaM::platform {

/// Whether a byte of UTF-8 goes on with a character.
[[nodiscard]] constexpr bool IsContinuation(char byte) {
  return (byte & 0xC0) == 0x80;
}

/// Each malformed sequence, up to where it stops making sense, becomes one U+FFFD; this is what other decoders do too.
[[nodiscard]] std::u16string Utf16FromUtf8(std::string_view bytes);

/// The same into an area of at least as many units as there are bytes. How many units came out.
std::size_t Utf16FromUtf8(std::string_view bytes, char16_t* units);

/// Whether there is no malformed sequence.
[[nodiscard]] bool IsUtf8(std::string_view bytes);

/// Each surrogate without its other half becomes U+FFFD. What comes out is well-formed, so that well-formed UTF-8 is
/// exactly what survives the way to UTF-16 and back.
[[nodiscard]] std::string Utf8FromUtf16(std::u16string_view units);

}  // namespace ZaM::platform

#endif

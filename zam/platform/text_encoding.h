// Text in any encoding; UTF-8 has faster ways in unicode.h.
#ifndef ZAM_PLATFORM_TEXT_ENCODING_H
#define ZAM_PLATFORM_TEXT_ENCODING_H

#include <optional>
#include <string>
#include <string_view>

namespace ZaM::platform {

/// Whether there is an encoding of this name; case, hyphens and underscores make no difference.
[[nodiscard]] bool IsEncoding(char const* name);

/// The text of `bytes`, without a byte order mark's help; nothing if they are malformed in this encoding, or there is
/// none of this name.
[[nodiscard]] std::optional<std::u16string> DecodeBytes(std::string_view bytes, char const* encoding);

}  // namespace ZaM::platform

#endif

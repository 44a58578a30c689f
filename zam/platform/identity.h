// Which machine and which process this is, and numbers that no other has.
#ifndef ZAM_PLATFORM_IDENTITY_H
#define ZAM_PLATFORM_IDENTITY_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace ZaM::platform {

/// The machine's name, up to 255 bytes of it; nothing where the system doesn't tell. Malformed UTF-8 becomes U+FFFD.
[[nodiscard]] std::optional<std::u16string> HostName();

[[nodiscard]] std::int32_t ProcessId();

/// The processors that are switched on, whether or not this process may use all of them; at least 1.
[[nodiscard]] std::int32_t ProcessorCount();

/// The 16 bytes of a new time-based UUID (version 1) as RFC 4122 orders them. No two calls in this process give the
/// same, on whatever thread. A forked process has another clock sequence than its parent.
[[nodiscard]] std::array<std::uint8_t, 16> NewUuid();

}  // namespace ZaM::platform

#endif

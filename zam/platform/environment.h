// What the process's environment says.
#ifndef ZAM_PLATFORM_ENVIRONMENT_H
#define ZAM_PLATFORM_ENVIRONMENT_H

#include <cstdint>
#include <string>

namespace ZaM::platform {

/// The value of a variable of the process, empty if it isn't set. Malformed UTF-8 in it becomes U+FFFD.
[[nodiscard]] std::u16string EnvironmentVariable(char const* name);

/// The language of the user's messages as a language id: the primary language in the low 10 bits, such as 0x07 for
/// German, above it 1 for "the usual variety". 0 for a language without a number here.
///
/// The first of LC_ALL, LC_MESSAGES and LANG that isn't empty decides, by what stands before its first `_`, `.` or `@`;
/// "C", "POSIX" and nothing at all are English.
[[nodiscard]] std::uint16_t UserLanguageId();

}  // namespace ZaM::platform

#endif

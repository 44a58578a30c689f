// What the process's environment says.
#ifndef ZAM_PLATFORM_ENVIRONMENT_H
#define ZAM_PLATFORM_ENVIRONMENT_H

#include <cstdint>
#include <string>
#include <vector>

namespace ZaM::platform {

/// The value of a variable of the process, empty if it isn't set. Malformed UTF-8 in it becomes U+FFFD.
[[nodiscard]] std::u16string EnvironmentVariable(char const* name);

/// The language of the user's messages as a language id: the primary language in the low 10 bits, such as 0x07 for
/// German, above it 1 for "the usual variety". 0 for a language without a number here.
///
/// The first of LC_ALL, LC_MESSAGES and LANG that isn't empty decides, by what stands before its first `_`, `.` or `@`;
/// "C", "POSIX" and nothing at all are English.
[[nodiscard]] std::uint16_t UserLanguageId();

/// The languages that the user prefers to that one, the dearest first, such as "pt-BR" and "pt" for `LANGUAGE=pt_BR`;
/// none where the variable is empty or the locale is "C" or "POSIX", for which gettext doesn't ask the variable either.
/// A language that isn't English is followed by its usual variety; English, in which the texts are written, ends the
/// list.
[[nodiscard]] std::vector<std::u16string> PreferredLanguages();

}  // namespace ZaM::platform

#endif

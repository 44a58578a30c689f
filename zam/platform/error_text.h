// What the system says of its error numbers.
#ifndef ZAM_PLATFORM_ERROR_TEXT_H
#define ZAM_PLATFORM_ERROR_TEXT_H

#include <cstdint>
#include <string>

namespace ZaM::platform {

/// The system's text for an error number, in the language of this thread's locale. Empty for a number that it doesn't
/// know.
[[nodiscard]] std::u16string ErrorText(std::uint32_t error);

}  // namespace ZaM::platform

#endif

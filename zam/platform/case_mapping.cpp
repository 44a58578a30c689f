#include "zam/platform/case_mapping.h"

#include <unicode/uchar.h>

namespace ZaM::platform {

// No mapping leads from a unit to a character that needs two.

char16_t LowerCase(char16_t unit) {
  return static_cast<char16_t>(u_tolower(unit));
}

char16_t UpperCase(char16_t unit) {
  return static_cast<char16_t>(u_toupper(unit));
}

}  // namespace ZaM::platform

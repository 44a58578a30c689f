// The basic types of every interface. Widths are fixed, whatever the build platform's `long` and `wchar_t` are.
#ifndef ZAM_FOUNDATION_TYPES_H
#define ZAM_FOUNDATION_TYPES_H

#include <cstdint>
#include <string>

namespace ZaM {

/// A unit of a wide string: 16 bits, normally UTF-16. Literals are written `u"…"`.
using wchar = char16_t;

/// A wide string: a sequence of 16-bit units. Lengths, positions and capacities count these units.
using wstring = std::u16string;

}  // namespace ZaM

#endif

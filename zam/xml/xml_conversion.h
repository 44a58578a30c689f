// How names and texts cross between 16-bit units and UTF-8; internal.
#ifndef ZAM_XML_XML_CONVERSION_H
#define ZAM_XML_XML_CONVERSION_H

#include <cstddef>
#include <span>
#include <string_view>

#include "zam/foundation/types.h"

namespace ZaM::detail {

/// As many whole characters of well-formed UTF-8 as take at most `most` units of UTF-16.
std::string_view FrontUnits(std::string_view bytes, std::size_t most);

/// Converts UTF-8, all of it; what is malformed becomes U+FFFD.
wstring ToWide(std::string_view bytes);

/// Converts into UTF-8 in `area`: as many whole characters as fit. Returns what came out, which lies in `area`.
///
/// What XML 1.0 can't carry is replaced, so that whatever is written can be read: control characters by a blank, lone
/// surrogates, U+FFFE and U+FFFF by U+FFFD.
std::string_view ToXmlText(std::u16string_view units, std::span<char> area);

struct XmlName {
  std::string_view bytes;  // lies in the area
  bool isFaithful;         // false where something was replaced or cut
};

/// The same for the name of an element or an attribute. Each character that doesn't belong there becomes an underscore,
/// so does an empty name, and so does a colon that isn't followed by the beginning of another name.
XmlName ToXmlName(std::u16string_view units, std::span<char> area);

}  // namespace ZaM::detail

#endif

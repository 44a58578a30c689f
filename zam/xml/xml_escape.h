// Turns wide text into what may stand in an XML document's text and attribute values; internal.
#ifndef ZAM_XML_XML_ESCAPE_H
#define ZAM_XML_XML_ESCAPE_H

#include <cstddef>
#include <string_view>

namespace ZaM::detail {

/// How many bytes `WriteEscaped` may touch for a text of `units` 16-bit units.
constexpr std::size_t EscapedCapacity(std::size_t units) {
  // The longest replacement of a unit is "&quot;". Replacements are copied eight bytes at a time.
  return units * 6 + 8;
}

/// Writes `text`, up to its first zero unit, to `out` as escaped UTF-8, and returns the end of what it wrote. There
/// has to be room for `EscapedCapacity(text.size())` bytes. Nothing is put past the end.
///
/// - The five characters of markup become entities (`&amp;`), tab, line feed and carriage return two-digit references
///   (`&#09;`), in attributes as in text. What comes out isn't looked at again, so that entities in the input are
///   escaped, not kept.
/// - Whatever else XML 1.0 forbids is replaced, so that a document stays readable: control characters by a blank;
///   surrogates without their other half, U+FFFE and U+FFFF by U+FFFD.
char* WriteEscaped(std::u16string_view text, char* out);

}  // namespace ZaM::detail

#endif

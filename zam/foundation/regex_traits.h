// How the engine of regular expressions sees 16-bit units.
#ifndef ZAM_FOUNDATION_REGEX_TRAITS_H
#define ZAM_FOUNDATION_REGEX_TRAITS_H

#include <boost/regex.hpp>
#include <cstddef>
#include <cstdint>
#include <string>

#include "zam/foundation/types.h"

namespace ZaM::detail {

/// The engine's traits over 16-bit units. Case and classes are the library's own: they go beyond ASCII, and no locale
/// has a say in them.
class RegexTraits {
  // NOLINTBEGIN(readability-identifier-naming): the engine asks for these names.
 public:
  using char_type = wchar;
  using size_type = std::size_t;
  using string_type = wstring;
  using char_class_type = std::uint32_t;  // platform::CharacterClass bits
  struct locale_type {};
  struct boost_extensions_tag {};

  static size_type length(wchar const* text) { return std::char_traits<wchar>::length(text); }

  static boost::regex_constants::syntax_type syntax_type(wchar unit);
  static boost::regex_constants::escape_syntax_type escape_syntax_type(wchar unit);

  static wchar translate(wchar unit) { return unit; }
  static wchar translate_nocase(wchar unit) { return tolower(unit); }
  static wchar translate(wchar unit, bool ignoreCase) { return ignoreCase ? tolower(unit) : unit; }
  static wchar tolower(wchar unit);
  static wchar toupper(wchar unit);

  /// The order of texts is that of their units.
  static wstring transform(wchar const* begin, wchar const* end) { return {begin, end}; }
  /// The same for all that are equivalent, as in `[[=e=]]`: those that differ in case and accents only.
  static wstring transform_primary(wchar const* begin, wchar const* end);

  /// The class of a name such as `alpha` or `w`, in either case; 0 for an unknown one.
  static char_class_type lookup_classname(wchar const* begin, wchar const* end);
  /// The characters of a name such as `comma`; empty for an unknown one. A single character is its own name.
  static wstring lookup_collatename(wchar const* begin, wchar const* end);
  static bool isctype(wchar unit, char_class_type classes);

  /// The value of a digit; -1 for what is none to this `radix`.
  static int value(wchar unit, int radix);
  /// Reads a number off the front of the text and moves `begin` past it. -1 where there is none, or a huge one.
  static std::intmax_t toi(wchar const*& begin, wchar const* end, int radix);

  static locale_type imbue(locale_type) { return {}; }
  static locale_type getloc() { return {}; }
  static std::string error_string(boost::regex_constants::error_type error);
  // NOLINTEND(readability-identifier-naming)
};

}  // namespace ZaM::detail

#endif

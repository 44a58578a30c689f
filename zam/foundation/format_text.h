// Formatting of wide texts that come from translators and files, and so may hold anything.
#ifndef ZAM_FOUNDATION_FORMAT_TEXT_H
#define ZAM_FOUNDATION_FORMAT_TEXT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

#include "zam/foundation/types.h"

namespace ZaM::detail {

/// A wide string, terminated, or null, which reads "(null)"; or a number.
using FormatArgument = std::variant<wchar const*, std::int32_t, std::uint32_t>;

/// `text` with each placeholder replaced by the argument of its rank, by the rules of the print family; see Placeholder
/// for its forms. What doesn't fit into `capacity` units, at least 1, the terminator counted, is cut.
///
/// A number's placeholder decides how it looks: 4294967295 reads -1 under "%d", and -1 reads ffffffff under "%x".
/// Nothing in `text` can do harm. These stand in the result as they stand in the text: a placeholder without an
/// argument, one whose argument is of the other kind (it uses that argument up), and a '%' that begins no placeholder.
///
///   FormatText(u"%s: %d %%", {u"a%s", 7}, 1024)   a%s: 7 %
///   FormatText(u"%d: %s, %s", {u"a", u"b"}, 1024)  %d: b, %s
[[nodiscard]] wstring FormatText(std::u16string_view text, std::span<FormatArgument const> arguments,
                                 std::size_t capacity);

}  // namespace ZaM::detail

#endif

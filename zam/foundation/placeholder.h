// The placeholders of a text, such as "%s" and "%-8ld".
#ifndef ZAM_FOUNDATION_PLACEHOLDER_H
#define ZAM_FOUNDATION_PLACEHOLDER_H

#include <cstddef>
#include <optional>
#include <string_view>

#include "zam/foundation/types.h"

namespace ZaM::detail {

/// One placeholder, taken apart:
///
///   '%' {'-' | '0' | '+' | ' ' | '#'} [width] ['.' [precision]] ['l'] ('s' | 'd' | 'i' | 'u' | 'x' | 'X' | 'o' | 'c')
///
/// or "%%", which stands for one '%'. Width and precision are decimal; both end at 2³¹ - 1. Other lengths than 'l', a
/// '*' and the conversions of floating point aren't placeholders, since no argument here has their kind.
struct Placeholder {
  bool left = false;
  bool zeros = false;
  bool plus = false;
  bool blank = false;
  bool alternate = false;
  std::size_t width = 0;
  std::optional<std::size_t> precision;
  wchar conversion = 0;    // 'i' reads 'd'
  std::size_t length = 0;  // of the placeholder in the text, in units
};

/// The placeholder that `text` begins with, if its '%' begins one.
[[nodiscard]] std::optional<Placeholder> ParsePlaceholder(std::u16string_view text);

/// What the placeholders of `text` take, in order, a letter for each: the conversion, 'i' as 'd', and '%' for a '%'
/// that begins no placeholder. "%%" takes nothing and has no letter. Two texts with the same kinds take the same
/// arguments.
[[nodiscard]] wstring PlaceholderKinds(std::u16string_view text);

}  // namespace ZaM::detail

#endif

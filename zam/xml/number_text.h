// Numbers as they stand in XML text. The process's locale has no say: the point is a point. All throw BaseException
// with id 5 when memory runs out.
#ifndef ZAM_XML_NUMBER_TEXT_H
#define ZAM_XML_NUMBER_TEXT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "zam/foundation/types.h"

namespace ZaM::detail {

/// Fixed notation with six digits after the point, never an exponent, rounded to even as printing does: "0.500000",
/// "-0.000000". Not-a-number is "nan" or "-nan", infinities are "inf" and "-inf". What is longer than `capacity - 1`
/// units is cut there; `capacity` is at least 1.
[[nodiscard]] wstring FormatDouble(double value, std::size_t capacity);

/// Decimal digits, after a minus sign where the number is negative: "%d", "%u", "%I64d", "%I64u".
[[nodiscard]] wstring FormatNumber(std::int32_t value);
[[nodiscard]] wstring FormatNumber(std::uint32_t value);
[[nodiscard]] wstring FormatNumber(std::int64_t value);
[[nodiscard]] wstring FormatNumber(std::uint64_t value);

/// Scanning: leading white space (space, tab, line feed, vertical tab, form feed, carriage return) is skipped, then a
/// sign is taken, then as many digits as there are; what follows doesn't matter, so that "12abc" is 12. Without a digit
/// there is no number, and nothing comes back.
///
/// A minus sign negates an unsigned number: "-1" is the greatest. What doesn't fit saturates: to the least or the
/// greatest number of the type, an unsigned one to the greatest whatever its sign.
[[nodiscard]] std::optional<std::int32_t> ScanInt32(std::string_view text);
[[nodiscard]] std::optional<std::int32_t> ScanInt32(std::u16string_view text);
[[nodiscard]] std::optional<std::uint32_t> ScanUInt32(std::string_view text);
[[nodiscard]] std::optional<std::uint32_t> ScanUInt32(std::u16string_view text);
[[nodiscard]] std::optional<std::uint64_t> ScanUInt64(std::string_view text);
[[nodiscard]] std::optional<std::uint64_t> ScanUInt64(std::u16string_view text);

/// As above, with a point, digits after it and an exponent, each of which may be missing: "1.5", ".5", "5.", "1e3".
/// What is beyond a double's range becomes an infinity, what is below it a zero, with the sign. "inf" and "nan" are no
/// numbers, and "0x10" is 0: stored documents are decimal.
[[nodiscard]] std::optional<double> ScanDouble(std::string_view text);
[[nodiscard]] std::optional<double> ScanDouble(std::u16string_view text);

}  // namespace ZaM::detail

#endif

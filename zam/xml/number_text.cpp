#include "zam/xml/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <string>
#include <system_error>

#include "zam/foundation/create_counted.h"

namespace ZaM::detail {

namespace {

constexpr int digitsAfterPoint = 6;

template <class Number, class... Format>
wstring Print(Number value, Format... format) {
  // A sign, the digits of the greatest double, a point and what stands after it.
  std::array<char, 2 + std::numeric_limits<double>::max_exponent10 + 1 + digitsAfterPoint> text;
  auto const end = std::to_chars(text.data(), text.data() + text.size(), value, format...).ptr;
  return ReportOutOfMemory([&] { return wstring(text.data(), end); });
}

template <class Unit>
constexpr bool IsSpace(Unit unit) {
  return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

template <class Unit>
constexpr bool IsDigit(Unit unit) {
  return unit >= '0' && unit <= '9';
}

/// Takes white space and a sign off the front; true for a minus sign.
template <class Unit>
bool TakeSign(std::basic_string_view<Unit>& text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  bool const isNegative = !text.empty() && text.front() == '-';
  if (isNegative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  return isNegative;
}

/// The digits at the front. `value` is at most `greatest`, and `isTooLarge` tells where they say more.
struct Digits {
  std::uint64_t value = 0;
  bool isTooLarge = false;
};

template <class Unit>
std::optional<Digits> ScanDigits(std::basic_string_view<Unit> text, std::uint64_t greatest) {
  if (text.empty() || !IsDigit(text.front())) return std::nullopt;
  std::uint64_t value = 0;
  for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1)) {
    auto const digit = static_cast<std::uint64_t>(text.front() - '0');
    if (value > greatest / 10 || value * 10 > greatest - digit) return Digits{greatest, true};
    value = value * 10 + digit;
  }
  return Digits{value};
}

template <class Unit>
std::optional<std::int32_t> ScanSigned(std::basic_string_view<Unit> text) {
  bool const isNegative = TakeSign(text);
  constexpr std::uint64_t greatest = std::numeric_limits<std::int32_t>::max();
  auto const digits = ScanDigits(text, isNegative ? greatest + 1 : greatest);
  if (!digits) return std::nullopt;
  auto const value = static_cast<std::int64_t>(digits->value);
  return static_cast<std::int32_t>(isNegative ? -value : value);
}

template <class Number, class Unit>
std::optional<Number> ScanUnsigned(std::basic_string_view<Unit> text) {
  bool const isNegative = TakeSign(text);
  auto const digits = ScanDigits(text, std::numeric_limits<Number>::max());
  if (!digits) return std::nullopt;
  auto const value = static_cast<Number>(digits->value);
  return isNegative && !digits->isTooLarge ? static_cast<Number>(0 - value) : value;
}

/// Whether a number that no double can hold is too large for it, rather than too small: where its first digit other
/// than 0 stands, moved by its exponent.
bool IsBeyondRange(std::string_view number) {
  std::string_view const mantissa = number.substr(0, number.find_first_of("eE"));
  auto const point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
  auto const first = static_cast<std::int64_t>(mantissa.find_first_of("123456789"));
  std::string_view const exponentText = number.substr(std::min(mantissa.size() + 1, number.size()));
  return point - first + ScanSigned(exponentText).value_or(0) > 0;
}

std::optional<double> ScanDecimal(std::string_view text) {
  bool const isNegative = TakeSign(text);
  // A second sign, "inf" and "nan" would be numbers to from_chars.
  if (text.empty() || !(IsDigit(text.front()) || text.front() == '.')) return std::nullopt;
  double value = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::invalid_argument) return std::nullopt;
  if (error == std::errc::result_out_of_range) {
    bool const isLarge = IsBeyondRange({text.data(), static_cast<std::size_t>(end - text.data())});
    value = isLarge ? std::numeric_limits<double>::infinity() : 0.0;
  }
  return isNegative ? -value : value;
}

}  // namespace

wstring FormatDouble(double value, std::size_t capacity) {
  wstring text = Print(value, std::chars_format::fixed, digitsAfterPoint);
  if (text.size() >= capacity) text.resize(capacity - 1);
  return text;
}

wstring FormatNumber(std::int32_t value) {
  return Print(value);
}
wstring FormatNumber(std::uint32_t value) {
  return Print(value);
}
wstring FormatNumber(std::int64_t value) {
  return Print(value);
}
wstring FormatNumber(std::uint64_t value) {
  return Print(value);
}

std::optional<std::int32_t> ScanInt32(std::string_view text) {
  return ScanSigned(text);
}
std::optional<std::int32_t> ScanInt32(std::u16string_view text) {
  return ScanSigned(text);
}
std::optional<std::uint32_t> ScanUInt32(std::string_view text) {
  return ScanUnsigned<std::uint32_t>(text);
}
std::optional<std::uint32_t> ScanUInt32(std::u16string_view text) {
  return ScanUnsigned<std::uint32_t>(text);
}
std::optional<std::uint64_t> ScanUInt64(std::string_view text) {
  return ScanUnsigned<std::uint64_t>(text);
}
std::optional<std::uint64_t> ScanUInt64(std::u16string_view text) {
  return ScanUnsigned<std::uint64_t>(text);
}

std::optional<double> ScanDouble(std::string_view text) {
  return ScanDecimal(text);
}
std::optional<double> ScanDouble(std::u16string_view text) {
  // Units beyond ASCII end a number, and so does the zero that stands for them here.
  std::string narrow = ReportOutOfMemory([&] { return std::string(text.size(), '\0'); });
  std::transform(text.begin(), text.end(), narrow.begin(),
                 [](wchar unit) { return unit < 0x80 ? static_cast<char>(unit) : '\0'; });
  return ScanDecimal(narrow);
}

}  // namespace ZaM::detail

#include "zam/foundation/format_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "zam/foundation/placeholder.h"

namespace ZaM::detail {

namespace {

/// A text that takes no more than its limit; the rest is dropped.
class BoundedText {
 public:
  BoundedText(std::size_t mostUnits, std::size_t expectedUnits) : limit(mostUnits) {
    text.reserve(std::min(limit, expectedUnits));
  }

  void Append(std::u16string_view units) { text += units.substr(0, limit - text.size()); }
  void Fill(std::size_t count, wchar unit) { text.append(std::min(count, limit - text.size()), unit); }
  [[nodiscard]] wstring Take() { return std::move(text); }

 private:
  std::size_t limit;
  wstring text;
};

/// A converted argument: `zeros` digits 0 stand between the prefix and the digits.
struct Converted {
  std::u16string_view prefix;
  std::size_t zeros = 0;
  std::u16string_view body;
};

void AppendPadded(BoundedText& out, Placeholder const& placeholder, Converted const& converted) {
  std::size_t const length = converted.prefix.size() + converted.zeros + converted.body.size();
  std::size_t const padding = placeholder.width > length ? placeholder.width - length : 0;
  if (!placeholder.left) out.Fill(padding, u' ');
  out.Append(converted.prefix);
  out.Fill(converted.zeros, u'0');
  out.Append(converted.body);
  if (placeholder.left) out.Fill(padding, u' ');
}

/// The digits of a number, without a sign.
class Digits {
 public:
  Digits(std::uint32_t number, wchar conversion) {
    int const base = conversion == u'o' ? 8 : (conversion | 0x20) == u'x' ? 16 : 10;
    std::array<char, mostDigits> narrow;
    char* const end = std::to_chars(narrow.data(), narrow.data() + narrow.size(), number, base).ptr;
    std::transform(narrow.data(), end, units.begin(), [&](char digit) {
      return static_cast<wchar>(conversion == u'X' && digit >= 'a' ? digit - 'a' + 'A' : digit);
    });
    count = static_cast<std::size_t>(end - narrow.data());
  }

  [[nodiscard]] std::u16string_view View() const { return {units.data(), count}; }

 private:
  static constexpr std::size_t mostDigits = 11;
  std::array<wchar, mostDigits> units;
  std::size_t count;
};

std::u16string_view Prefix(Placeholder const& placeholder, bool negative, bool zero) {
  if (placeholder.conversion == u'd') return negative ? u"-" : placeholder.plus ? u"+" : placeholder.blank ? u" " : u"";
  if (!placeholder.alternate || zero) return {};
  return placeholder.conversion == u'x' ? u"0x" : placeholder.conversion == u'X' ? u"0X" : u"";
}

void AppendNumber(BoundedText& out, Placeholder const& placeholder, std::uint32_t number) {
  bool const negative = placeholder.conversion == u'd' && static_cast<std::int32_t>(number) < 0;
  Digits const converter(negative ? 0 - number : number, placeholder.conversion);
  bool const isBlank = number == 0 && placeholder.precision == std::size_t{0};
  std::u16string_view const digits = isBlank ? std::u16string_view() : converter.View();

  Converted converted{Prefix(placeholder, negative, number == 0), 0, digits};
  std::size_t fewest = placeholder.precision.value_or(0);
  if (placeholder.zeros && !placeholder.left && !placeholder.precision && placeholder.width > converted.prefix.size()) {
    fewest = placeholder.width - converted.prefix.size();
  }
  if (placeholder.conversion == u'o' && placeholder.alternate && !digits.starts_with(u'0')) {
    fewest = std::max(fewest, digits.size() + 1);
  }
  converted.zeros = fewest > digits.size() ? fewest - digits.size() : 0;
  AppendPadded(out, placeholder, converted);
}

void AppendString(BoundedText& out, Placeholder const& placeholder, wchar const* string) {
  std::u16string_view const whole = string == nullptr ? u"(null)" : string;
  AppendPadded(out, placeholder, {{}, 0, whole.substr(0, placeholder.precision.value_or(whole.size()))});
}

/// False if the placeholder is of the other kind.
bool AppendArgument(BoundedText& out, Placeholder const& placeholder, FormatArgument const& argument) {
  if (auto const* const string = std::get_if<wchar const*>(&argument)) {
    if (placeholder.conversion != u's') return false;
    AppendString(out, placeholder, *string);
    return true;
  }
  auto const* const signedNumber = std::get_if<std::int32_t>(&argument);
  std::uint32_t const number =
      signedNumber != nullptr ? static_cast<std::uint32_t>(*signedNumber) : std::get<std::uint32_t>(argument);
  if (placeholder.conversion == u's') return false;
  if (placeholder.conversion == u'c') {
    auto const unit = static_cast<wchar>(number);
    AppendPadded(out, placeholder, {{}, 0, {&unit, 1}});
  } else {
    AppendNumber(out, placeholder, number);
  }
  return true;
}

}  // namespace

wstring FormatText(std::u16string_view text, std::span<FormatArgument const> arguments, std::size_t capacity) {
  constexpr std::size_t usualArguments = 32;  // units
  BoundedText out(capacity - 1, text.size() + usualArguments);
  for (;;) {
    std::u16string_view const plain = text.substr(0, text.find(u'%'));
    out.Append(plain);
    text.remove_prefix(plain.size());
    if (text.empty()) return out.Take();

    auto const placeholder = ParsePlaceholder(text);
    std::u16string_view const asWritten = text.substr(0, placeholder ? placeholder->length : 1);
    text.remove_prefix(asWritten.size());
    if (placeholder && placeholder->conversion == u'%') {
      out.Append(u"%");
    } else if (!placeholder || arguments.empty()) {
      out.Append(asWritten);
    } else {
      if (!AppendArgument(out, *placeholder, arguments.front())) out.Append(asWritten);
      arguments = arguments.subspan(1);
    }
  }
}

}  // namespace ZaM::detail

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
  explicit BoundedText(std::size_t mostUnits) : limit(mostUnits) {}

  void Append(std::u16string_view units) { text += units.substr(0, limit - text.size()); }
  void Fill(std::size_t count, wchar unit) { text.append(std::min(count, limit - text.size()), unit); }
  [[nodiscard]] wstring Take() { return std::move(text); }

 private:
  std::size_t limit;
  wstring text;
};

/// A converted argument: `zeros` digits 0 stand between the prefix and the digits.
struct Converted {
  wstring prefix;
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

wstring Digits(std::uint32_t number, wchar conversion) {
  int const base = conversion == u'o' ? 8 : (conversion | 0x20) == u'x' ? 16 : 10;
  std::array<char, 11> buffer;
  auto const end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, base).ptr;
  wstring digits(buffer.data(), end);
  if (conversion == u'X') {
    for (wchar& digit : digits) digit = digit >= u'a' ? static_cast<wchar>(digit - u'a' + u'A') : digit;
  }
  return digits;
}

wstring Prefix(Placeholder const& placeholder, bool negative, bool zero) {
  if (placeholder.conversion == u'd') return negative ? u"-" : placeholder.plus ? u"+" : placeholder.blank ? u" " : u"";
  bool const hexadecimal = (placeholder.conversion | 0x20) == u'x';
  return hexadecimal && placeholder.alternate && !zero ? wstring{u'0', placeholder.conversion} : wstring();
}

void AppendNumber(BoundedText& out, Placeholder const& placeholder, std::uint32_t number) {
  bool const negative = placeholder.conversion == u'd' && static_cast<std::int32_t>(number) < 0;
  wstring digits = Digits(negative ? 0 - number : number, placeholder.conversion);
  if (number == 0 && placeholder.precision == std::size_t{0}) digits.clear();

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
  BoundedText out(capacity - 1);
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

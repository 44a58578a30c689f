#include "zam/foundation/placeholder.h"

#include <algorithm>

namespace ZaM::detail {

namespace {

constexpr std::size_t greatestNumber = 0x7FFFFFFF;

/// The rest of a placeholder, from which the parts are taken one by one.
class Scanner {
 public:
  explicit Scanner(std::u16string_view text) : rest(text) {}

  bool Take(wchar unit) {
    bool const found = rest.starts_with(unit);
    if (found) rest.remove_prefix(1);
    return found;
  }

  /// 0 if there are no digits.
  std::size_t TakeNumber() {
    std::size_t number = 0;
    for (; !rest.empty() && rest[0] >= u'0' && rest[0] <= u'9'; rest.remove_prefix(1)) {
      number = std::min(number * 10 + (rest[0] - u'0'), greatestNumber);
    }
    return number;
  }

  /// A unit out of `set`, or 0.
  wchar TakeOneOf(std::u16string_view set) {
    if (rest.empty() || set.find(rest[0]) == set.npos) return 0;
    wchar const unit = rest[0];
    rest.remove_prefix(1);
    return unit;
  }

  [[nodiscard]] std::size_t Left() const { return rest.size(); }

 private:
  std::u16string_view rest;
};

/// Takes a flag off the front, if there is one, and sets it; returns whether there was one.
bool TakeFlag(Scanner& scanner, Placeholder& placeholder) {
  switch (scanner.TakeOneOf(u"-0+ #")) {
    case u'-':
      return placeholder.left = true;
    case u'0':
      return placeholder.zeros = true;
    case u'+':
      return placeholder.plus = true;
    case u' ':
      return placeholder.blank = true;
    case u'#':
      return placeholder.alternate = true;
    default:
      return false;
  }
}

}  // namespace

std::optional<Placeholder> ParsePlaceholder(std::u16string_view text) {
  Scanner scanner(text);
  if (!scanner.Take(u'%')) return std::nullopt;

  Placeholder placeholder;
  placeholder.conversion = scanner.TakeOneOf(u"%");
  if (placeholder.conversion == 0) {
    while (TakeFlag(scanner, placeholder)) {
    }
    placeholder.width = scanner.TakeNumber();
    if (scanner.Take(u'.')) placeholder.precision = scanner.TakeNumber();
    scanner.Take(u'l');
    placeholder.conversion = scanner.TakeOneOf(u"sdiuxXoc");
  }
  if (placeholder.conversion == 0) return std::nullopt;
  if (placeholder.conversion == u'i') placeholder.conversion = u'd';
  placeholder.length = text.size() - scanner.Left();
  return placeholder;
}

wstring PlaceholderKinds(std::u16string_view text) {
  wstring kinds;
  for (;;) {
    text.remove_prefix(std::min(text.find(u'%'), text.size()));
    if (text.empty()) return kinds;
    auto const placeholder = ParsePlaceholder(text);
    if (!placeholder) {
      kinds += u'%';
    } else if (placeholder->conversion != u'%') {
      kinds += placeholder->conversion;
    }
    text.remove_prefix(placeholder ? placeholder->length : 1);
  }
}

}  // namespace ZaM::detail

// The attributes of an element, as an event of the XML parser brings them.
#ifndef CLASSIFY_CORPUS_ELEMENT_ATTRIBUTES_H
#define CLASSIFY_CORPUS_ELEMENT_ATTRIBUTES_H

#include <charconv>
#include <optional>
#include <string_view>

namespace classify {

/// Looks attributes up by name. Good for the time of the event.
class ElementAttributes {
 public:
  /// Null is an element without attributes.
  explicit ElementAttributes(unsigned char const* const* pairs) : attributes(pairs) {}

  /// The value in UTF-8, or nothing where there is none.
  std::optional<std::string_view> Text(std::string_view name) const {
    for (auto const* pair = attributes; pair != nullptr && *pair != nullptr; pair += 2)
      if (View(pair[0]) == name) return View(pair[1]);
    return std::nullopt;
  }

  /// The value as a number; also nothing where it isn't one from its first digit to the last, or doesn't fit.
  template <class Unsigned>
  std::optional<Unsigned> Number(std::string_view name) const {
    std::optional<std::string_view> const text = Text(name);
    if (!text) return std::nullopt;
    Unsigned number = 0;
    auto const [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
    bool const isNumber = error == std::errc() && end == text->data() + text->size();
    return isNumber ? std::optional(number) : std::nullopt;
  }

  static std::string_view View(unsigned char const* text) { return reinterpret_cast<char const*>(text); }

 private:
  unsigned char const* const* attributes;
};

}  // namespace classify

#endif

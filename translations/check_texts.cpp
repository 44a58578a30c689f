#include "translations/check_texts.h"

#include <charconv>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "zam/foundation/placeholder.h"
#include "zam/platform/unicode.h"

namespace ZaM::translations {

namespace {

std::optional<unsigned int> Number(std::string const& text) {
  unsigned int number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The entries' numbers, each of which may stand once.
class Numbers {
 public:
  /// The number of the entry; nothing, and an error, if it has none or not its own.
  std::optional<unsigned int> Take(PoEntry const& entry, std::vector<PoError>& errors) {
    std::string const context = entry.context.value_or("");
    auto const number = Number(context);
    if (!number) {
      errors.push_back({entry.line, context, "its msgctxt must be the number of a text"});
      return std::nullopt;
    }
    auto const [first, isNew] = lines.emplace(*number, entry.line);
    if (isNew) return number;
    errors.push_back({entry.line, context, "stands already in line " + std::to_string(first->second)});
    return std::nullopt;
  }

 private:
  std::map<unsigned int, std::size_t> lines;
};

std::string Quoted(std::u16string_view text) {
  return '"' + EscapePo(platform::Utf8FromUtf16(text)) + '"';
}

/// What is wrong with `translation`, empty if nothing is.
std::string Fault(wstring const& source, wstring const& translation, wstring const& builtIn) {
  if (source != builtIn) return "its msgid isn't the built-in text, which reads " + Quoted(builtIn);
  if (translation.empty()) return {};
  if (translation.size() > detail::satelliteTextLimit) return "its translation is longer than 65535 units";
  wstring const expected = detail::PlaceholderKinds(builtIn);
  wstring const found = detail::PlaceholderKinds(translation);
  if (found == expected) return {};
  return "its placeholders differ: the translation takes " + Quoted(found) + ", the built-in text " + Quoted(expected);
}

}  // namespace

CheckedTexts SourceTexts(std::vector<PoEntry> const& entries) {
  CheckedTexts checked;
  Numbers numbers;
  for (PoEntry const& entry : entries) {
    auto const number = numbers.Take(entry, checked.errors);
    if (number) checked.texts[*number] = platform::Utf16FromUtf8(entry.source);
  }
  return checked;
}

CheckedTexts Translations(std::vector<PoEntry> const& entries, detail::TextMap const& builtIn) {
  CheckedTexts checked;
  Numbers numbers;
  for (PoEntry const& entry : entries) {
    auto const number = numbers.Take(entry, checked.errors);
    if (!number) continue;
    auto const own = builtIn.find(*number);
    wstring translation = entry.fuzzy ? wstring() : platform::Utf16FromUtf8(entry.translation);
    std::string const fault = own == builtIn.end()
                                  ? "there is no built-in text of this number"
                                  : Fault(platform::Utf16FromUtf8(entry.source), translation, own->second);
    if (!fault.empty()) {
      checked.errors.push_back({entry.line, *entry.context, fault});
    } else if (!translation.empty()) {
      checked.texts[*number] = std::move(translation);
    }
  }
  return checked;
}

}  // namespace ZaM::translations

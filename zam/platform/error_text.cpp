#include "zam/platform/error_text.h"

#include <cstddef>
#include <cstring>
#include <cuchar>
#include <cwchar>
#include <optional>
#include <utility>

#include "zam/platform/unicode.h"

namespace ZaM::platform {

namespace {

/// `text`, which is in the encoding of this thread's locale; nothing if it isn't.
std::optional<std::u16string> FromLocale(char const* text) {
  constexpr auto error = static_cast<std::size_t>(-2);       // or greater
  constexpr auto secondUnit = static_cast<std::size_t>(-3);  // of a pair whose bytes are already taken
  char const* const end = text + std::strlen(text) + 1;
  std::u16string units;
  std::mbstate_t state = {};
  for (char16_t unit = 0;;) {
    std::size_t const taken = std::mbrtoc16(&unit, text, static_cast<std::size_t>(end - text), &state);
    if (taken == 0) return units;
    if (taken >= error) return std::nullopt;
    units += unit;
    if (taken != secondUnit) text += taken;
  }
}

}  // namespace

std::u16string ErrorText(std::uint32_t error) {
  int const number = static_cast<int>(error);
  char const* const untranslated = strerrordesc_np(number);
  if (untranslated == nullptr) return {};
  char buffer[1024];
  auto text = FromLocale(strerror_r(number, buffer, sizeof buffer));
  return text ? *std::move(text) : Utf16FromUtf8(untranslated);
}

}  // namespace ZaM::platform

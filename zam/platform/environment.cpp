#include "zam/platform/environment.h"

#include <cstdlib>
#include <string_view>

#include "zam/platform/unicode.h"

namespace ZaM::platform {

namespace {

std::string_view Variable(char const* name) {
  char const* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

/// The locale name that decides about messages; see POSIX, "Internationalization Variables".
std::string_view MessageLocale() {
  for (char const* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (std::string_view const value = Variable(name); !value.empty()) return value;
  }
  return "C";
}

struct Language {
  std::string_view name;
  std::uint16_t primaryId;
};

constexpr Language languages[] = {{"C", 0x09},  {"POSIX", 0x09}, {"ca", 0x03}, {"de", 0x07}, {"en", 0x09},
                                  {"es", 0x0A}, {"fr", 0x0C},    {"it", 0x10}, {"pt", 0x16}};

constexpr std::uint16_t usualVariety = 1 << 10;

}  // namespace

std::u16string EnvironmentVariable(char const* name) {
  return Utf16FromUtf8(Variable(name));
}

std::uint16_t UserLanguageId() {
  std::string_view const locale = MessageLocale();
  std::string_view const name = locale.substr(0, locale.find_first_of("_.@"));
  for (Language const& language : languages) {
    if (language.name == name) return usualVariety | language.primaryId;
  }
  return 0;
}

}  // namespace ZaM::platform

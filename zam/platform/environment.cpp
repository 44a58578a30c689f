#include "zam/platform/environment.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

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

/// The name of a locale without its encoding and its modifier.
std::string_view WithoutEncoding(std::string_view locale) {
  return locale.substr(0, locale.find_first_of(".@"));
}

bool IsEnglish(std::string_view locale) {
  return locale == "C" || locale == "POSIX" || locale.substr(0, locale.find('_')) == "en";
}

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

std::vector<std::u16string> PreferredLanguages() {
  std::string_view const locale = WithoutEncoding(MessageLocale());
  if (locale == "C" || locale == "POSIX") return {};

  std::vector<std::u16string> preferred;
  for (std::string_view rest = Variable("LANGUAGE"); !rest.empty();) {
    std::string_view const entry = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(entry.size() + 1, rest.size()));
    std::string_view const name = WithoutEncoding(entry);
    if (name.empty()) continue;
    if (IsEnglish(name)) {
      preferred.emplace_back(u"en");
      break;
    }
    std::u16string variety = Utf16FromUtf8(name);
    std::ranges::replace(variety, u'_', u'-');
    std::u16string usual = variety.substr(0, variety.find(u'-'));
    preferred.push_back(std::move(variety));
    if (usual != preferred.back()) preferred.push_back(std::move(usual));
  }
  return preferred;
}

}  // namespace ZaM::platform

#include "report/html.h"

namespace report {

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (char const character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

std::string RelativeAddress(std::filesystem::path const& file, std::filesystem::path const& folder) {
  constexpr char digits[] = "0123456789ABCDEF";
  constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  auto const target = std::filesystem::absolute(file).lexically_normal();
  std::string const path = target.lexically_relative(std::filesystem::absolute(folder).lexically_normal()).native();
  std::string address;
  for (char const character : path) {
    if (plain.find(character) != std::string_view::npos) {
      address += character;
    } else {
      auto const byte = static_cast<unsigned char>(character);
      address += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return address;
}

}  // namespace report

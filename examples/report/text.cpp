#include "report/text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace report {

std::string Grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, ",");
  return text;
}

std::string Fixed(double number, int digits) {
  char text[std::numeric_limits<double>::max_exponent10 + 32];
  auto const [end, error] = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, digits);
  return error == std::errc() ? std::string(text, end) : "?";
}

std::string Percent(double part, double whole) {
  return whole > 0 ? Fixed(100 * part / whole, 1) + " %" : "-";
}

std::size_t Width(std::string_view utf8) {
  auto const begins = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; };
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), begins));
}

}  // namespace report

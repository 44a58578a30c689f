#include "number_text.h"

#include <charconv>
#include <limits>

#include "utf8.h"

namespace classify {

namespace {

std::string Padding(std::string const& text, std::size_t width) {
  std::size_t const length = Width(text);
  return std::string(width > length ? width - length : 0, ' ');
}

}  // namespace

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

std::string Right(std::string const& text, std::size_t width) {
  return Padding(text, width) + text;
}

std::string Left(std::string const& text, std::size_t width) {
  return text + Padding(text, width);
}

}  // namespace classify

#include "number_text.h"

namespace classify {

namespace {

std::string Padding(std::string const& text, std::size_t width) {
  std::size_t const length = report::Width(text);
  return std::string(width > length ? width - length : 0, ' ');
}

}  // namespace

std::string Right(std::string const& text, std::size_t width) {
  return Padding(text, width) + text;
}

std::string Left(std::string const& text, std::size_t width) {
  return text + Padding(text, width);
}

}  // namespace classify

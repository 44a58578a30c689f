#include "utf8.h"

namespace classify {

namespace {

struct CodePoint {
  char32_t value;
  std::size_t length;  // in bytes; 0 if they aren't UTF-8
};

constexpr CodePoint invalid{0, 0};

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// The code point at the start of `bytes`, which aren't empty.
CodePoint FirstOf(std::string_view bytes) {
  auto const lead = static_cast<unsigned char>(bytes[0]);
  if (lead < 0x80) return {lead, 1};
  if (lead < 0xC2 || lead > 0xF4) return invalid;
  std::size_t const length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (bytes.size() < length) return invalid;

  char32_t value = lead & (0x7FU >> length);
  for (char const byte : bytes.substr(1, length - 1)) {
    if (!IsContinuation(byte)) return invalid;
    value = value << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
  }
  bool const isOverlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
  bool const isSurrogate = value >= 0xD800 && value < 0xE000;
  return isOverlong || isSurrogate || value > 0x10FFFF ? invalid : CodePoint{value, length};
}

}  // namespace

std::string Printable(std::string_view name) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string printable;
  while (!name.empty()) {
    auto const [value, length] = FirstOf(name);
    bool const isControl = value < 0x20 || (value >= 0x7F && value < 0xA0);
    bool const isNoCharacter = value == 0xFFFE || value == 0xFFFF;
    if (length > 0 && !isControl && !isNoCharacter && value != '\\') {
      printable += name.substr(0, length);
      name.remove_prefix(length);
    } else {
      auto const byte = static_cast<unsigned char>(name[0]);
      printable += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
      name.remove_prefix(1);
    }
  }
  return printable;
}

}  // namespace classify

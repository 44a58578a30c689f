#include "utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

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

// How many ASCII characters are in front. Looks at eight at once: most text is made of long runs of them.
std::size_t AsciiLength(std::string_view bytes) {
  std::size_t length = 0;
  for (std::uint64_t block; length + sizeof block <= bytes.size(); length += sizeof block) {
    std::memcpy(&block, bytes.data() + length, sizeof block);
    if ((block & 0x8080808080808080U) != 0) break;
  }
  while (length < bytes.size() && static_cast<unsigned char>(bytes[length]) < 0x80) ++length;
  return length;
}

void Append(char32_t value, std::u16string& text) {
  if (value < 0x10000) {
    text += static_cast<char16_t>(value);
  } else {
    text += static_cast<char16_t>(0xD7C0 + (value >> 10));
    text += static_cast<char16_t>(0xDC00 + (value & 0x3FF));
  }
}

void Append(char32_t value, std::string& bytes) {
  auto const add = [&](char32_t byte) { bytes += static_cast<char>(byte); };
  if (value < 0x80) return add(value);
  if (value < 0x800) {
    add(0xC0 | value >> 6);
  } else {
    if (value < 0x10000) {
      add(0xE0 | value >> 12);
    } else {
      add(0xF0 | value >> 18);
      add(0x80 | (value >> 12 & 0x3F));
    }
    add(0x80 | (value >> 6 & 0x3F));
  }
  add(0x80 | (value & 0x3F));
}

}  // namespace

std::optional<std::u16string> DecodeUtf8(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    std::size_t const plain = AsciiLength(bytes);
    text.insert(text.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(plain));
    bytes.remove_prefix(plain);
    if (bytes.empty()) break;
    auto const [value, length] = FirstOf(bytes);
    if (length == 0) return std::nullopt;
    Append(value, text);
    bytes.remove_prefix(length);
  }
  return text;
}

std::string EncodeUtf8(std::u16string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char16_t const unit = text[i];
    bool const isPair = (unit & 0xFC00) == 0xD800 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
    if (isPair) {
      Append(0x10000U + ((unit & 0x3FFU) << 10) + (text[++i] & 0x3FFU), bytes);
    } else {
      Append((unit & 0xF800) == 0xD800 ? 0xFFFDU : unit, bytes);
    }
  }
  return bytes;
}

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

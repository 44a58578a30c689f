// What XML says of single characters, names and references, in UTF-8; internal.
#ifndef ZAM_XML_XML_CHARACTERS_H
#define ZAM_XML_XML_CHARACTERS_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "zam/platform/vector128.h"

namespace ZaM::detail {

/// Zero bytes behind what is scanned: as many as a scan looks at together.
inline constexpr std::size_t scanPadding = 16;

enum : std::uint8_t {
  IsBlank = 1,
  BeginsName = 2,
  IsInName = 4,
};

/// Of ASCII characters.
inline constexpr std::array<std::uint8_t, 256> characterClasses = [] {
  std::array<std::uint8_t, 256> made = {};
  for (char const c : {'\t', '\n', '\r', ' '}) made[static_cast<unsigned char>(c)] |= IsBlank;
  for (char c = 'a'; c <= 'z'; ++c) made[static_cast<unsigned char>(c)] |= BeginsName | IsInName;
  for (char c = 'A'; c <= 'Z'; ++c) made[static_cast<unsigned char>(c)] |= BeginsName | IsInName;
  for (char const c : {':', '_'}) made[static_cast<unsigned char>(c)] |= BeginsName | IsInName;
  for (char c = '0'; c <= '9'; ++c) made[static_cast<unsigned char>(c)] |= IsInName;
  for (char const c : {'-', '.'}) made[static_cast<unsigned char>(c)] |= IsInName;
  return made;
}();

inline bool Is(char c, std::uint8_t wanted) {
  return (characterClasses[static_cast<unsigned char>(c)] & wanted) != 0;
}

/// A character of UTF-8: its code and its length, which is 0 where it isn't well-formed or XML doesn't allow it.
struct Character {
  std::uint32_t code;
  std::size_t size;
};

[[nodiscard]] Character Decode(char const* bytes);

/// The same of one that isn't ASCII; what is a control character of ASCII has no length either.
[[nodiscard]] inline std::size_t SpecialSize(char const* bytes) {
  return static_cast<unsigned char>(*bytes) < 0x80 ? 0 : Decode(bytes).size;
}

/// Whether a name may have this character, as its first or behind that.
[[nodiscard]] bool IsNameCharacter(std::uint32_t code, bool isFirst);

/// The end of the name that begins here, which is where it begins where none does.
[[nodiscard]] char const* NameEnd(char const* start);
[[nodiscard]] inline char* NameEnd(char* start) {
  return start + (NameEnd(static_cast<char const*>(start)) - start);
}

template <class Char>
Char* SkipBlanks(Char* place) {
  while (Is(*place, IsBlank)) ++place;
  return place;
}

/// Whether the bytes at the end of a buffer may be a character that goes on behind it.
[[nodiscard]] bool IsCutCharacter(char const* place, char const* end);

/// The first byte that isn't a printable character of ASCII, or is one of `marks`. Texts and values are the most of
/// many documents. (See xml_parser_benchmark: byte by byte, parsing takes a third longer.)
template <class Char, class... Marks>
Char* SkipPlain(Char* place, Marks... marks) {
  for (;; place += scanPadding) {
    if (unsigned int const special = platform::SpecialBytes(place, marks...)) return place + std::countr_zero(special);
  }
}

/// Whether all of it is characters that XML allows. A zero byte follows it.
[[nodiscard]] bool IsText(std::string_view text);

/// A reference, which begins with `&`.
struct Reference {
  std::size_t size = 0;       // 0 where it is malformed or cut
  bool isCut = false;         // it may go on behind the end of the buffer
  std::size_t nameSize = 0;   // of an entity that isn't predefined, else 0
  std::size_t byteCount = 0;  // of the character that it stands for otherwise
  char bytes[4] = {};

  /// Of that entity.
  [[nodiscard]] std::string_view NameAt(char const* start) const { return {start + 1, nameSize}; }
};

/// Zero bytes follow `end`.
[[nodiscard]] Reference ReferenceAt(char const* start, char const* end);

inline std::string_view View(char const* begin, char const* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

}  // namespace ZaM::detail

#endif

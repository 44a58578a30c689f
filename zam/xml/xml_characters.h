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

/// Zero bytes after what is scanned: as many as a scan looks at together.
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

/// Whether a name may have this character, as its first or after that.
[[nodiscard]] bool IsNameCharacter(std::uint32_t code, bool isFirst);

/// The end of the name that begins here, which is where it begins where none does.
[[nodiscard]] char const* NameEnd(char const* start);

/// The same, byte by byte as long as it is of ASCII: the processor guesses the ends of names and goes on, where it
/// would have to wait for what 16 bytes at once tell.
[[nodiscard]] inline char* NameEnd(char* start) {
  char* place = start;
  while (Is(*place, IsInName)) ++place;
  bool const isAscii = static_cast<unsigned char>(*place) < 0x80 && Is(*start, BeginsName);
  return isAscii ? place : start + (NameEnd(static_cast<char const*>(start)) - start);
}

template <class Char>
Char* SkipBlanks(Char* place) {
  while (Is(*place, IsBlank)) ++place;
  return place;
}

/// Whether the bytes at the end of a buffer may be a character that goes on after it.
[[nodiscard]] bool IsCutCharacter(char const* place, char const* end);

/// Whether a character of two bytes stands here.
[[nodiscard]] inline bool IsTwoBytes(char const* bytes) {
  auto const first = static_cast<unsigned char>(bytes[0]);
  return first >= 0xC2 && first < 0xE0 && (bytes[1] & 0xC0) == 0x80;
}

/// How many of 16 bytes, the first of which begins a character, stand in front of the first byte that is `special` or
/// may belong to malformed UTF-8, and in whole characters. Characters of four bytes, U+FFC0 to U+FFFF and those that
/// the end of the 16 bytes cuts are left to the caller.
[[nodiscard]] inline std::size_t WholeCharacters(platform::Vector128 bytes, unsigned int special) {
  unsigned int const beyond = bytes.BeyondAscii();
  unsigned int const continuations = bytes.BeyondAsciiBelow(0xC0);
  unsigned int const leads = beyond & ~continuations;
  unsigned int const leadsOfThree = beyond & ~bytes.BeyondAsciiBelow(0xE0);
  unsigned int const expected = leads << 1 | leadsOfThree << 2;
  unsigned int const lowContinuations = bytes.BeyondAsciiBelow(0xA0);
  unsigned int const overlong = (leads & bytes.BeyondAsciiBelow(0xC2)) | (bytes.Equal(0xE0) << 1 & lowContinuations);
  unsigned int const surrogates = bytes.Equal(0xED) << 1 & ~lowContinuations;
  unsigned int const last = bytes.Equal(0xEF) << 1 & bytes.Equal(0xBF);
  unsigned int const leadsOfFour = beyond & ~bytes.BeyondAsciiBelow(0xF0);
  unsigned int const doubtful = (expected ^ continuations) | overlong | surrogates | last | leadsOfFour;
  int end = std::countr_zero(special | doubtful | 1U << scanPadding);
  while ((expected >> end & 1) != 0) --end;
  return static_cast<std::size_t>(end);
}

/// Where a scan has come to, and whether it is at its end.
struct Skipped {
  char* place;
  bool isAtEnd;
};

/// From a character beyond ASCII on, up to the first 16 bytes that have none. A function of its own, so that its
/// constants don't take the registers of scans that meet none: within those, English text takes a tenth longer.
template <class SpecialIn>
[[gnu::noinline]] Skipped SkipBeyondAscii(char* place, SpecialIn specialIn) {
  for (;;) {
    platform::Vector128 const block(place);
    unsigned int const beyond = block.BeyondAscii();
    std::size_t const size = WholeCharacters(block, specialIn(block) & ~beyond);
    place += size;
    if (size <= scanPadding - 3) return {place, true};  // the end cuts two bytes at most
    if (beyond == 0) return {place, false};
  }
}

/// The first byte that `specialIn` finds, but for characters beyond ASCII that are well-formed without doubt. Texts and
/// values are the most of many documents. (See xml_parser_benchmark: byte by byte, parsing takes a third longer.)
template <class SpecialIn>
char* SkipUntil(char* place, SpecialIn specialIn) {
  for (;;) {
    unsigned int const special = specialIn(platform::Vector128(place));
    if (special == 0) {
      place += scanPadding;
      continue;
    }
    place += std::countr_zero(special);
    if (static_cast<unsigned char>(*place) < 0x80) return place;
    // Texts of most languages of Europe have such a character here and there.
    if (IsTwoBytes(place) && static_cast<unsigned char>(place[2]) < 0x80) {
      place += 2;
      continue;
    }
    Skipped const skipped = SkipBeyondAscii(place, specialIn);
    place = skipped.place;
    if (skipped.isAtEnd) return place;
  }
}

/// The first control character, one of `marks`, or a character beyond ASCII that SpecialSize has to look at.
template <char... marks>
char* SkipPlain(char* place) {
  return SkipUntil(place, [](platform::Vector128 block) { return block.Special(marks...); });
}

/// The same, but for tabs and line feeds.
template <char... marks>
char* SkipText(char* place) {
  return SkipUntil(place, [](platform::Vector128 block) { return block.SpecialInText(marks...); });
}

/// Whether all of it is characters that XML allows. A zero byte follows it.
[[nodiscard]] bool IsText(std::string_view text);

/// A reference, which begins with `&`.
struct Reference {
  std::size_t size = 0;       // 0 where it is malformed or cut
  bool isCut = false;         // it may go on past the end of the buffer
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

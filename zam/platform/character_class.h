// What kind of character a single 16-bit unit is, the same in every process and under every locale.
#ifndef ZAM_PLATFORM_CHARACTER_CLASS_H
#define ZAM_PLATFORM_CHARACTER_CLASS_H

#include <cstdint>

namespace ZaM::platform {

/// Sets of characters, as bits that may be combined.
enum CharacterClass : std::uint32_t {
  AlphaClass = 1u << 0,       // letters
  DigitClass = 1u << 1,       // decimal digits of all scripts
  UnderscoreClass = 1u << 2,  // U+005F alone
  LowerClass = 1u << 3,
  UpperClass = 1u << 4,
  PunctClass = 1u << 5,  // punctuation and symbols
  CntrlClass = 1u << 6,
  GraphClass = 1u << 7,           // whatever leaves a mark
  BlankClass = 1u << 8,           // spaces of any width
  TabulatorClass = 1u << 9,       // U+0009 alone
  VerticalSpaceClass = 1u << 10,  // whatever ends a line
  HexDigitClass = 1u << 11,       // 0 to 9, A to F and a to f
  BeyondLatin1Class = 1u << 12,   // units from U+0100
};

/// All classes that `unit` belongs to, by its general category in Unicode. Surrogates are in no class but the last one.
[[nodiscard]] std::uint32_t ClassesOf(char16_t unit);

/// The letter without its accents, or `unit` itself.
[[nodiscard]] char16_t BaseLetter(char16_t unit);

}  // namespace ZaM::platform

#endif

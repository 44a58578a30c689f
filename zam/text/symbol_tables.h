// The numbers that a text filter writes, and the tables that lead from characters to them.
#ifndef ZAM_TEXT_SYMBOL_TABLES_H
#define ZAM_TEXT_SYMBOL_TABLES_H

#include <cstdint>

namespace ZaM::detail {

/// The symbols with a meaning of their own. Digits run from `firstDigit` to 25, letters and marks of all alphabets from
/// `firstLetter` to 207; 2 to 15 and 208 to 240 stand for nothing.
struct Symbols {
  static constexpr unsigned char separator = 0;  ///< ends a word
  static constexpr unsigned char dropped = 1;    ///< belongs to its word and writes nothing
  static constexpr unsigned char firstDigit = 16;
  static constexpr unsigned char firstLetter = 26;
  static constexpr unsigned char count = 208;  ///< one more than the last letter
  static constexpr unsigned char last = 240;
  static constexpr unsigned char ideograph = 241;  ///< never written: see EncodeCJK
};

/// An ideograph's three symbols, the first in the lowest byte: its number from U+2E80 in base 40, as letters. For code
/// units whose symbol is `Symbols::ideograph`; of others it gives something.
constexpr std::uint32_t EncodeIdeograph(char16_t unit) {
  constexpr std::uint32_t base = 40;
  constexpr std::uint32_t second = 0x100;  // what a digit in that byte counts
  constexpr std::uint32_t third = 0x10000;
  auto const number = std::uint32_t{unit} - 0x2E80;
  auto const high = number / base;
  auto const top = high / base;
  // The digits are top, high - 40 · top and number - 40 · high; put into one sum, that takes a third fewer steps.
  return Symbols::firstLetter * (1 + second + third) + number * third + high * (second - base * third) +
         top * (1 - base * second);
}

/// Writes the symbol of each 16-bit code unit to `table`, 65,536 bytes. The first 256 are those of single-byte text.
/// Without `useDigits` all digits are separators.
void FillSymbolTable(bool useDigits, unsigned char* table);

/// What `FillPageTable` writes where the symbols of a page differ.
inline constexpr unsigned char mixedPage = 255;

/// Sums a symbol table up by pages: writes, for each high byte, the symbol that all 256 units with it share.
void FillPageTable(unsigned char const* symbols, unsigned char* pages);

/// Writes a printable byte for each of 256 symbols to `table`: "0" to "9", "A" to "Z", then the bytes 0xDA to 0xDF for
/// the six letters after Z; an underscore for all others.
void FillDisplayTable(unsigned char* table);

}  // namespace ZaM::detail

#endif

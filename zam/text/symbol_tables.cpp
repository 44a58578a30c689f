#include "zam/text/symbol_tables.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace ZaM::detail {
namespace {

/// Symbols that ascend by one for each code unit from `first` to `last`.
struct Alphabet {
  char16_t first;
  char16_t last;
  unsigned char symbol;
};

/// One symbol for all code units from `first` to `last`.
struct Class {
  char16_t first;
  char16_t last;
  unsigned char symbol;
};

constexpr Alphabet digits[] = {
    {u'0', u'9', 16},
    {0x0660, 0x0669, 16},  // Arabic-Indic
    {0x06F0, 0x06F9, 16},  // Persian
};

// Upper and lower case of one alphabet get the same symbols, and each alphabet starts at 26 anew. The unassigned code
// points inside a range are numbered like their neighbours.
constexpr Alphabet alphabets[] = {
    {u'A', u'Z', 26},      {u'a', u'z', 26},     {0x00C5, 0x00C5, 31},  // F
    {0x00CD, 0x00D2, 39},                                               // N to S
    {0x00D7, 0x00D8, 49},                                               // X, Y
    {0x00DD, 0x00DE, 55},  {0x0391, 0x03A9, 26},                        // Greek capitals
    {0x03B1, 0x03D7, 26},                                               // Greek small letters and symbols
    {0x03F0, 0x03F9, 65},  {0x0410, 0x042F, 26},                        // Cyrillic capitals
    {0x0430, 0x044F, 26},                                               // Cyrillic small letters
    {0x0531, 0x0556, 26},                                               // Armenian capitals
    {0x0561, 0x0586, 26},                                               // Armenian small letters
    {0x0591, 0x05AF, 61},                                               // Hebrew cantillation marks
    {0x05D0, 0x05F2, 26},                                               // Hebrew letters
    {0x0610, 0x0615, 170}, {0x0621, 0x0622, 27}, {0x0626, 0x063F, 32},  // Arabic from here on
    {0x0641, 0x064A, 59},  {0x0653, 0x0653, 69}, {0x0671, 0x06D4, 70}, {0x06D6, 0x06EF, 176}, {0x06FA, 0x06FF, 202},
};

constexpr Class classes[] = {
    // The accented letters of Latin-1 fold to a plain one; for historical reasons not always to that of their name.
    {0x00C0, 0x00C3, 26},
    {0x00E1, 0x00E3, 26},  // A
    {0x00C4, 0x00C4, 30},
    {0x00E4, 0x00E4, 30},  // E
    {0x00C9, 0x00CC, 30},
    {0x00E9, 0x00EC, 30},  // E
    {0x00C6, 0x00C8, 44},
    {0x00DF, 0x00DF, 44},
    {0x00E7, 0x00E8, 44},  // S
    {0x00D3, 0x00D6, 40},
    {0x00F3, 0x00F6, 40},  // O
    {0x00D9, 0x00DC, 46},
    {0x00F9, 0x00FC, 46},  // U
    // Forms of alef.
    {0x0623, 0x0625, 26},
    {0x0654, 0x0655, 26},
    // Armenian marks, Hebrew points, tatweel and Arabic vowel signs.
    {0x0559, 0x055B, Symbols::dropped},
    {0x05B0, 0x05BF, Symbols::dropped},
    {0x0640, 0x0640, Symbols::dropped},
    {0x064B, 0x0652, Symbols::dropped},
    {0x0656, 0x0658, Symbols::dropped},
    {0x0670, 0x0670, Symbols::dropped},
    // Radicals; kana, ideographs and hangul; both halves of surrogate pairs; compatibility ideographs.
    {0x2E80, 0x2FDF, Symbols::ideograph},
    {0x3040, 0xD7AF, Symbols::ideograph},
    {0xD800, 0xDFFF, Symbols::ideograph},
    {0xF900, 0xFAFF, Symbols::ideograph},
};

// The Cyrillic letters beyond the basic alphabet, from U+0400 and again from U+0450: those that look like one of the
// alphabet share its symbol.
constexpr unsigned char cyrillicExtras[] = {31, 56, 30, 29, 31, 48, 34, 34, 55, 37, 39, 49, 36, 34, 45, 49};

void Fill(Alphabet const& range, unsigned char* table) {
  std::iota(table + range.first, table + range.last + 1, range.symbol);
}

void Fill(Class const& range, unsigned char* table) {
  std::fill(table + range.first, table + range.last + 1, range.symbol);
}

}  // namespace

void FillSymbolTable(bool useDigits, unsigned char* table) {
  std::fill_n(table, 0x10000, Symbols::separator);
  for (Alphabet const& range : alphabets) Fill(range, table);
  for (Class const& range : classes) Fill(range, table);
  for (char16_t const start : {u'\u0400', u'\u0450'}) {
    std::copy(std::begin(cyrillicExtras), std::end(cyrillicExtras), table + start);
  }
  if (!useDigits) return;
  for (Alphabet const& range : digits) Fill(range, table);
}

void FillPageTable(unsigned char const* symbols, unsigned char* pages) {
  for (auto const* page = symbols; page != symbols + 0x10000; page += 0x100) {
    bool const same = std::all_of(page, page + 0x100, [&](unsigned char symbol) { return symbol == *page; });
    *pages++ = same ? *page : mixedPage;
  }
}

void FillDisplayTable(unsigned char* table) {
  std::fill_n(table, 256, static_cast<unsigned char>('_'));
  std::iota(table + Symbols::firstDigit, table + Symbols::firstDigit + 10, static_cast<unsigned char>('0'));
  std::iota(table + Symbols::firstLetter, table + Symbols::firstLetter + 26, static_cast<unsigned char>('A'));
  std::iota(table + Symbols::firstLetter + 26, table + Symbols::firstLetter + 32, static_cast<unsigned char>(0xDA));
}

}  // namespace ZaM::detail

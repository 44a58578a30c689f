// The text filter for Latin, Greek, Cyrillic, Armenian, Hebrew, Arabic and ideographic text.
#ifndef ZAM_TEXT_ASCII_TEXT_FILTER_H
#define ZAM_TEXT_ASCII_TEXT_FILTER_H

#include <cstdint>
#include <vector>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"
#include "zam/text/text_filter.h"

namespace ZaM {

namespace detail {
struct BlockKernel;
struct TextFilterAccess;
}  // namespace detail

/// Filters text by fixed tables of symbols.
///
///     Ref<AsciiTextFilter> filter(AsciiTextFilter::Create(2, true));
///     std::string words(9, '\0');
///     words.resize(filter->FilterTextA("The Cat", 7, words.data(), 9));  // 0 45 33 30 0 28 26 45 0
///
/// Upper and lower case share their symbols, most accented Latin letters those of a plain one, and the alphabets share
/// theirs with each other. Symbols 16 to 25 are digits, 26 to 207 letters. Hebrew points, Arabic vowel signs, tatweel
/// and Armenian marks vanish from their word without breaking it, and count for its length. Whatever has no symbol
/// separates words; a zero in the text does, too. Words shorter than the minimum length leave no trace.
///
/// Single-byte text is Latin-1 as far as it has letters here; it knows no ideographs.
///
/// An ideograph, kana or hangul syllable of 16-bit text becomes three symbols and ends its word. Letters directly
/// before it go into that word, however few they are. A high surrogate leaves the word open, so that a surrogate pair
/// is one word of six symbols.
///
/// Buffers:   `out` has `outSize` bytes; nothing is written past the returned count. With an `outSize` of 0 nothing
///            is written, and the result is 0. A null `text` goes with a length of 0, a null `out` with a size of 0.
///            - Single bytes: `length` + 2 bytes take everything. A smaller buffer gets the words that fit, up to the
///              first that doesn't.
///            - 16-bit units: 4 · `length` + 3 bytes take everything. A smaller buffer gets the words that fit, the
///              last of them possibly cut; an ideograph has to start below `outSize` - 5, and below a size of 4
///              there are no words.
/// Positions: the vector is emptied and gets one entry for each byte written. A symbol carries the index of its
///            character, the 0 after a word that of the character that ended the word, the 0 that the end of the text
///            adds the last entry plus 1. The first entry is that of the character before the second entry's, or 0
///            where that stands at the start or there are fewer than three entries. Indices of 2³¹ and above turn
///            negative.
/// Threads:   see TextFilter. Each object owns its tables, about 64 KB: make a filter once and reuse it.
/// Errors:    BaseException 5 when `positions` cannot grow; `out` then holds an unspecified part of the stream, and
///            `positions` is valid and agrees with it as far as it goes.
class ZAM_EXPORT AsciiTextFilter : public TextFilter {
 public:
  /// Makes a filter with a count of 1. Words of fewer than `minWordLen` characters are left out; 0 is as good as 1.
  /// Without `useDigits` digits separate words. Throws BaseException 5 when there is no memory for it.
  static AsciiTextFilter* Create(unsigned char minWordLen, bool useDigits);

  /// Copies everything, tables and the reference count included; see TextFilter.
  AsciiTextFilter(AsciiTextFilter const&) = default;
  AsciiTextFilter& operator=(AsciiTextFilter const&) = default;

  unsigned int FilterTextA(char const* text, unsigned int length, char* out, unsigned int outSize,
                           std::vector<std::int32_t>& positions) override;
  unsigned int FilterTextA(char const* text, unsigned int length, char* out, unsigned int outSize) override;
  unsigned int FilterTextW(wchar const* text, unsigned int length, char* out, unsigned int outSize,
                           std::vector<std::int32_t>& positions) override;
  unsigned int FilterTextW(wchar const* text, unsigned int length, char* out, unsigned int outSize) override;

  /// 208, with digits and without.
  unsigned int GetSymbolCount() override;

  /// "0" to "9" at the digits, "A" to "Z" at the first 26 letters, the bytes 0xDA to 0xDF at the next six, and
  /// underscores. The same with digits and without.
  unsigned char const* GetAlphaNum() override;

  /// 16: every symbol of a word lies from here to below `GetSymbolCount`.
  [[nodiscard]] std::uint32_t GetMinSymbol() const { return minSymbol; }

  /// Whether digits are parts of words.
  [[nodiscard]] bool GetUseDigits() const { return useDigits; }

  /// Builds all tables anew: not a cheap call.
  void SetUseDigits(bool use);

  /// The length from which a word counts, in symbols.
  [[nodiscard]] unsigned char GetMinWordLen() const { return minWordLen; }
  void SetMinWordLen(unsigned char length) { minWordLen = length; }

 protected:
  AsciiTextFilter(unsigned char shortest, bool withDigits);
  ~AsciiTextFilter() override;

 private:
  friend struct detail::TextFilterAccess;
  template <class Unit, class Positions>
  class Run;

  /// Fills the tables and the numbers; returns the symbol count.
  unsigned int InitFilter(bool withDigits);

  /// Writes an ideograph's three symbols to `out`, and a 0 unless it is a high surrogate. Returns 4 or 3.
  std::int32_t EncodeCJK(wchar character, char* out);

  unsigned char narrowTable[256];  // the symbol of each byte
  unsigned char displayTable[256];
  std::uint32_t symbolCount;
  std::uint32_t minSymbol;
  std::int32_t maxSymbol;
  std::int32_t ideographSymbol;
  std::int32_t firstDigitSymbol;
  std::int32_t firstLetterSymbol;
  std::int32_t droppedSymbol;
  bool useDigits;
  unsigned char minWordLen;
  unsigned char wideTable[65536];     // the symbol of each 16-bit unit
  unsigned char pageTable[256];       // what the units with one high byte have in common
  detail::BlockKernel const* kernel;  // what whole blocks of text go through; null for none
};

}  // namespace ZaM

#endif

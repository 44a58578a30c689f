// The header of a file of learned classes; docs/formats.md describes the whole.
#ifndef CLASSIFY_CORPUS_CLASSES_FORM_H
#define CLASSIFY_CORPUS_CLASSES_FORM_H

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <span>

#include "term_extractor.h"

namespace classify::classes_form {

using Word = std::uint32_t;
static_assert(std::numeric_limits<float>::is_iec559, "weights are stored as they are");

inline constexpr std::array<Word, 2> magic{0x436D615A, 0x7373616C};  // "ZamClass" with its bytes in this order
inline constexpr Word version = 1;

/// Words, in this order.
struct Header {
  std::array<Word, 2> magic;
  Word version;
  Word minWordLength;
  Word useDigits;  // 0 or 1
  Word classes;
  Word nameWords;                         // of the block of names
  std::array<Word, termKindCount> terms;  // of each kind
  std::array<Word, 2> documents;          // low word first
};
inline constexpr std::size_t headerWords = sizeof(Header) / sizeof(Word);

/// The hash of words: FNV-1a over 64 bits, with its authors' constants, a word in place of a byte.
class Hash {
 public:
  void Add(std::span<Word const> words) {
    for (Word const word : words) value = (value ^ word) * 0x100000001B3U;
  }
  std::array<Word, 2> Words() const { return {static_cast<Word>(value), static_cast<Word>(value >> 32)}; }

 private:
  std::uint64_t value = 0xCBF29CE484222325U;
};

/// From the machine's order of bytes to that of the file, or back.
inline void Swap(std::span<Word> words) {
  if constexpr (std::endian::native == std::endian::big)
    for (Word& word : words) word = word >> 24 | (word >> 8 & 0xFF00) | (word << 8 & 0xFF0000) | word << 24;
}

}  // namespace classify::classes_form

#endif

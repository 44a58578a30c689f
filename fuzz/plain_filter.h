// What a text filter has to do, told once more in the plainest way: an oracle that shares nothing with the filter but
// the symbols.
#ifndef FUZZ_PLAIN_FILTER_H
#define FUZZ_PLAIN_FILTER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "zam/text/symbol_tables.h"

namespace ZaM::test {

/// As the library's table has it, which has a test of its own.
inline unsigned char SymbolOf(char16_t unit, bool useDigits) {
  static auto const tables = [] {
    std::array<std::array<unsigned char, 0x10000>, 2> filled;
    for (bool const withDigits : {false, true}) detail::FillSymbolTable(withDigits, filled[withDigits].data());
    return filled;
  }();
  return tables[useDigits][unit];
}

/// What comes of a text.
struct Stream {
  std::vector<unsigned char> bytes;
  std::vector<std::int32_t> positions;

  std::int64_t Size() const { return static_cast<std::int64_t>(bytes.size()); }

  void Add(unsigned int byte, std::size_t position) {
    bytes.push_back(static_cast<unsigned char>(byte));
    positions.push_back(static_cast<std::int32_t>(position));
  }

  void PointFirstEntryBeforeFirstWord() {
    if (positions.size() > 2 && positions[1] > 0) positions[0] = positions[1] - 1;
  }
};

struct Settings {
  unsigned int minWordLen;
  bool useDigits;
  std::int64_t outSize;
};

inline Stream FilterPlainly(std::string_view text, Settings settings) {
  Stream stream;
  if (settings.outSize == 0) return stream;
  stream.Add(0, 0);
  auto const symbol = [&](std::size_t at) -> unsigned int {
    return at == text.size() ? 0u : SymbolOf(static_cast<unsigned char>(text[at]), settings.useDigits);
  };
  for (std::size_t start = 0, end = 0; start < text.size(); start = end + 1) {
    for (end = start; symbol(end) != 0;) ++end;
    if (end == start || end - start < settings.minWordLen) continue;
    if (stream.Size() + static_cast<std::int64_t>(end - start) + 1 > settings.outSize) break;
    for (std::size_t i = start; i <= end; ++i) stream.Add(symbol(i), i);
  }
  stream.PointFirstEntryBeforeFirstWord();
  return stream;
}

inline Stream FilterPlainly(std::u16string_view text, Settings settings) {
  Stream stream;
  auto const size = settings.outSize;
  if (size == 0) return stream;
  stream.Add(0, 0);
  auto const symbol = [&](std::size_t at) { return SymbolOf(text[at], settings.useDigits); };
  bool full = false;
  for (std::size_t i = 0; i < text.size() && stream.Size() < size - 2 && !full;) {
    if (symbol(i) == 0) {
      ++i;
      continue;
    }
    auto end = i;
    while (end < text.size() && symbol(end) != 0 && symbol(end) != 241) ++end;
    bool const ideographFollows = end < text.size() && symbol(end) == 241;
    if (end - i < settings.minWordLen && !ideographFollows) {
      i = end;
      continue;
    }
    for (bool open = true; open && i < text.size(); ++i) {
      if (symbol(i) != 241) {
        if (symbol(i) != 1 && stream.Size() < size - 1) stream.Add(symbol(i), i);
        open = symbol(i) != 0;
        continue;
      }
      full = full || stream.Size() >= size - 5;
      if (stream.Size() < size - 5) {
        auto const number = static_cast<unsigned int>(text[i] - 0x2E80);
        for (unsigned int const digit : {number / 1600, number / 40 % 40, number % 40}) stream.Add(digit + 26, i);
        if (text[i] < 0xD800 || text[i] > 0xDBFF) stream.Add(0, i);
      }
      open = stream.bytes.back() != 0;
    }
  }
  if (stream.bytes.back() != 0) stream.Add(0, static_cast<std::size_t>(stream.positions.back()) + 1);
  stream.PointFirstEntryBeforeFirstWord();
  return stream;
}

}  // namespace ZaM::test

#endif

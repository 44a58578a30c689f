// What a text filter has to do, told once more in the plainest way: an oracle that shares no code with the filter.
#ifndef TESTS_TEXT_PLAIN_FILTER_H
#define TESTS_TEXT_PLAIN_FILTER_H

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vector>

namespace ZaM::test {

/// A range of 16-bit units with one symbol, or with symbols that ascend. It ends where the next one begins.
struct Range {
  char16_t first;
  unsigned char symbol;
  bool ascends;
};

inline constexpr Range rangesBehindLatin1[] = {
    {0x0100, 0, false},  {0x0391, 26, true},   {0x03AA, 0, false},   {0x03B1, 26, true},   {0x03D8, 0, false},
    {0x03F0, 65, true},  {0x03FA, 0, false},   {0x0410, 26, true},   {0x0430, 26, true},   {0x0460, 0, false},
    {0x0531, 26, true},  {0x0557, 0, false},   {0x0559, 1, false},   {0x055C, 0, false},   {0x0561, 26, true},
    {0x0587, 0, false},  {0x0591, 61, true},   {0x05B0, 1, false},   {0x05C0, 0, false},   {0x05D0, 26, true},
    {0x05F3, 0, false},  {0x0610, 170, true},  {0x0616, 0, false},   {0x0621, 27, true},   {0x0623, 26, false},
    {0x0626, 32, true},  {0x0640, 1, false},   {0x0641, 59, true},   {0x064B, 1, false},   {0x0653, 69, false},
    {0x0654, 26, false}, {0x0656, 1, false},   {0x0659, 0, false},   {0x0660, 16, true},   {0x066A, 0, false},
    {0x0670, 1, false},  {0x0671, 70, true},   {0x06D5, 0, false},   {0x06D6, 176, true},  {0x06F0, 16, true},
    {0x06FA, 202, true}, {0x0700, 0, false},   {0x2E80, 241, false}, {0x2FE0, 0, false},   {0x3040, 241, false},
    {0xD7B0, 0, false},  {0xD800, 241, false}, {0xE000, 0, false},   {0xF900, 241, false}, {0xFB00, 0, false}};

/// The letter that each byte from 0x30 on folds to; "^" and "_" go on behind "Z", and "." separates.
inline constexpr std::string_view latin1Letters =
    "0123456789......."
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ......"
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ....."
    "................................................................"
    "AAAAEFSSSEEEENOPQRSOOOOXYUUUU^_S"
    ".AAAE..SSEEEE......OOOO..UUUU...";
static_assert(latin1Letters.size() == 0x100 - 0x30);

inline unsigned char SymbolOfLatin1(unsigned int byte, bool useDigits) {
  if (byte < 0x30) return 0;
  char const letter = latin1Letters[byte - 0x30];
  if (letter == '.') return 0;
  if (letter >= 'A') return static_cast<unsigned char>(letter - 'A' + 26);
  return useDigits ? static_cast<unsigned char>(letter - '0' + 16) : 0;
}

inline unsigned char SymbolOf(char16_t unit, bool useDigits) {
  if (unit < 0x100) return SymbolOfLatin1(unit, useDigits);
  constexpr unsigned char cyrillicExtras[] = {31, 56, 30, 29, 31, 48, 34, 34, 55, 37, 39, 49, 36, 34, 45, 49};
  if (unit >> 4 == 0x40 || unit >> 4 == 0x45) return cyrillicExtras[unit & 0xF];
  auto range = std::begin(rangesBehindLatin1);
  while (range + 1 != std::end(rangesBehindLatin1) && range[1].first <= unit) ++range;
  auto const symbol = range->symbol + (range->ascends ? unit - range->first : 0);
  return symbol >= 16 && symbol < 26 && !useDigits ? 0 : static_cast<unsigned char>(symbol);
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
    return at == text.size() ? 0u : SymbolOfLatin1(static_cast<unsigned char>(text[at]), settings.useDigits);
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

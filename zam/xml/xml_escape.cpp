#include "zam/xml/xml_escape.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zam/platform/surrogates.h"

namespace ZaM::detail {

namespace {

/// What a unit of one or two bytes becomes.
struct Replacement {
  char bytes[7] = {};
  unsigned char length = 0;  // 0 for the zero unit, which ends the text
};

constexpr Replacement MakeReplacement(std::string_view bytes) {
  Replacement replacement;
  for (char const byte : bytes) replacement.bytes[replacement.length++] = byte;
  return replacement;
}

constexpr Replacement MakeReplacement(unsigned int unit) {
  char const one = unit < 0x20 ? ' ' : static_cast<char>(unit);
  char const two[] = {static_cast<char>(0xC0 | unit >> 6), static_cast<char>(0x80 | (unit & 0x3F))};
  return MakeReplacement(unit < 0x80 ? std::string_view(&one, 1) : std::string_view(two, 2));
}

constexpr auto replacements = [] {
  std::array<Replacement, 0x800> table;
  for (unsigned int unit = 1; unit < table.size(); ++unit) table[unit] = MakeReplacement(unit);
  table['&'] = MakeReplacement("&amp;");
  table['<'] = MakeReplacement("&lt;");
  table['>'] = MakeReplacement("&gt;");
  table['"'] = MakeReplacement("&quot;");
  table['\''] = MakeReplacement("&apos;");
  table['\t'] = MakeReplacement("&#09;");
  table['\n'] = MakeReplacement("&#10;");
  table['\r'] = MakeReplacement("&#13;");
  return table;
}();

constexpr char32_t replacementCharacter = 0xFFFD;

/// Takes the code point at `in`, which isn't in the table.
char32_t TakeCodePoint(char16_t const*& in, char16_t const* end) {
  char16_t const first = *in++;
  if (first >= 0xFFFE) return replacementCharacter;
  if (!platform::IsSurrogate(first)) return first;
  bool const isPair = platform::IsHighSurrogate(first) && in != end && platform::IsLowSurrogate(*in);
  return isPair ? platform::CodePoint(first, *in++) : replacementCharacter;
}

/// Writes a code point of three or four bytes.
char* WriteUtf8(char32_t point, char* out) {
  auto const put = [&](char32_t byte) { *out++ = static_cast<char>(byte); };
  if (point < 0x10000) {
    put(0xE0 | point >> 12);
  } else {
    put(0xF0 | point >> 18);
    put(0x80 | (point >> 12 & 0x3F));
  }
  put(0x80 | (point >> 6 & 0x3F));
  put(0x80 | (point & 0x3F));
  return out;
}

/// How far a text has been written.
struct Place {
  char16_t const* in;
  char* out;
};

/// Writes the units up to `stop`, and the second half of a pair after it. A zero unit counts as the end.
Place WriteByTable(Place at, char16_t const* stop, char16_t const* end) {
  auto [in, out] = at;
  while (in < stop) {
    if (*in >= replacements.size()) {
      out = WriteUtf8(TakeCodePoint(in, end), out);
      continue;
    }
    // No branch on what the unit becomes: eight bytes are copied, of which only the replacement's own count.
    Replacement const& replacement = replacements[*in++];
    if (replacement.length == 0) return {end, out};
    std::memcpy(out, &replacement, sizeof replacement);
    out += replacement.length;
  }
  return {in, out};
}

constexpr std::ptrdiff_t blockSize = 8;
using Units [[gnu::vector_size(16)]] = std::uint16_t;
using Bytes [[gnu::vector_size(8)]] = std::uint8_t;

/// Narrows a block of units to bytes. True, and the bytes right, if each of the units stands for itself.
bool CopyPlainBlock(char16_t const* in, char* out) {
  Units units;
  std::memcpy(&units, in, sizeof units);
  auto const bytes = __builtin_convertvector(units, Bytes);
  std::memcpy(out, &bytes, sizeof bytes);
  // The double quote and the ampersand differ in one bit, less-than and greater-than in another.
  auto const replaced =
      (units < 0x20) | (units >= 0x80) | ((units & 0xFFFB) == '"') | (units == '\'') | ((units & 0xFFFD) == '<');
  auto const flags = __builtin_convertvector(replaced, Bytes);
  std::uint64_t found = 0;
  std::memcpy(&found, &flags, sizeof found);
  return found == 0;
}

}  // namespace

// Plain blocks are copied as they are, others go through the table. A rest that is shorter than a block is copied along
// with what was in front of it, where that was plain, so that short values take no loop. See xml_stream_benchmark.
char* WriteEscaped(std::u16string_view text, char* out) {
  Place at{text.data(), out};
  char16_t const* const end = at.in + text.size();
  bool isPlain = false;
  while (end - at.in >= blockSize) {
    isPlain = CopyPlainBlock(at.in, at.out);
    at = isPlain ? Place{at.in + blockSize, at.out + blockSize} : WriteByTable(at, at.in + blockSize, end);
  }
  std::ptrdiff_t const rest = end - at.in;
  if (isPlain && CopyPlainBlock(end - blockSize, at.out + rest - blockSize)) return at.out + rest;
  return WriteByTable(at, end, end).out;
}

}  // namespace ZaM::detail

#include "zam/platform/unicode.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zam/platform/surrogates.h"

namespace ZaM::platform {

namespace {

constexpr char32_t replacement = 0xFFFD;

/// What a first byte promises. The bounds of the second byte shut out overlong forms, surrogates and what lies beyond
/// U+10FFFF; a malformed first byte promises a replacement and nothing after it.
struct Lead {
  int continuations;
  char32_t bits;
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
};

Lead LeadOf(unsigned char byte) {
  if (byte < 0x80) return {0, byte};
  if (byte < 0xC2 || byte > 0xF4) return {0, replacement};
  if (byte < 0xE0) return {1, byte & 0x1Fu};
  if (byte == 0xE0) return {2, 0, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0xD, 0x80, 0x9F};
  if (byte < 0xF0) return {2, byte & 0x0Fu};
  if (byte == 0xF0) return {3, 0, 0x90, 0xBF};
  if (byte == 0xF4) return {3, 4, 0x80, 0x8F};
  return {3, byte & 0x07u};
}

/// Takes one code point, or one malformed sequence, off the front of `bytes`, which isn't empty.
char32_t TakeCodePoint(std::string_view& bytes) {
  Lead lead = LeadOf(static_cast<unsigned char>(bytes[0]));
  std::size_t length = 1;
  for (; lead.continuations > 0; --lead.continuations, ++length) {
    auto const byte = length < bytes.size() ? static_cast<unsigned char>(bytes[length]) : 0u;
    if (byte < lead.lowest || byte > lead.highest) {
      lead.bits = replacement;
      break;
    }
    lead = {lead.continuations, lead.bits << 6 | (byte & 0x3Fu)};
  }
  bytes.remove_prefix(length);
  return lead.bits;
}

/// The size of the character at the front, if it is one of those that nearly all alphabets are made of, and its unit;
/// else 0. (With TakeCodePoint alone, which knows the rest, Russian takes a third longer and Chinese twice as long.)
std::size_t ReadShort(std::string_view bytes, char16_t& unit) {
  auto const at = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  unsigned char const lead = at(0);
  if (lead < 0x80) return unit = lead, 1;
  if (bytes.size() < 3 || lead < 0xC2 || !IsContinuation(bytes[1])) return 0;
  auto const low = static_cast<char16_t>(at(1) & 0x3F);
  if (lead < 0xE0) return unit = static_cast<char16_t>((lead & 0x1F) << 6 | low), 2;
  // The others of three bytes have a second byte with bounds of its own.
  bool const isCommon = lead > 0xE0 && lead < 0xF0 && lead != 0xED && IsContinuation(bytes[2]);
  if (!isCommon) return 0;
  unit = static_cast<char16_t>((lead & 0xF) << 12 | low << 6 | (at(2) & 0x3F));
  return 3;
}

/// How many bytes at the front are ASCII; eight at a time, since most text is.
std::size_t LengthOfAscii(std::string_view bytes) {
  constexpr std::uint64_t highBits = 0x8080808080808080u;
  std::size_t length = 0;
  for (std::uint64_t eight = 0; length + sizeof eight <= bytes.size(); length += sizeof eight) {
    std::memcpy(&eight, bytes.data() + length, sizeof eight);
    if ((eight & highBits) != 0) break;
  }
  while (length < bytes.size() && static_cast<unsigned char>(bytes[length]) < 0x80) ++length;
  return length;
}

char32_t TakeCodePoint(std::u16string_view& units) {
  char16_t const first = units[0];
  bool const isPair = BeginsWithPair(units);
  char32_t const point = isPair ? CodePoint(first, units[1]) : IsSurrogate(first) ? replacement : first;
  units.remove_prefix(isPair ? 2 : 1);
  return point;
}

}  // namespace

std::u16string Utf16FromUtf8(std::string_view bytes) {
  std::u16string units(bytes.size(), u'\0');
  units.resize(Utf16FromUtf8(bytes, units.data()));
  return units;
}

std::size_t Utf16FromUtf8(std::string_view bytes, char16_t* units) {
  char16_t* end = units;
  while (!bytes.empty()) {
    std::size_t const ascii = LengthOfAscii(bytes);
    end = std::copy_n(bytes.begin(), ascii, end);
    bytes.remove_prefix(ascii);
    // Texts in another alphabet shouldn't pay for a look at every character.
    for (std::size_t n = 0; n < 16 && !bytes.empty(); ++n) {
      if (std::size_t const size = ReadShort(bytes, *end); size > 0) {
        ++end;
        bytes.remove_prefix(size);
        continue;
      }
      char32_t const point = TakeCodePoint(bytes);
      if (point < 0x10000) {
        *end++ = static_cast<char16_t>(point);
      } else {
        *end++ = HighSurrogate(point);
        *end++ = LowSurrogate(point);
      }
    }
  }
  return static_cast<std::size_t>(end - units);
}

bool IsUtf8(std::string_view bytes) {
  // U+FFFD itself may stand there.
  constexpr std::string_view wellFormed = "\xEF\xBF\xBD";
  for (bytes.remove_prefix(LengthOfAscii(bytes)); !bytes.empty(); bytes.remove_prefix(LengthOfAscii(bytes))) {
    bool const mayBeReplacement = bytes.starts_with(wellFormed);
    if (TakeCodePoint(bytes) == replacement && !mayBeReplacement) return false;
  }
  return true;
}

std::string Utf8FromUtf16(std::u16string_view units) {
  std::string bytes;
  bytes.reserve(units.size());
  auto const continuation = [&](char32_t bits) { bytes += static_cast<char>(0x80 | (bits & 0x3F)); };
  while (!units.empty()) {
    char32_t const point = TakeCodePoint(units);
    if (point < 0x80) {
      bytes += static_cast<char>(point);
    } else if (point < 0x800) {
      bytes += static_cast<char>(0xC0 | point >> 6);
      continuation(point);
    } else if (point < 0x10000) {
      bytes += static_cast<char>(0xE0 | point >> 12);
      continuation(point >> 6);
      continuation(point);
    } else {
      bytes += static_cast<char>(0xF0 | point >> 18);
      continuation(point >> 12);
      continuation(point >> 6);
      continuation(point);
    }
  }
  return bytes;
}

}  // namespace ZaM::platform

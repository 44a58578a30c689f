#include "zam/xml/xml_characters.h"

#include <algorithm>

namespace ZaM::detail {

namespace {

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

/// What may begin a name beyond ASCII, from XML 1.0, fifth edition, and what may only go on with it.
constexpr Range nameStarts[] = {{0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
                                {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
                                {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};
constexpr Range nameRest[] = {{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t count>
bool IsInAny(std::uint32_t code, Range const (&ranges)[count]) {
  return std::any_of(ranges, ranges + count, [=](Range range) { return code >= range.first && code <= range.last; });
}

bool IsAllowed(std::uint32_t code) {
  return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code < 0xD800) ||
         (code > 0xDFFF && code < 0xFFFE) || (code > 0xFFFF && code <= 0x10FFFF);
}

std::size_t Encode(std::uint32_t code, char* bytes) {
  std::size_t const size = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  constexpr std::uint32_t leads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  for (std::size_t i = size - 1; i > 0; --i, code >>= 6) bytes[i] = static_cast<char>(0x80 | (code & 0x3F));
  bytes[0] = static_cast<char>(leads[size] | code);
  return size;
}

/// `&#…;`, whose end is the first byte that can't be part of it.
void ScanCharacterReference(char const* start, char const* end, Reference& reference) {
  bool const isHex = start[2] == 'x';
  char const* const digits = start + (isHex ? 3 : 2);
  char const* next = digits;
  std::uint32_t code = 0;
  for (;; ++next) {
    bool const isDigit = *next >= '0' && *next <= '9';
    bool const isLetter = isHex && ((*next >= 'a' && *next <= 'f') || (*next >= 'A' && *next <= 'F'));
    if (!isDigit && !isLetter) break;
    auto const digit = static_cast<std::uint32_t>(isDigit ? *next - '0' : (*next & 0xF) + 9);
    code = std::min<std::uint32_t>(code * (isHex ? 16 : 10) + digit, 0x110000);
  }
  reference.isCut = next == end;
  if (*next != ';' || next == digits || !IsAllowed(code)) return;
  reference.byteCount = Encode(code, reference.bytes);
  reference.size = static_cast<std::size_t>(next + 1 - start);
}

/// 0 for a name that isn't predefined.
char Predefined(std::string_view name) {
  switch (name.size()) {
    case 2:
      return name[1] != 't' ? 0 : name[0] == 'l' ? '<' : name[0] == 'g' ? '>' : 0;
    case 3:
      return name == "amp" ? '&' : 0;
    case 4:
      return name == "quot" ? '"' : name == "apos" ? '\'' : 0;
    default:
      return 0;
  }
}

void ScanEntityReference(char const* start, char const* end, Reference& reference) {
  char const* const next = NameEnd(start + 1);
  reference.isCut = next == end || IsCutCharacter(next, end);
  if (*next != ';' || next == start + 1) return;
  reference.size = static_cast<std::size_t>(next + 1 - start);
  std::string_view const name = View(start + 1, next);
  reference.bytes[0] = Predefined(name);
  (reference.bytes[0] == 0 ? reference.nameSize : reference.byteCount) = reference.bytes[0] == 0 ? name.size() : 1;
}

}  // namespace

Character Decode(char const* bytes) {
  auto const at = [bytes](std::size_t i) -> std::uint32_t { return static_cast<unsigned char>(bytes[i]); };
  auto const follows = [&](std::size_t i) { return (at(i) & 0xC0) == 0x80; };
  std::uint32_t const first = at(0);
  if (first < 0x80) return {first, 1};
  if (first >= 0xC2 && first < 0xE0 && follows(1)) return {(first & 0x1F) << 6 | (at(1) & 0x3F), 2};
  if (first >= 0xE0 && first < 0xF0 && follows(1) && follows(2)) {
    std::uint32_t const code = (first & 0xF) << 12 | (at(1) & 0x3F) << 6 | (at(2) & 0x3F);
    bool const isGood = code >= 0x800 && (code < 0xD800 || code > 0xDFFF) && code < 0xFFFE;
    return {code, isGood ? 3U : 0U};
  }
  if (first >= 0xF0 && first < 0xF5 && follows(1) && follows(2) && follows(3)) {
    std::uint32_t const code = (first & 7) << 18 | (at(1) & 0x3F) << 12 | (at(2) & 0x3F) << 6 | (at(3) & 0x3F);
    return {code, code >= 0x10000 && code <= 0x10FFFF ? 4U : 0U};
  }
  return {first, 0};
}

bool IsNameCharacter(std::uint32_t code, bool isFirst) {
  if (code < 0x80) return Is(static_cast<char>(code), isFirst ? BeginsName : IsInName);
  return IsInAny(code, nameStarts) || (!isFirst && IsInAny(code, nameRest));
}

char const* NameEnd(char const* start) {
  char const* place = start;
  for (;;) {
    while (Is(*place, IsInName)) ++place;
    if (static_cast<unsigned char>(*place) < 0x80) break;
    auto const [code, size] = Decode(place);
    bool const isFirst = place == start;
    if (size == 0 || !IsNameCharacter(code, isFirst)) break;
    place += size;
  }
  return Is(*start, BeginsName) || static_cast<unsigned char>(*start) >= 0x80 ? place : start;
}

bool IsCutCharacter(char const* place, char const* end) {
  auto const first = static_cast<unsigned char>(*place);
  std::ptrdiff_t const size = first < 0xC2 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 1;
  return end - place < size;
}

bool IsText(std::string_view text) {
  char const* place = text.data();
  char const* const end = place + text.size();
  while (place < end) {
    if (Is(*place, IsBlank) || (*place >= 0x20 && static_cast<unsigned char>(*place) < 0x80)) {
      ++place;
      continue;
    }
    std::size_t const size = SpecialSize(place);
    if (size == 0) return false;
    place += size;
  }
  return place == end;
}

/// One object all along: copying it right after it is written stalls the processor.
Reference ReferenceAt(char const* start, char const* end) {
  Reference reference;
  start[1] == '#' ? ScanCharacterReference(start, end, reference) : ScanEntityReference(start, end, reference);
  return reference;
}

}  // namespace ZaM::detail

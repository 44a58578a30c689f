#include "zam/xml/xml_conversion.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "zam/platform/surrogates.h"
#include "zam/platform/unicode.h"
#include "zam/xml/xml_characters.h"

namespace ZaM::detail {

namespace {

/// Copies the ASCII characters at the front of `in`, as far as there is room, and returns their number. Nearly all of
/// what documents hold goes this way.
template <class In, class Out>
std::size_t CopyAscii(std::basic_string_view<In> in, std::span<Out> out) {
  std::size_t const most = std::min(in.size(), out.size());
  std::size_t count = 0;
  for (; count < most && static_cast<std::make_unsigned_t<In>>(in[count]) < 0x80; ++count) {
    out[count] = static_cast<Out>(in[count]);
  }
  return count;
}

struct Converted {
  std::string_view bytes;
  bool isWhole;
};

Converted ToUtf8(std::u16string_view units, std::span<char> area) {
  std::size_t const ascii = CopyAscii(units, area);
  std::size_t const room = area.size() - ascii;
  // Every unit gives a byte or more; the one beyond the room tells whether a pair is whole.
  std::string const rest = platform::Utf8FromUtf16(units.substr(ascii, room + 1));
  std::size_t count = std::min(rest.size(), room);
  while (count < rest.size() && count > 0 && platform::IsContinuation(rest[count])) --count;
  std::copy_n(rest.begin(), count, area.begin() + static_cast<std::ptrdiff_t>(ascii));
  return {{area.data(), ascii + count}, count == rest.size()};
}

/// UTF-8 that is well-formed already.
void ReplaceForbidden(std::span<char> bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    auto const byte = static_cast<unsigned char>(bytes[i]);
    if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') bytes[i] = ' ';
    // U+FFFE and U+FFFF are EF BF BE and EF BF BF, and U+FFFD is EF BF BD.
    if (byte == 0xEF && bytes[i + 1] == '\xBF' && bytes[i + 2] >= '\xBE') bytes[i + 2] = '\xBD';
  }
}

/// A colon stands between two names here, as in `x:a`: with others libxml2 finds no end of the name.
bool IsKeptInName(std::u16string_view units, bool isFirst) {
  if (units[0] == u':') return !isFirst && units.size() > 1 && IsKeptInName(units.substr(1), true);
  return IsNameCharacter(platform::BeginsWithPair(units) ? platform::CodePoint(units[0], units[1]) : units[0], isFirst);
}

wstring MakeName(std::u16string_view units) {
  if (units.empty()) return u"_";
  wstring name;
  while (!units.empty()) {
    std::size_t const length = platform::BeginsWithPair(units) ? 2 : 1;
    name += IsKeptInName(units, name.empty()) ? units.substr(0, length) : std::u16string_view(u"_");
    units.remove_prefix(length);
  }
  return name;
}

}  // namespace

std::string_view FrontUnits(std::string_view bytes, std::size_t most) {
  if (bytes.size() <= most) return bytes;
  std::size_t units = 0;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    auto const byte = static_cast<unsigned char>(bytes[at]);
    if (platform::IsContinuation(bytes[at])) continue;
    units += byte < 0xF0 ? 1 : 2;
    if (units > most) return bytes.substr(0, at);
  }
  return bytes;
}

wstring ToWide(std::string_view bytes) {
  // Eight bytes at once, as long as all are ASCII.
  auto const isAscii = [&bytes](std::size_t at) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data() + at, sizeof word);
    return (word & 0x8080808080808080U) == 0;
  };
  std::size_t ascii = 0;
  while (bytes.size() - ascii >= 8 && isAscii(ascii)) ascii += 8;
  while (ascii < bytes.size() && static_cast<unsigned char>(bytes[ascii]) < 0x80) ++ascii;
  wstring wide(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(ascii));
  if (ascii < bytes.size()) wide += platform::Utf16FromUtf8(bytes.substr(ascii));
  return wide;
}

std::string_view ToXmlText(std::u16string_view units, std::span<char> area) {
  std::string_view const bytes = ToUtf8(units, area).bytes;
  ReplaceForbidden(area.first(bytes.size()));
  return bytes;
}

XmlName ToXmlName(std::u16string_view units, std::span<char> area) {
  wstring const name = MakeName(units.substr(0, area.size() + 1));
  Converted const converted = ToUtf8(name, area);
  return {converted.bytes, converted.isWhole && units == name};
}

}  // namespace ZaM::detail

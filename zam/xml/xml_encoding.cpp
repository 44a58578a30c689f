#include "zam/xml/xml_encoding.h"

#include <algorithm>
#include <array>
#include <vector>

namespace ZaM::detail {

namespace {

/// In small letters; a trailing `#` stands for digits.
constexpr std::array<std::string_view, 36> allowed = {
    "utf-8",       "utf8",        "utf-16", "utf-16le",        "utf-16be",        "utf-32",    "utf-32le", "utf-32be",
    "ucs-2",       "ucs-4",       "ascii",  "iso-10646-ucs-2", "iso-10646-ucs-4", "us-ascii",  "latin#",   "iso-8859-#",
    "iso8859-#",   "iso_8859-#",  "cp125#", "windows-125#",    "shift_jis",       "shift-jis", "sjis",     "cp932",
    "windows-31j", "iso-2022-jp", "euc-jp", "euc-kr",          "euc-cn",          "euc-tw",    "gb2312",   "gbk",
    "gb18030",     "big5",        "koi8-r", "koi8-u"};

constexpr std::string_view blanks = " \t\r\n";

/// The ASCII characters of any of the encodings that declarations are read in.
std::string Letters(std::string_view head) {
  bool const isWide = head.substr(0, 4).find('\0') != head.npos || head.starts_with('\xFE') || head.starts_with('\xFF');
  if (!isWide) return std::string(head.starts_with("\xEF\xBB\xBF") ? head.substr(3) : head);
  std::string letters;
  std::copy_if(head.begin(), head.end(), std::back_inserter(letters), [](char c) { return c > 0; });
  return letters;
}

bool IsAllowed(std::string_view name) {
  return std::any_of(allowed.begin(), allowed.end(), [&](std::string_view pattern) {
    if (!pattern.ends_with('#')) return name == pattern;
    pattern.remove_suffix(1);
    return name.starts_with(pattern) && name.size() <= pattern.size() + 2 &&
           name.find_first_not_of("0123456789", pattern.size()) == std::string_view::npos;
  });
}

/// What stands after each `encoding=` of the declaration, in small letters.
std::vector<std::string> Names(std::string_view head) {
  std::vector<std::string> names;
  std::string const letters = Letters(head);
  bool const isDeclared = letters.starts_with("<?xml") && blanks.find(letters.c_str()[5]) != blanks.npos;
  std::string_view rest = isDeclared ? std::string_view(letters).substr(0, letters.find("?>")) : std::string_view();
  constexpr std::string_view word = "encoding";
  for (std::size_t place; (place = rest.find(word)) != rest.npos;) {
    rest.remove_prefix(place + word.size());
    std::string_view name = rest;
    name.remove_prefix(std::min(name.find_first_not_of(blanks), name.size()));
    if (!name.starts_with('=')) continue;
    name.remove_prefix(std::min(name.find_first_not_of(blanks, 1), name.size()));
    if (!name.starts_with('"') && !name.starts_with('\'')) continue;
    names.emplace_back(name.substr(1, std::min(name.find(name[0], 1), name.size()) - 1));
    std::transform(names.back().begin(), names.back().end(), names.back().begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  }
  return names;
}

void AppendUtf8(std::string& text, std::uint32_t c) {
  auto const append = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  bool const isCharacter = c != 0 && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
  if (!isCharacter) return append(0xFF);
  if (c < 0x80) return append(c);
  if (c < 0x800) {
    append(0xC0 | c >> 6);
  } else if (c < 0x10000) {
    append(0xE0 | c >> 12);
    append(0x80 | (c >> 6 & 0x3F));
  } else {
    append(0xF0 | c >> 18);
    append(0x80 | (c >> 12 & 0x3F));
    append(0x80 | (c >> 6 & 0x3F));
  }
  append(0x80 | (c & 0x3F));
}

}  // namespace

bool IsHeadComplete(std::string_view head) {
  if (head.size() < 4) return false;
  std::string const letters = Letters(head);
  constexpr std::string_view start = "<?xml";
  bool const mayBeDeclaration = letters.starts_with(start.substr(0, std::min(letters.size(), start.size())));
  return !mayBeDeclaration || letters.find("?>") != std::string::npos;
}

/// Each `encoding=` counts: which of them is the declaration's would be a parser's to say.
bool IsEncodingAllowed(std::string_view head) {
  if (head.starts_with("\x4C\x6F\xA7\x94")) return false;  // a declaration in EBCDIC
  std::vector<std::string> const names = Names(head);
  return std::all_of(names.begin(), names.end(), IsAllowed);
}

std::string DeclaredEncoding(std::string_view head) {
  std::vector<std::string> const names = Names(head);
  return names.empty() ? std::string() : names.front();
}

std::optional<Utf32Decoder> Utf32Decoder::For(std::string_view head) {
  using namespace std::string_view_literals;
  if (head.starts_with("\xFF\xFE\0\0"sv)) return Utf32Decoder(false);
  if (head.starts_with("\0\0\xFE\xFF"sv)) return Utf32Decoder(true);
  return std::nullopt;
}

std::string Utf32Decoder::Decode(std::string_view bytes) {
  std::string text;
  for (char const c : bytes) {
    std::uint32_t const byte = static_cast<unsigned char>(c);
    unit |= byte << 8 * (isBig ? 3 - count : count);
    if (++count < 4) continue;
    AppendUtf8(text, unit);
    count = 0;
    unit = 0;
  }
  return text;
}

}  // namespace ZaM::detail

#include "zam/xml/xml_scanner.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <unordered_set>

#include "zam/foundation/create_counted.h"
#include "zam/platform/vector128.h"

namespace ZaM::detail {

namespace {

/// Zero bytes behind the buffer: as many as a scan looks at together.
constexpr std::size_t padding = 16;

/// Up to so many attributes are compared with each other.
constexpr std::size_t fewAttributes = 12;

enum : std::uint8_t {
  isBlank = 1,
  beginsName = 2,
  isInName = 4,
};

/// Of ASCII characters.
constexpr std::array<std::uint8_t, 256> classes = [] {
  std::array<std::uint8_t, 256> made = {};
  for (char const c : {'\t', '\n', '\r', ' '}) made[static_cast<std::size_t>(c)] |= isBlank;
  for (char c = 'a'; c <= 'z'; ++c) made[static_cast<std::size_t>(c)] |= beginsName | isInName;
  for (char c = 'A'; c <= 'Z'; ++c) made[static_cast<std::size_t>(c)] |= beginsName | isInName;
  for (char const c : {':', '_'}) made[static_cast<std::size_t>(c)] |= beginsName | isInName;
  for (char c = '0'; c <= '9'; ++c) made[static_cast<std::size_t>(c)] |= isInName;
  for (char const c : {'-', '.'}) made[static_cast<std::size_t>(c)] |= isInName;
  return made;
}();

bool Is(char c, std::uint8_t wanted) {
  return (classes[static_cast<unsigned char>(c)] & wanted) != 0;
}

/// A character of UTF-8: its code and its length, which is 0 where it isn't well-formed or XML doesn't allow it.
struct Character {
  std::uint32_t code;
  std::size_t size;
};

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
bool Lies(std::uint32_t code, Range const (&ranges)[count]) {
  return std::any_of(ranges, ranges + count, [=](Range range) { return code >= range.first && code <= range.last; });
}

/// The end of the name that begins here, which is where it begins where none does.
template <class Char>
Char* NameEnd(Char* start) {
  Char* place = start;
  for (;;) {
    while (Is(*place, isInName)) ++place;
    if (static_cast<unsigned char>(*place) < 0x80) break;
    auto const [code, size] = Decode(place);
    bool const isFirst = place == start;
    if (size == 0 || !(Lies(code, nameStarts) || (!isFirst && Lies(code, nameRest)))) break;
    place += size;
  }
  return Is(*start, beginsName) || static_cast<unsigned char>(*start) >= 0x80 ? place : start;
}

template <class Char>
Char* SkipBlanks(Char* place) {
  while (Is(*place, isBlank)) ++place;
  return place;
}

/// Whether the bytes at the end of the buffer may be a character that goes on behind it.
bool IsCutCharacter(char const* place, char const* end) {
  auto const first = static_cast<unsigned char>(*place);
  std::ptrdiff_t const size = first < 0xC2 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 1;
  return end - place < size;
}

/// The first byte that isn't a printable character of ASCII, or is one of `marks`. Texts and values are the most of
/// many documents. (See xml_parser_benchmark: byte by byte, parsing takes a third longer.)
template <class... Marks>
char* SkipPlain(char* place, Marks... marks) {
  for (;; place += padding) {
    if (unsigned int const special = platform::SpecialBytes(place, marks...)) return place + std::countr_zero(special);
  }
}

char* SkipText(char* place) {
  for (;;) {
    place = SkipPlain(place, '<', '&', ']');
    if (*place != '\n' && *place != '\t') return place;
    ++place;
  }
}

/// What a reference between `&` and `;` stands for, in `bytes`; its size, or 0 for none that is known.
std::size_t Substitute(std::string_view reference, char* bytes) {
  struct Predefined {
    std::string_view name;
    char character;
  };
  static constexpr Predefined predefined[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
  for (auto const& [name, character] : predefined) {
    if (reference == name) return *bytes = character, 1;
  }
  if (reference.size() < 2 || reference[0] != '#') return 0;
  bool const isHex = reference[1] == 'x';
  std::string_view const digits = reference.substr(isHex ? 2 : 1);
  if (digits.empty() || digits.size() > 7) return 0;
  std::uint32_t code = 0;
  for (char const c : digits) {
    bool const isDigit = c >= '0' && c <= '9';
    bool const isLetter = isHex && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'));
    if (!isDigit && !isLetter) return 0;
    auto const digit = static_cast<std::uint32_t>(isDigit ? c - '0' : (c & 0xF) + 9);
    code = code * (isHex ? 16 : 10) + digit;
  }
  bool const isAllowed = code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code < 0xD800) ||
                         (code > 0xDFFF && code < 0xFFFE) || (code > 0xFFFF && code <= 0x10FFFF);
  if (!isAllowed) return 0;
  std::size_t const size = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  constexpr std::uint32_t leads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  for (std::size_t i = size - 1; i > 0; --i, code >>= 6) bytes[i] = static_cast<char>(0x80 | (code & 0x3F));
  bytes[0] = static_cast<char>(leads[size] | code);
  return size;
}

/// Whether all of it is characters that XML allows.
bool IsText(std::string_view text) {
  char const* place = text.data();
  char const* const end = place + text.size();
  while (place < end) {
    if (Is(*place, isBlank) || (*place >= 0x20 && static_cast<unsigned char>(*place) < 0x80)) {
      ++place;
      continue;
    }
    std::size_t const size = static_cast<unsigned char>(*place) < 0x80 ? 0 : Decode(place).size;
    if (size == 0) return false;
    place += size;
  }
  return place == end;
}

bool EqualsLetters(std::string_view text, std::string_view small) {
  return std::equal(text.begin(), text.end(), small.begin(), small.end(),
                    [](char a, char b) { return (a | (b >= 'a' && b <= 'z' ? 0x20 : 0)) == b; });
}

/// `name = 'value'` behind blanks, as in a declaration; empty where it isn't there, and `place` is left.
std::string_view TakePseudoAttribute(char const*& place, std::string_view name) {
  char const* next = SkipBlanks(place);
  if (next == place || std::strncmp(next, name.data(), name.size()) != 0) return {};
  next = SkipBlanks(next + name.size());
  if (*next != '=') return {};
  next = SkipBlanks(next + 1);
  if (*next != '"' && *next != '\'') return {};
  char const* const valueEnd = std::strchr(next + 1, *next);
  if (valueEnd == nullptr || valueEnd == next + 1) return {};
  std::string_view const value(next + 1, static_cast<std::size_t>(valueEnd - next - 1));
  place = valueEnd + 1;
  return value;
}

std::string_view View(char const* begin, char const* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

}  // namespace

bool XmlScanner::Feed(std::string_view bytes) {
  if (bytes.empty()) return true;
  if (bytes.data() != end) bytes.copy(Room(bytes.size()).data(), bytes.size());
  end += bytes.size();
  std::memset(end, 0, padding);
  return Run();
}

bool XmlScanner::Finish() {
  if (place != Place::epilog || cursor != end) return false;
  shaper.EndDocument();
  return true;
}

std::string XmlScanner::Opening() const {
  // A comment keeps what follows from being taken for the beginning of a document, which is there no more.
  std::string opening = declaration + (hasBeginning ? "" : "<!---->");
  if (place == Place::epilog) return opening + "<a/>";
  for (std::size_t const start : openStarts) opening.append("<").append(&openNames[start]).append(">");
  if (place == Place::cdata) opening += "<![CDATA[";
  return opening;
}

XmlEventsBefore XmlScanner::Before() const {
  if (place == Place::epilog) return {hasBegun, 1, 1};
  return {hasBegun, openStarts.size(), 0};
}

std::span<char> XmlScanner::Room(std::size_t size) {
  auto const left = static_cast<std::size_t>(end - cursor);
  std::size_t const needed = left + size + padding;
  if (needed > capacity) {
    std::size_t const larger = std::max(needed, 2 * capacity);
    auto moved = ReportOutOfMemory([=] { return std::make_unique_for_overwrite<char[]>(larger); });
    if (left > 0) std::memcpy(moved.get(), cursor, left);
    area = std::move(moved);
    capacity = larger;
  } else if (left > 0) {
    std::memmove(area.get(), cursor, left);
  }
  cursor = area.get();
  end = cursor + left;
  return {end, size};
}

void XmlScanner::DropRest() {
  cursor = end;
}

bool XmlScanner::Run() {
  for (;;) {
    Place const before = place;
    Step step = Step::incomplete;
    switch (before) {
      case Place::start:
        step = ScanStart();
        break;
      case Place::content:
        step = ScanContent();
        break;
      case Place::cdata:
        step = ScanCData();
        break;
      default:
        step = ScanMisc();
    }
    if (step != Step::done) return step == Step::incomplete;
    if (before != Place::start) hasBeginning = false;
    looked = 0;
    quote = 0;
  }
}

/// The byte order mark and the declaration. Nothing has been taken of what is refused here, so that libxml2 sees which
/// encoding it is in.
XmlScanner::Step XmlScanner::ScanStart() {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  constexpr std::string_view start = "<?xml";
  std::string_view text = Rest();
  if (mark.starts_with(text)) return Step::incomplete;
  if (text.starts_with(mark)) text.remove_prefix(mark.size());
  if (start.starts_with(text)) return Step::incomplete;
  if (text[0] != '<' || text[1] == 0) return Step::refused;
  if (text.starts_with(start) && Is(text[start.size()], isBlank)) {
    Step const step = ScanDeclaration(text.data());
    if (step != Step::done) return step;
  } else {
    ReportOutOfMemory([&] { declaration.assign(cursor, end - text.size()); });
    cursor = end - text.size();
  }
  place = Place::prolog;
  return Step::done;
}

XmlScanner::Step XmlScanner::ScanDeclaration(char const* start) {
  std::string_view const text = View(start, end);
  std::size_t const size = text.find("?>");
  if (size == text.npos) return Step::incomplete;
  char const* next = start + 5;
  if (TakePseudoAttribute(next, "version") != "1.0") return Step::refused;
  std::string_view const encoding = TakePseudoAttribute(next, "encoding");
  if (!encoding.empty() && !EqualsLetters(encoding, "utf-8")) return Step::refused;
  std::string_view const standalone = TakePseudoAttribute(next, "standalone");
  if (!standalone.empty() && standalone != "yes" && standalone != "no") return Step::refused;
  if (SkipBlanks(next) != start + size) return Step::refused;
  ReportOutOfMemory([&] { declaration.assign(cursor, end - text.size() + size + 2); });
  cursor += declaration.size();
  return Step::done;
}

/// In front of the root and behind it.
XmlScanner::Step XmlScanner::ScanMisc() {
  cursor = SkipBlanks(cursor);
  if (*cursor != '<') return AtByte(cursor);
  if (cursor + 1 == end) return Step::incomplete;
  bool const isRoot = cursor[1] != '!' && cursor[1] != '?';
  if (place == Place::epilog && isRoot) return Step::refused;
  return ScanMarkup();
}

XmlScanner::Step XmlScanner::ScanMarkup() {
  switch (cursor[1]) {
    case '/':
      return place == Place::content ? ScanEndTag() : Step::refused;
    case '?':
      return ScanProcessingInstruction();
    case '!':
      break;
    case 0:
      return AtByte(cursor + 1);
    default:
      return ScanStartTag();
  }
  constexpr std::string_view comment = "<!--";
  constexpr std::string_view cdata = "<![CDATA[";
  std::string_view const text = Rest();
  if (text.starts_with(comment)) return ScanComment();
  if (place == Place::content && text.starts_with(cdata)) {
    cursor += cdata.size();
    place = Place::cdata;
    return Step::done;
  }
  bool const mayGoOn = comment.starts_with(text) || (place == Place::content && cdata.starts_with(text));
  return mayGoOn ? Step::incomplete : Step::refused;
}

void XmlScanner::SendText(char const* textEnd) {
  std::string_view const text = View(cursor, textEnd);
  cursor += text.size();
  if (!text.empty()) shaper.Text(text, true);
}

XmlScanner::Step XmlScanner::ScanContent() {
  if (*cursor == '<') return ScanMarkup();
  char* next = cursor;
  for (;;) {
    next = SkipText(next);
    if (*next == '<') {
      SendText(next);
      return ScanMarkup();
    }
    if (*next == '&') {
      SendText(next);
      return ScanReference(next);
    }
    if (next == end) {
      SendText(next);
      return Step::incomplete;
    }
    if (*next == ']') {
      if (next[1] == ']' && next[2] == '>') return Step::refused;
      bool const mayGoOn = next + 1 == end || (next[1] == ']' && next + 2 == end);
      if (mayGoOn) {
        SendText(next);
        return Step::incomplete;
      }
      ++next;
    } else if (*next == '\r') {
      if (next + 1 == end) {
        SendText(next);
        return Step::incomplete;
      }
      if (next[1] == '\n') {
        SendText(next);
        next = ++cursor;
      } else {
        *next++ = '\n';
      }
    } else {
      std::size_t const size = static_cast<unsigned char>(*next) < 0x80 ? 0 : Decode(next).size;
      if (size == 0) {
        if (*next == 0 || !IsCutCharacter(next, end)) return Step::refused;
        SendText(next);
        return Step::incomplete;
      }
      next += size;
    }
  }
}

XmlScanner::Step XmlScanner::ScanReference(char* reference) {
  constexpr std::size_t longest = 10;  // &#1114111;
  std::string_view const text = View(reference, end).substr(0, longest);
  std::size_t const size = text.find(';');
  if (size == text.npos) return text.size() < longest ? Step::incomplete : Step::refused;
  char bytes[4];
  std::size_t const count = Substitute(text.substr(1, size - 1), bytes);
  if (count == 0) return Step::refused;
  cursor += size + 1;
  shaper.Text({bytes, count}, false);
  return Step::done;
}

XmlScanner::Step XmlScanner::ScanCData() {
  std::string_view const text = Rest();
  std::size_t const mark = text.find("]]>");
  std::size_t size = std::min(mark, text.size());
  if (mark == text.npos) {
    // What may be the beginning of the mark, of a line end or of a character stays.
    while (size > 0 && text.size() - size < 2 && text[size - 1] == ']') --size;
    if (size > 0 && text[size - 1] == '\r') --size;
    for (std::size_t i = 1; i <= 3 && i <= size; ++i) {
      auto const byte = static_cast<unsigned char>(text[size - i]);
      if (byte < 0x80) break;
      if (byte >= 0xC0) {
        if (IsCutCharacter(&text[size - i], end)) size -= i;
        break;
      }
    }
  }
  if (!IsText(text.substr(0, size))) return Step::refused;
  cursor += size;
  if (size > 0) shaper.CData(NormalLineEnds(text.substr(0, size)));
  if (mark == text.npos) return Step::incomplete;
  if (size == 0) shaper.CData({});
  cursor += 3;
  place = Place::content;
  return Step::done;
}

/// `text`, or a copy that lasts until the next.
std::string_view XmlScanner::NormalLineEnds(std::string_view text) {
  if (text.find('\r') == text.npos) return text;
  ReportOutOfMemory([&] {
    values.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '\r') {
        values += text[i];
      } else if (i + 1 == text.size() || text[i + 1] != '\n') {
        values += '\n';
      }
    }
  });
  return values;
}

char* XmlScanner::FindEnd(std::size_t startSize, std::string_view mark) {
  std::string_view const text = Rest();
  std::size_t const begin = std::max(startSize, looked - std::min(looked, mark.size()));
  std::size_t const offset = text.find(mark, begin);
  looked = text.size();
  return offset == text.npos ? nullptr : cursor + offset;
}

XmlScanner::Step XmlScanner::ScanComment() {
  char* const mark = FindEnd(4, "--");
  if (mark == nullptr || mark + 2 == end) return Step::incomplete;
  if (mark[2] != '>') return Step::refused;
  std::string_view const text = View(cursor + 4, mark);
  if (!IsText(text)) return Step::refused;
  cursor = mark + 3;
  if (place == Place::content) shaper.Comment(NormalLineEnds(text));
  return Step::done;
}

XmlScanner::Step XmlScanner::ScanProcessingInstruction() {
  char* const mark = FindEnd(2, "?>");
  if (mark == nullptr) return Step::incomplete;
  std::string_view const target = View(cursor + 2, NameEnd(cursor + 2));
  if (target.empty() || EqualsLetters(target, "xml")) return Step::refused;
  char const* const data = SkipBlanks(target.data() + target.size());
  bool const isSeparate = data != target.data() + target.size() || data == mark;
  std::string_view const text = View(std::min<char const*>(data, mark), mark);
  if (!isSeparate || !IsText(text)) return Step::refused;
  cursor = mark + 2;
  if (place == Place::content) shaper.ProcessingInstruction(target, NormalLineEnds(text));
  return Step::done;
}

/// Whether a tag that wasn't complete is so now.
bool XmlScanner::HasTagEnd() {
  for (char const* byte = cursor + looked; byte < end; ++byte) {
    if (quote != 0) {
      if (*byte == quote) quote = 0;
    } else if (*byte == '"' || *byte == '\'') {
      quote = *byte;
    } else if (*byte == '>') {
      return true;
    }
  }
  looked = static_cast<std::size_t>(end - cursor);
  return false;
}

XmlScanner::Step XmlScanner::ScanStartTag() {
  if (looked > 0 && !HasTagEnd()) return Step::incomplete;
  Found name = {cursor + 1, NameEnd(cursor + 1), nullptr, nullptr, true};
  char* next = name.nameEnd;
  Step step = next == name.name && next != end && !IsCutCharacter(next, end) ? Step::refused : ScanAttributes(next);
  if (step == Step::incomplete) return HasTagEnd() ? Step::refused : Step::incomplete;
  if (step == Step::refused || HasDuplicates()) return Step::refused;
  bool const isEmpty = *next == '/';
  OpenElement(name, next + (isEmpty ? 2 : 1), isEmpty);
  return Step::done;
}

/// Up to the `>` or `/>` of a tag.
XmlScanner::Step XmlScanner::ScanAttributes(char*& next) {
  found.clear();
  for (;;) {
    char* const behind = next;
    next = SkipBlanks(next);
    if (*next == '>') return Step::done;
    if (*next == '/') return next[1] == '>' ? Step::done : AtByte(next + 1);
    // In place: copying it right after it is written stalls the processor.
    Found& attribute = ReportOutOfMemory([&]() -> Found& { return found.emplace_back(); });
    attribute.name = next;
    attribute.nameEnd = NameEnd(next);
    if (attribute.nameEnd == next) return next == end || IsCutCharacter(next, end) ? Step::incomplete : Step::refused;
    if (next == behind) return Step::refused;
    next = SkipBlanks(attribute.nameEnd);
    if (*next != '=') return next == end || IsCutCharacter(next, end) ? Step::incomplete : Step::refused;
    next = SkipBlanks(next + 1);
    if (*next != '"' && *next != '\'') return AtByte(next);
    attribute.value = next + 1;
    Step const step = ScanValue(next, attribute.isPlain);
    if (step != Step::done) return step;
    attribute.valueEnd = next++;
  }
}

/// From the quote in front of a value to the one behind it.
XmlScanner::Step XmlScanner::ScanValue(char*& next, bool& isPlain) const {
  char const limit = *next++;
  for (;;) {
    next = SkipPlain(next, limit, '<', '&');
    if (*next == limit) return Step::done;
    if (Is(*next, isBlank)) {
      isPlain = false;
      ++next;
    } else if (*next == '&') {
      isPlain = false;
      std::string_view const text = View(next, end).substr(0, 10);
      std::size_t const size = text.find(';');
      if (size == text.npos) return text.size() < 10 ? Step::incomplete : Step::refused;
      char bytes[4];
      if (Substitute(text.substr(1, size - 1), bytes) == 0) return Step::refused;
      next += size + 1;
    } else {
      std::size_t const size = static_cast<unsigned char>(*next) < 0x80 ? 0 : Decode(next).size;
      if (size == 0) return next == end || (*next != 0 && IsCutCharacter(next, end)) ? Step::incomplete : Step::refused;
      next += size;
    }
  }
}

bool XmlScanner::HasDuplicates() const {
  auto const name = [](Found const& attribute) { return View(attribute.name, attribute.nameEnd); };
  if (found.size() > fewAttributes) {
    return ReportOutOfMemory([&] {
      std::unordered_set<std::string_view> names;
      names.reserve(found.size());
      return !std::all_of(found.begin(), found.end(), [&](Found const& one) { return names.insert(name(one)).second; });
    });
  }
  for (std::size_t i = 1; i < found.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      if (name(found[i]) == name(found[k])) return true;
    }
  }
  return false;
}

/// The bytes behind names and values, which nobody needs any more, become the zero bytes that end them.
void XmlScanner::OpenElement(Found const& name, char* tagEnd, bool isEmpty) {
  ReportOutOfMemory([&] {
    MakeAttributes(tagEnd);
    openStarts.push_back(openNames.size());
    openNames.append(name.name, name.nameEnd).push_back('\0');
  });
  if (!hasBegun) shaper.StartDocument();
  hasBegun = true;
  *name.nameEnd = 0;
  cursor = tagEnd;
  place = Place::content;
  shaper.StartElement(View(name.name, name.nameEnd), attributes, nullptr);
  if (isEmpty) CloseElement();
}

void XmlScanner::MakeAttributes(char const* tagEnd) {
  attributes.clear();
  values.clear();
  if (found.empty()) return;
  bool const areAllPlain = std::all_of(found.begin(), found.end(), [](Found const& one) { return one.isPlain; });
  // No value grows, so that none moves.
  if (!areAllPlain) values.reserve(static_cast<std::size_t>(tagEnd - cursor));
  attributes.resize(found.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    Found const& one = found[i];
    attributes[i].name = attributes[i].localName = View(one.name, one.nameEnd);
    attributes[i].value = one.isPlain ? View(one.value, one.valueEnd) : Value(one);
    *one.nameEnd = *one.valueEnd = 0;
  }
}

/// With its references substituted and its blanks made spaces.
std::string_view XmlScanner::Value(Found const& attribute) {
  std::size_t const begin = values.size();
  for (char* next = attribute.value; next < attribute.valueEnd;) {
    char* const special = std::min(SkipPlain(next, '&'), attribute.valueEnd);
    values.append(next, special);
    next = special;
    if (next == attribute.valueEnd) break;
    if (*next == '&') {
      std::string_view const text = View(next, attribute.valueEnd);
      std::size_t const size = text.find(';');
      char bytes[4];
      values.append(bytes, Substitute(text.substr(1, size - 1), bytes));
      next += size + 1;
    } else {
      bool const isPair = *next == '\r' && next[1] == '\n';
      values += Is(*next, isBlank) ? ' ' : *next;
      next += isPair ? 2 : 1;
    }
  }
  std::string_view const value = std::string_view(values).substr(begin);
  values += '\0';
  return value;
}

XmlScanner::Step XmlScanner::ScanEndTag() {
  std::string_view const name(&openNames[openStarts.back()], openNames.size() - openStarts.back() - 1);
  std::string_view const text = Rest().substr(2);
  if (!text.starts_with(name)) return name.starts_with(text) ? Step::incomplete : Step::refused;
  char* const last = SkipBlanks(cursor + 2 + name.size());
  if (*last != '>') return AtByte(last);
  cursor = last + 1;
  CloseElement();
  return Step::done;
}

void XmlScanner::CloseElement() {
  std::size_t const start = openStarts.back();
  std::string_view const name(&openNames[start], openNames.size() - start - 1);
  if (openStarts.size() == 1) place = Place::epilog;
  shaper.EndElement(name);
  openStarts.pop_back();
  openNames.resize(start);
}

}  // namespace ZaM::detail

#include "zam/xml/xml_scanner.h"

#include <algorithm>
#include <cstring>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/xml/push_parser.h"
#include "zam/xml/xml_encoding.h"

namespace ZaM::detail {

namespace {

bool EqualsLetters(std::string_view text, std::string_view small) {
  return std::equal(text.begin(), text.end(), small.begin(), small.end(),
                    [](char a, char b) { return (a | (b >= 'a' && b <= 'z' ? 0x20 : 0)) == b; });
}

/// `name = 'value'` after blanks, as in a declaration; empty where it isn't there, and `place` is left.
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

}  // namespace

bool XmlScanner::Feed(std::string_view bytes) {
  if (bytes.empty()) return true;
  if (bytes.data() != end) bytes.copy(Room(bytes.size()).data(), bytes.size());
  end += bytes.size();
  std::memset(end, 0, scanPadding);
  expansion.AddFed(bytes.size());
  return Run();
}

bool XmlScanner::Finish() {
  if (place != Place::Epilog || cursor != end) return false;
  shaper.EndDocument();
  return true;
}

std::string XmlScanner::Opening() const {
  // A comment keeps what follows from being taken for the beginning of a document, which is there no more.
  std::string opening = declaration + (hasBeginning || !typeText.empty() ? typeText : "<!---->");
  if (place == Place::Epilog) return opening + "<a/>";
  for (std::size_t i = 0; i < openNames.Count(); ++i) opening.append("<").append(openNames[i]).append(">");
  if (place == Place::Cdata) opening += "<![CDATA[";
  return opening;
}

XmlEventsBefore XmlScanner::Before() const {
  if (place == Place::Epilog) return {hasBegun, 1, 1};
  return {hasBegun, openNames.Count(), 0};
}

std::span<char> XmlScanner::Room(std::size_t size) {
  auto const left = static_cast<std::size_t>(end - cursor);
  std::size_t const needed = left + size + scanPadding;
  if (needed > document.capacity) {
    std::size_t const larger = std::max(needed, 2 * document.capacity);
    auto moved = ReportOutOfMemory([=] { return std::make_unique_for_overwrite<char[]>(larger); });
    if (left > 0) std::memcpy(moved.get(), cursor, left);
    document = {std::move(moved), larger};
  } else if (left > 0) {
    std::memmove(document.area.get(), cursor, left);
  }
  cursor = document.area.get();
  end = cursor + left;
  return {end, size};
}

void XmlScanner::DropRest() {
  cursor = end;
  looked = 0;
}

bool XmlScanner::Run() {
  for (;;) {
    Place const before = place;
    Step step = Step::Incomplete;
    switch (before) {
      case Place::Start:
        step = ScanStart();
        break;
      case Place::Content:
        step = ScanContent();
        break;
      case Place::Cdata:
        step = ScanCData();
        break;
      default:
        step = ScanMisc();
    }
    if (step == Step::Incomplete && !suspended.empty()) {
      CloseEntity();
      continue;
    }
    if (step != Step::Done) return step == Step::Incomplete;
    if (before != Place::Start) hasBeginning = false;
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
  if (mark.starts_with(text)) return Step::Incomplete;
  if (text.starts_with(mark)) text.remove_prefix(mark.size());
  if (start.starts_with(text)) return Step::Incomplete;
  if (text[0] != '<' || text[1] == 0) {
    bool const isUnclear =
        !isDecoded && Rest().size() <= mostDeclaration && !ReportOutOfMemory([this] { return IsHeadComplete(Rest()); });
    return isUnclear ? Step::Incomplete : Step::Refused;
  }
  if (text.starts_with(start) && Is(text[start.size()], IsBlank)) {
    Step const step = ScanDeclaration(text.data());
    if (step != Step::Done) return step;
  } else {
    ReportOutOfMemory([&] { declaration.assign(cursor, end - text.size()); });
    cursor = end - text.size();
  }
  place = Place::Prolog;
  return Step::Done;
}

XmlScanner::Step XmlScanner::ScanDeclaration(char const* start) {
  std::string_view const text = View(start, end);
  char const* const mark = FindEnd(static_cast<std::size_t>(start - cursor), "?>");
  if (mark == nullptr) return Step::Incomplete;
  auto const size = static_cast<std::size_t>(mark - start);
  char const* next = start + 5;
  std::string_view const version = TakePseudoAttribute(next, "version");
  if (!version.starts_with("1.") || version.find_first_not_of("0123456789", 2) != version.npos) return Step::Refused;
  std::string_view const encoding = TakePseudoAttribute(next, "encoding");
  bool const isName = std::all_of(encoding.begin(), encoding.end(), [](char c) { return Is(c, IsInName); });
  bool const isUtf8 =
      encoding.empty() || (isDecoded && isName) || EqualsLetters(encoding, "utf-8") || EqualsLetters(encoding, "utf8");
  if (!isUtf8) return Step::Refused;
  std::string_view const standalone = TakePseudoAttribute(next, "standalone");
  if (!standalone.empty() && standalone != "yes" && standalone != "no") return Step::Refused;
  if (SkipBlanks(next) != start + size) return Step::Refused;
  ReportOutOfMemory([&] { declaration.assign(cursor, end - text.size() + size + 2); });
  cursor += declaration.size();
  return Step::Done;
}

/// In front of the root and after it.
XmlScanner::Step XmlScanner::ScanMisc() {
  cursor = SkipBlanks(cursor);
  if (*cursor != '<') return AtByte(cursor);
  if (cursor + 1 == end) return Step::Incomplete;
  bool const isRoot = cursor[1] != '!' && cursor[1] != '?';
  if (place == Place::Epilog && isRoot) return Step::Refused;
  return ScanMarkup();
}

XmlScanner::Step XmlScanner::ScanMarkup() {
  if (Is(cursor[1], BeginsName)) return ScanStartTag();
  switch (cursor[1]) {
    case '/':
      return place == Place::Content ? ScanEndTag() : Step::Refused;
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
  if (place == Place::Content && text.starts_with(cdata)) {
    cursor += cdata.size();
    place = Place::Cdata;
    return Step::Done;
  }
  constexpr std::string_view documentType = "<!DOCTYPE";
  bool const mayBeType = place == Place::Prolog && type == nullptr;
  if (mayBeType && text.starts_with(documentType)) return ScanDocumentType();
  bool const mayGoOn = comment.starts_with(text) || (place == Place::Content && cdata.starts_with(text)) ||
                       (mayBeType && documentType.starts_with(text));
  return mayGoOn ? Step::Incomplete : Step::Refused;
}

XmlScanner::Step XmlScanner::ScanDocumentType() {
  std::string_view const text = Rest();
  std::size_t const size = typeEnd.Find(text);
  if (size == text.npos) return text.size() > mostSubset ? Step::Refused : Step::Incomplete;
  if (size == text.size()) return Step::Incomplete;
  if (text[size] == '[') return Step::Refused;  // which libxml2 takes for declarations
  ownType = XmlDocumentType::Read(declaration, text.substr(0, size), shaper.options);
  if (ownType == nullptr) return Step::Refused;
  type = ownType.get();
  ReportOutOfMemory([&] { (typeText = text.substr(0, size)) += ' '; });
  cursor += size;
  return Step::Done;
}

void XmlScanner::SendText(char const* textEnd) {
  std::string_view const text = View(cursor, textEnd);
  cursor += text.size();
  bool const isLeftOut = text.empty() || (!suspended.empty() && IsLeftOut(text));
  if (!isLeftOut) shaper.Text(text, suspended.empty());
}

XmlScanner::Step XmlScanner::ScanContent() {
  if (*cursor == '<') return ScanMarkup();
  char* next = cursor;
  for (;;) {
    next = SkipText<'<', '&', ']'>(next);
    if (*next == '<') {
      SendText(next);
      return ScanMarkup();
    }
    if (*next == '&') {
      SendText(next);
      return ScanReference();
    }
    if (next == end) {
      SendText(next);
      return Step::Incomplete;
    }
    if (*next == ']') {
      if (next[1] == ']' && next[2] == '>') return Step::Refused;
      bool const mayGoOn = next + 1 == end || (next[1] == ']' && next + 2 == end);
      if (mayGoOn) {
        SendText(next);
        return Step::Incomplete;
      }
      ++next;
    } else if (*next == '\r') {
      if (next + 1 == end) {
        SendText(next);
        return Step::Incomplete;
      }
      if (next[1] == '\n') {
        SendText(next);
        next = ++cursor;
      } else {
        if (!suspended.empty()) SendText(next);
        *next++ = '\n';
      }
    } else {
      std::size_t const size = SpecialSize(next);
      if (size == 0) {
        if (*next == 0 || !IsCutCharacter(next, end)) return Step::Refused;
        SendText(next);
        return Step::Incomplete;
      }
      next += size;
    }
  }
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
  if (!IsText(text.substr(0, size))) return Step::Refused;
  cursor += size;
  if (size > 0) shaper.CData(NormalLineEnds(text.substr(0, size)));
  if (mark == text.npos) return Step::Incomplete;
  if (size == 0) shaper.CData({});
  cursor += 3;
  place = Place::Content;
  return Step::Done;
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
  if (mark == nullptr || mark + 2 == end) return Step::Incomplete;
  if (mark[2] != '>') return Step::Refused;
  std::string_view const text = View(cursor + 4, mark);
  if (!IsText(text)) return Step::Refused;
  cursor = mark + 3;
  if (place == Place::Content) shaper.Comment(NormalLineEnds(text));
  return Step::Done;
}

XmlScanner::Step XmlScanner::ScanProcessingInstruction() {
  char* const mark = FindEnd(2, "?>");
  if (mark == nullptr) return Step::Incomplete;
  std::string_view const target = View(cursor + 2, NameEnd(cursor + 2));
  if (target.empty() || EqualsLetters(target, "xml")) return Step::Refused;
  char const* const data = SkipBlanks(target.data() + target.size());
  bool const isSeparate = data != target.data() + target.size() || data == mark;
  std::string_view const text = View(std::min<char const*>(data, mark), mark);
  if (!isSeparate || !IsText(text)) return Step::Refused;
  cursor = mark + 2;
  if (place == Place::Content) shaper.ProcessingInstruction(target, NormalLineEnds(text));
  return Step::Done;
}

}  // namespace ZaM::detail

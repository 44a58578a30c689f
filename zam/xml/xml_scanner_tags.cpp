// The part of XmlScanner that reads start tags and end tags.
#include <algorithm>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/xml/xml_scanner.h"

namespace ZaM::detail {

namespace {

/// Up to so many attributes are compared with each other.
constexpr std::size_t fewAttributes = 12;

bool IsLineBlank(char c) {
  return c == '\t' || c == '\n' || c == '\r';
}

}  // namespace

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
  if (looked > 0 && !HasTagEnd()) return Step::Incomplete;
  char* const nameEnd = NameEnd(cursor + 1);
  std::string_view const name = View(cursor + 1, nameEnd);
  found.clear();
  if (*nameEnd == '>' && !name.empty()) return OpenElement(name, nameEnd + 1, false);
  if (name.empty() && nameEnd != end && !IsCutCharacter(nameEnd, end)) return Step::Refused;
  char* next = nameEnd;
  Step const step = ScanAttributes(next);
  if (step == Step::Incomplete) return HasTagEnd() ? Step::Refused : Step::Incomplete;
  if (step == Step::Refused || (found.size() > 1 && HasDuplicates())) return Step::Refused;
  bool const isEmpty = *next == '/';
  return OpenElement(name, next + (isEmpty ? 2 : 1), isEmpty);
}

/// Up to the `>` or `/>` of a tag.
XmlScanner::Step XmlScanner::ScanAttributes(char*& next) {
  for (;;) {
    char* const previousEnd = next;
    next = SkipBlanks(next);
    if (*next == '>') return Step::Done;
    if (*next == '/') return next[1] == '>' ? Step::Done : AtByte(next + 1);
    // In place: copying it right after it is written stalls the processor.
    Found& attribute = ReportOutOfMemory([&]() -> Found& { return found.emplace_back(); });
    attribute.name = next;
    attribute.nameEnd = NameEnd(next);
    if (attribute.nameEnd == next) return next == end || IsCutCharacter(next, end) ? Step::Incomplete : Step::Refused;
    if (next == previousEnd) return Step::Refused;
    next = SkipBlanks(attribute.nameEnd);
    if (*next != '=') return next == end || IsCutCharacter(next, end) ? Step::Incomplete : Step::Refused;
    next = SkipBlanks(next + 1);
    if (*next != '"' && *next != '\'') return AtByte(next);
    attribute.value = next + 1;
    Step const step = ScanValue(next, attribute.isPlain);
    if (step != Step::Done) return step;
    attribute.valueEnd = next++;
  }
}

/// From the quote in front of a value to the one after it.
XmlScanner::Step XmlScanner::ScanValue(char*& next, bool& isPlain) {
  char const limit = *next++;
  for (;;) {
    next = limit == '"' ? SkipPlain<'"', '<', '&'>(next) : SkipPlain<'\'', '<', '&'>(next);
    if (*next == limit) return Step::Done;
    if (Is(*next, IsBlank)) {
      isPlain = false;
      ++next;
    } else if (*next == '&') {
      isPlain = false;
      Reference const reference = ReferenceAt(next, end);
      if (reference.size == 0) return reference.isCut ? Step::Incomplete : Step::Refused;
      if (reference.nameSize > 0 && !IsUsableInValue(reference.NameAt(next))) return Step::Refused;
      next += reference.size;
    } else {
      std::size_t const size = SpecialSize(next);
      if (size == 0) return next == end || (*next != 0 && IsCutCharacter(next, end)) ? Step::Incomplete : Step::Refused;
      next += size;
    }
  }
}

bool XmlScanner::HasDuplicates() {
  auto const name = [](Found const& attribute) { return View(attribute.name, attribute.nameEnd); };
  if (found.size() > fewAttributes) {
    ReportOutOfMemory([&] { names.Begin(found.size()); });
    std::uint32_t number = 0;
    return std::any_of(found.begin(), found.end(),
                       [&](Found const& one) { return names.Insert(name(one)) != number++; });
  }
  for (std::size_t i = 1; i < found.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      // Most differ in their first byte.
      if (*found[i].name == *found[k].name && name(found[i]) == name(found[k])) return true;
    }
  }
  return false;
}

/// The bytes after names and values, which nobody needs any more, become the zero bytes that end them.
XmlScanner::Step XmlScanner::OpenElement(std::string_view name, char* tagEnd, bool isEmpty) {
  bool const isTold = depth == 0;  // an entity that is only looked at is told to nobody
  ReportOutOfMemory([&] {
    attributes.resize(isTold ? found.size() : 0);
    if (!attributes.empty()) MakeAttributes(name, static_cast<std::size_t>(tagEnd - cursor));
    openNames.Push(name);
  });
  if (!hasBegun) shaper.StartDocument();
  hasBegun = true;
  if (!suspended.empty()) ReportOutOfMemory([this] { OpenBlanks(); });
  if (type != nullptr) CountPrefixes(name);
  cursor[1 + name.size()] = 0;
  cursor = tagEnd;
  place = Place::Content;
  shaper.StartElement(name, attributes, type == nullptr ? nullptr : &type->declarations);
  if (isEmpty) CloseElement();
  return Step::Done;
}

/// The shaper declares them again in each element.
void XmlScanner::CountPrefixes(std::string_view element) {
  if (!shaper.options.isModel) return;
  auto const* const declared = type->declarations.Find(element);
  if (declared == nullptr || declared->prefixes.empty()) return;
  CountExpansion(XmlExpansion::CostOfPrefixes(declared->prefixes.size()));
}

void XmlScanner::MakeAttributes(std::string_view element, std::size_t tagSize) {
  values.clear();
  auto const* const declared = type == nullptr ? nullptr : type->declarations.Find(element);
  if (declared != nullptr && declared->hasTokens) {
    for (Found& one : found) {
      auto const known = declared->attributes.find(View(one.name, one.nameEnd));
      one.isOfTokens = known != declared->attributes.end() && known->second;
      one.isPlain = one.isPlain && !one.isOfTokens;
    }
  }
  bool const areAllPlain = std::all_of(found.begin(), found.end(), [](Found const& one) { return one.isPlain; });
  // Unless it refers to an entity, no value grows, so that none moves.
  if (!areAllPlain) values.reserve(tagSize);
  for (std::size_t i = 0; i < found.size(); ++i) {
    Found const& one = found[i];
    // One by one: copying it right after it is written stalls the processor.
    attributes[i].name = View(one.name, one.nameEnd);
    attributes[i].localName = View(one.name, one.nameEnd);
    attributes[i].value = one.isPlain ? View(one.value, one.valueEnd) : Value(one);
    *one.nameEnd = *one.valueEnd = 0;
  }
  if (areAllPlain) return;
  char const* next = values.data();
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (found[i].isPlain) continue;
    attributes[i].value = next;
    next += attributes[i].value.size() + 1;
  }
}

/// With its references substituted and its blanks made spaces. Where references are kept, the first one ends it; see
/// XmlEventOptions.
std::string_view XmlScanner::Value(Found const& attribute) {
  std::size_t const begin = values.size();
  std::size_t keptEnd = values.npos;
  for (char* next = attribute.value; next < attribute.valueEnd;) {
    char* const special = std::min(SkipPlain<'&'>(next), attribute.valueEnd);
    values.append(next, special);
    next = special;
    if (next == attribute.valueEnd) break;
    if (*next == '&') {
      Reference const reference = ReferenceAt(next, attribute.valueEnd);
      XmlEntity const* const entity = reference.nameSize == 0 ? nullptr : type->Find(reference.NameAt(next));
      next += reference.size;
      values.append(reference.bytes, reference.byteCount);
      if (entity != nullptr && shaper.options.substitutesEntities) {
        std::size_t const entityBegin = values.size();
        AppendEntity(*entity);
        std::replace_if(values.begin() + static_cast<std::ptrdiff_t>(entityBegin), values.end(), IsLineBlank, ' ');
      } else if (entity != nullptr) {
        CountExpansion(entity->cost);
        if (keptEnd == values.npos && values.size() == begin) values += entity->content;
        if (keptEnd == values.npos) keptEnd = values.size();
      }
    } else {
      bool const isPair = *next == '\r' && next[1] == '\n';
      values += Is(*next, IsBlank) ? ' ' : *next;
      next += isPair ? 2 : 1;
    }
  }
  values.resize(std::min(keptEnd, values.size()));
  if (attribute.isOfTokens) MakeTokens(values, begin);
  std::string_view const value = std::string_view(values).substr(begin);
  values += '\0';
  return value;
}

XmlScanner::Step XmlScanner::ScanEndTag() {
  std::string_view const name = openNames.Last();
  if (!openNames.IsLastAt(cursor + 2)) return name.starts_with(Rest().substr(2)) ? Step::Incomplete : Step::Refused;
  char* const last = SkipBlanks(cursor + std::max(looked, 2 + name.size()));
  if (last == end) looked = Rest().size();
  if (*last != '>') return AtByte(last);
  cursor = last + 1;
  CloseElement();
  return Step::Done;
}

void XmlScanner::CloseElement() {
  if (openNames.Count() == 1) place = Place::Epilog;
  if (!suspended.empty()) blanks.pop_back();
  shaper.EndElement(openNames.Last());
  openNames.Pop();
}

}  // namespace ZaM::detail

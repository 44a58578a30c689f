// The part of XmlScanner that reads references.
#include <algorithm>
#include <cstring>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/xml/xml_scanner.h"

namespace ZaM::detail {

XmlScanner::Step XmlScanner::ScanReference() {
  if (looked > 0) {
    char const* const next = std::find_if(cursor + looked, end, [](char c) { return c > 0 && !Is(c, IsInName); });
    if (next == end) return looked = Rest().size(), Step::Incomplete;
  }
  Reference const reference = ReferenceAt(cursor, end);
  if (reference.isCut) looked = Rest().size();
  if (reference.size == 0) return reference.isCut ? Step::Incomplete : Step::Refused;
  if (reference.nameSize > 0) return Refer(reference);
  cursor += reference.size;
  shaper.Text({reference.bytes, reference.byteCount}, false);
  return Step::Done;
}

/// To an entity that isn't predefined, in the content of an element.
XmlScanner::Step XmlScanner::Refer(Reference const& reference) {
  std::string_view const name = reference.NameAt(cursor);
  XmlEntity* const entity = type == nullptr ? nullptr : type->Find(name);
  if (entity == nullptr ? !MayBeUnknown() : !IsUsableInContent(*entity)) return Step::Refused;
  cursor += reference.size;
  if (entity == nullptr) return Step::Done;
  CountExpansion(entity->cost);
  if (!shaper.options.substitutesEntities) {
    shaper.Reference(name, entity->content);
    return Step::Done;
  }
  if (suspended.empty()) shaper.KeepPendingBlanks();
  if (!entity->isPlain) {
    OpenEntity(*entity);
  } else if (!entity->content.empty()) {
    shaper.Text(entity->content, false);
  }
  return Step::Done;
}

/// libxml2 takes an entity that isn't declared for a fault where another one refers to it.
bool XmlScanner::MayBeUnknown() const {
  return type != nullptr && type->mayLackDeclarations && depth == 0 && suspended.empty();
}

bool XmlScanner::IsUsableInContent(XmlEntity& entity) {
  if (entity.heightInContent == 0) {
    entity.heightInContent = XmlEntity::unusable;  // also for those inside of it
    if (entity.isPlain && entity.kind != XmlEntity::Kind::Unparsed) entity.heightInContent = 1;
    if (!entity.isPlain && depth < XmlDocumentType::mostHeight) entity.heightInContent = HeightOf(entity);
  }
  if (entity.heightInContent == XmlEntity::unusable) return false;
  height = std::max(height, entity.heightInContent);
  return true;
}

/// By scanning its content as that of an element.
std::size_t XmlScanner::HeightOf(XmlEntity const& entity) const {
  NoEventReceiver nobody;
  XmlEventShaper ignoring(nobody, {.substitutesEntities = false});
  XmlScanner scanner(ignoring, *type, depth + 1);
  std::string const element = ReportOutOfMemory([&] { return "<a>" + entity.content + "</a>"; });
  bool const isUsable = scanner.Feed(element) && scanner.Finish() && scanner.height < XmlDocumentType::mostHeight;
  return isUsable ? scanner.height + 1 : XmlEntity::unusable;
}

/// Its content is copied, since scans write into what they read.
void XmlScanner::OpenEntity(XmlEntity const& entity) {
  std::size_t const size = entity.content.size();
  ReportOutOfMemory([&] {
    if (entityContents.size() == suspended.size()) entityContents.emplace_back();
    Input& input = entityContents[suspended.size()];
    if (input.capacity < size + scanPadding) {
      input = {std::make_unique_for_overwrite<char[]>(size + scanPadding), size + scanPadding};
    }
    suspended.push_back({cursor, end});
    blanks.push_back(Blanks::Unknown);
    cursor = input.area.get();
  });
  end = cursor + size;
  std::memcpy(cursor, entity.content.data(), size);
  std::memset(end, 0, scanPadding);
}

/// What is left may only be what a longer text would have decided on.
void XmlScanner::CloseEntity() {
  std::replace(cursor, end, '\r', '\n');
  SendText(end);
  cursor = suspended.back().cursor;
  end = suspended.back().end;
  suspended.pop_back();
  blanks.pop_back();
}

/// Within an entity.
void XmlScanner::OpenBlanks() {
  Blanks state = blanks.back() == Blanks::AreKept ? Blanks::Unknown : blanks.back();
  for (XmlAttribute const& attribute : attributes) {
    if (attribute.name != "xml:space") continue;
    if (attribute.value == "preserve") state = Blanks::ArePreserved;
    if (attribute.value == "default") state = Blanks::AreDefault;
  }
  blanks.push_back(state);
}

/// In entities libxml2 leaves out blanks in front of markup that isn't an end tag, whatever a host chooses, until a
/// text of the same element begins with a blank that stays, or holds a character beyond ASCII.
bool XmlScanner::IsLeftOut(std::string_view text) {
  Blanks& state = blanks.back();
  bool const mayBe = state == Blanks::Unknown || state == Blanks::AreDefault;
  bool const isInFront = *cursor == '\r' || (*cursor == '<' && cursor[1] != '/');
  bool const areAllBlank = std::all_of(text.begin(), text.end(), [](char c) { return Is(c, IsBlank); });
  if (mayBe && isInFront && areAllBlank) return true;
  bool const isSign = Is(text[0], IsBlank) || std::any_of(text.begin(), text.end(), [](char c) { return c < 0; });
  if (state == Blanks::Unknown && isSign) state = Blanks::AreKept;
  return false;
}

bool XmlScanner::IsUsableInValue(std::string_view name) {
  XmlEntity* const entity = type == nullptr ? nullptr : type->Find(name);
  if (entity == nullptr) return MayBeUnknown();
  if (!type->IsUsableInValues(*entity) || (entity->hasUnknown && depth > 0)) return false;
  height = std::max(height, entity->heightInValues);
  return true;
}

/// To `values`, with all that it refers to.
void XmlScanner::AppendEntity(XmlEntity const& entity) {
  CountExpansion(entity.cost);
  char const* const contentEnd = entity.content.data() + entity.content.size();
  for (char const* next = entity.content.data(); next < contentEnd;) {
    char const* const mark = std::find(next, contentEnd, '&');
    values.append(next, mark);
    if (mark == contentEnd) break;
    Reference const reference = ReferenceAt(mark, contentEnd);
    next = mark + reference.size;
    values.append(reference.bytes, reference.byteCount);
    XmlEntity const* const inner = reference.nameSize == 0 ? nullptr : type->Find(reference.NameAt(mark));
    if (inner != nullptr) AppendEntity(*inner);
  }
}

void XmlScanner::CountExpansion(std::size_t cost) {
  if (depth > 0) return;  // nobody is told
  expansion.Add(cost);
  if (expansion.Total() <= expansion.Most()) return;
  ReportOutOfMemory([this] { RequireAtMost(XmlExpansion::name, expansion.Total(), expansion.Most()); });
}

}  // namespace ZaM::detail

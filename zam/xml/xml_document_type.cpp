#include "zam/xml/xml_document_type.h"

#include <algorithm>

#include "zam/xml/libxml2_events.h"
#include "zam/xml/xml_characters.h"
#include "zam/xml/xml_event_shaper.h"

namespace ZaM::detail {

std::unique_ptr<XmlDocumentType> XmlDocumentType::Read(std::string_view declaration, std::string_view type,
                                                       XmlEventOptions const& options) {
  NoEventReceiver nobody;
  XmlEventShaper shaper(nobody, options);
  Libxml2Events libxml2(shaper, {}, true);
  libxml2.Feed(declaration);
  libxml2.Feed(type);
  libxml2.Feed("<a/>");
  libxml2.Finish();
  return libxml2.IsWellFormed() ? libxml2.TakeDocumentType() : nullptr;
}

/// Where it is used, `depth` entities lie in each other down to it.
std::size_t XmlDocumentType::HeightInValues(XmlEntity& entity, std::size_t depth) {
  if (entity.heightInValues != 0) return entity.heightInValues;
  entity.heightInValues = XmlEntity::unusable;  // also for those inside of it
  bool const mayStandThere = entity.kind == XmlEntity::Kind::Internal && depth <= mostHeight;
  if (!mayStandThere || entity.content.find('<') != std::string::npos) return XmlEntity::unusable;
  std::size_t height = 1;
  char const* const end = entity.content.data() + entity.content.size();
  for (char const* next = entity.content.data(); (next = std::find(next, end, '&')) != end;) {
    Reference const reference = ReferenceAt(next, end);
    if (reference.size == 0) return XmlEntity::unusable;
    XmlEntity* const inner = reference.nameSize == 0 ? nullptr : Find(reference.NameAt(next));
    next += reference.size;
    if (reference.nameSize == 0) continue;
    if (inner == nullptr && !mayLackDeclarations) return XmlEntity::unusable;
    entity.hasUnknown = entity.hasUnknown || inner == nullptr;
    if (inner == nullptr) continue;
    std::size_t const innerHeight = HeightInValues(*inner, depth + 1);
    if (innerHeight == XmlEntity::unusable) return XmlEntity::unusable;
    entity.hasUnknown = entity.hasUnknown || inner->hasUnknown;
    height = std::max(height, innerHeight + 1);
  }
  if (height > mostHeight) return XmlEntity::unusable;
  return entity.heightInValues = height;
}

std::size_t XmlDocumentTypeEnd::Find(std::string_view text) {
  constexpr std::string_view comment = "<!--";
  while (looked < text.size()) {
    std::string_view const rest = text.substr(looked);
    if (!awaited.empty()) {
      std::size_t const place = rest.find(awaited);
      if (place == rest.npos) {
        looked = std::max(looked, text.size() - std::min(text.size(), awaited.size() - 1));
        return text.npos;
      }
      looked += place + awaited.size();
      awaited = {};
      continue;
    }
    char const c = rest[0];
    if (c == '<' && isInSubset) {
      // What may be the beginning of a comment is looked at again.
      if (rest.size() < comment.size() && comment.starts_with(rest)) return text.npos;
      if (rest.starts_with(comment)) awaited = "-->";
      if (rest.starts_with("<?")) awaited = "?>";
      looked += rest.starts_with(comment) ? comment.size() : awaited.empty() ? 1 : 2;
      continue;
    }
    if (c == '>' && !isInSubset) return looked + 1;
    ++looked;
    if (c == '"') awaited = "\"";
    if (c == '\'') awaited = "'";
    if (c == '[') isInSubset = true;
    if (c == ']') isInSubset = false;
  }
  return text.npos;
}

}  // namespace ZaM::detail

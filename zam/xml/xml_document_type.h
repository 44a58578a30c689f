// What a document's type declares, as far as it matters to the rest of the document; internal.
#ifndef ZAM_XML_XML_DOCUMENT_TYPE_H
#define ZAM_XML_XML_DOCUMENT_TYPE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "zam/xml/name_index.h"
#include "zam/xml/xml_declarations.h"
#include "zam/xml/xml_events.h"

namespace ZaM::detail {

/// A general entity that isn't predefined.
struct XmlEntity {
  enum class Kind { Internal, External, Unparsed };

  static bool IsPlainText(std::string_view content) { return content.find_first_of("<&\r]") == content.npos; }

  std::string name;
  Kind kind = Kind::Internal;
  std::string content;   // with its references
  std::size_t cost = 0;  // see XmlExpansion
  bool isPlain = false;  // the content is a text as it stands

  // How many entities lie in each other here, this one included; 0 before anybody has looked, and `unusable` where the
  // content isn't well-formed, or nests too deep.
  static constexpr std::size_t unusable = static_cast<std::size_t>(-1);
  std::size_t heightInContent = 0;
  std::size_t heightInValues = 0;
  bool hasUnknown = false;  // in values: refers to one that isn't declared, through others or not
};

struct XmlDocumentType {
  /// So deep entities may lie in each other. libxml2 has the same limit.
  static constexpr std::size_t mostHeight = 40;

  /// By libxml2 from the declaration of a document and its `<!DOCTYPE …>`, both in UTF-8 whatever they say. Null where
  /// they aren't well-formed. Throws what PushParser throws.
  static std::unique_ptr<XmlDocumentType> Read(std::string_view declaration, std::string_view type,
                                               XmlEventOptions const& options);

  /// Null where it isn't declared.
  [[nodiscard]] XmlEntity* Find(std::string_view name) {
    std::uint32_t const number = index.Find(name);
    return number == NameIndex::none ? nullptr : &entities[number];
  }

  /// From now on `entities` doesn't change. Their names differ.
  void MakeIndex() {
    index.Begin(entities.size() + 1);
    for (XmlEntity const& entity : entities) index.Insert(entity.name);
  }

  /// Whether values of attributes may refer to the entity.
  [[nodiscard]] bool IsUsableInValues(XmlEntity& entity) { return HeightInValues(entity, 1) != XmlEntity::unusable; }

  std::deque<XmlEntity> entities;
  XmlDeclarations declarations;
  bool mayLackDeclarations = false;  // others may stand outside of the document, so that unknown entities are no fault

 private:
  std::size_t HeightInValues(XmlEntity& entity, std::size_t depth);

  NameIndex index;  // of the entities
};

/// Looks for the end of a `<!DOCTYPE …>` that arrives bit by bit.
class XmlDocumentTypeEnd {
 public:
  /// Goes on after what was looked at, in all that there is of it; returns the size, or npos where it isn't complete.
  [[nodiscard]] std::size_t Find(std::string_view text);

 private:
  std::size_t looked = 0;
  bool isInSubset = false;
  std::string_view awaited;  // what ends the literal, comment or processing instruction that the scan is in
};

}  // namespace ZaM::detail

#endif

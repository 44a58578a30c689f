// How libxml2's document model is filled by hand and turned into text; internal.
//
// Everything here throws BaseException with id 5 when memory runs out, also where libxml2 would go on without telling.
// Texts are taken as they are, with nothing in them read as markup, and none is merged with another. Names and texts
// have to be such that XML 1.0 can carry them.
#ifndef ZAM_XML_XML_DOCUMENT_H
#define ZAM_XML_XML_DOCUMENT_H

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

namespace ZaM::detail {

struct FreeXmlDocument {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using XmlDocument = std::unique_ptr<xmlDoc, FreeXmlDocument>;

/// A document without a root.
XmlDocument NewDocument();

/// Adds an element after the children of `parent`, or as the document's root where that is null.
xmlNode* AddElement(xmlDoc& document, xmlNode* parent, std::string_view name);

/// Adds a text after the children of `parent`.
void AddText(xmlNode& parent, std::string_view text);

/// Adds an attribute after `last`, the element's last one, which is null if there is none. Whether there is one of
/// that name isn't looked at.
xmlAttr* AddAttribute(xmlNode& element, xmlAttr* last, std::string_view name, std::string_view value);

/// Gives the element's attribute of that name, if there is one, another value. Returns whether there is.
bool ReplaceAttribute(xmlNode& element, std::string_view name, std::string_view value);

/// The document as XML 1.0 without an encoding declaration, so that what isn't ASCII in texts and values stands in
/// character references. `isFormatted` puts line breaks and indentation between elements that have no text child.
std::string TextOf(xmlDoc& document, bool isFormatted);

}  // namespace ZaM::detail

#endif

#include "zam/xml/xml_document.h"

#include <libxml/dict.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlsave.h>

#include <exception>
#include <utility>

#include "zam/foundation/exceptions.h"
#include "zam/xml/xml_library.h"

namespace ZaM::detail {

namespace {

/// Passes on what libxml2 has made; null is how it says that memory ran out.
template <class T>
T* Made(T* object) {
  if (!object) throw BaseException(ErrorId::OutOfMemory);
  return object;
}

xmlChar const* BytesOf(std::string_view text) {
  return reinterpret_cast<xmlChar const*>(text.data());
}

/// libxml2 has its own way of adding children, which merges a text with the one before it and frees one of them.
void Append(xmlNode& parent, xmlNode& child) {
  child.parent = &parent;
  child.prev = parent.last;
  (parent.last ? parent.last->next : parent.children) = &child;
  parent.last = &child;
}

/// A text node that belongs to nobody yet.
xmlNode* NewText(xmlDoc& document, std::string_view text) {
  xmlNode* const node = Made(xmlNewDocText(&document, nullptr));
  node->content = xmlStrndup(BytesOf(text), static_cast<int>(text.size()));
  if (!node->content) {
    xmlFreeNode(node);
    throw BaseException(ErrorId::OutOfMemory);
  }
  return node;
}

/// The layout that documents have, whatever the host program has set for itself on this thread.
class LayoutSettings {
 public:
  LayoutSettings() {
    xmlIndentTreeOutput = 1;
    xmlTreeIndentString = "  ";
    xmlSaveNoEmptyTags = 0;
  }
  LayoutSettings(LayoutSettings const&) = delete;
  LayoutSettings& operator=(LayoutSettings const&) = delete;
  ~LayoutSettings() {
    xmlIndentTreeOutput = hostIndents;
    xmlTreeIndentString = hostIndentation;
    xmlSaveNoEmptyTags = hostAvoidsEmptyTags;
  }

 private:
  int const hostIndents = xmlIndentTreeOutput;
  char const* const hostIndentation = xmlTreeIndentString;
  int const hostAvoidsEmptyTags = xmlSaveNoEmptyTags;
};

int AppendToString(void* text, char const* bytes, int length) {
  try {
    static_cast<std::string*>(text)->append(bytes, static_cast<std::size_t>(length));
    return length;
  } catch (std::exception const&) {
    return -1;
  }
}

}  // namespace

XmlDocument NewDocument() {
  XmlDocument document(Made(xmlNewDoc(nullptr)));
  Made(document->version);
  document->dict = Made(xmlDictCreate());
  return document;
}

xmlNode* AddElement(xmlDoc& document, xmlNode* parent, std::string_view name) {
  xmlChar const* const shared = Made(xmlDictLookup(document.dict, BytesOf(name), static_cast<int>(name.size())));
  xmlNode* const element = Made(xmlNewDocNodeEatName(&document, nullptr, const_cast<xmlChar*>(shared), nullptr));
  if (parent) {
    Append(*parent, *element);
  } else {
    xmlDocSetRootElement(&document, element);
  }
  return element;
}

void AddText(xmlNode& parent, std::string_view text) {
  Append(parent, *NewText(*parent.doc, text));
}

xmlAttr* AddAttribute(xmlNode& element, xmlAttr* last, std::string_view name, std::string_view value) {
  xmlDoc& document = *element.doc;
  xmlChar const* const shared = Made(xmlDictLookup(document.dict, BytesOf(name), static_cast<int>(name.size())));
  xmlAttr* const attribute = Made(xmlNewDocProp(&document, shared, nullptr));
  attribute->parent = &element;
  attribute->prev = last;
  (last ? last->next : element.properties) = attribute;
  Made(attribute->name);
  attribute->children = attribute->last = NewText(document, value);
  attribute->children->parent = reinterpret_cast<xmlNode*>(attribute);
  return attribute;
}

bool ReplaceAttribute(xmlNode& element, std::string_view name, std::string_view value) {
  // All names come from the document's dictionary, where equal ones are the same.
  xmlChar const* const shared = Made(xmlDictLookup(element.doc->dict, BytesOf(name), static_cast<int>(name.size())));
  xmlAttr* attribute = element.properties;
  while (attribute && attribute->name != shared) attribute = attribute->next;
  if (!attribute) return false;
  xmlNode* const text = NewText(*element.doc, value);
  text->parent = reinterpret_cast<xmlNode*>(attribute);
  xmlFreeNode(std::exchange(attribute->children, text));
  attribute->last = text;
  return true;
}

std::string TextOf(xmlDoc& document, bool isFormatted) {
  XmlScope const scope;
  LayoutSettings const layout;
  std::string text;
  xmlOutputBuffer* const output = Made(xmlOutputBufferCreateIO(&AppendToString, nullptr, &text, nullptr));
  int const result = xmlSaveFormatFileTo(output, &document, nullptr, isFormatted ? 1 : 0);
  if (result < 0 || scope.HasRunOutOfMemory()) throw BaseException(ErrorId::OutOfMemory);
  return text;
}

}  // namespace ZaM::detail

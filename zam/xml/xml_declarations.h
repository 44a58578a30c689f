// What a document type says of attributes and of the content of elements; internal.
#ifndef ZAM_XML_XML_DECLARATIONS_H
#define ZAM_XML_XML_DECLARATIONS_H

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "zam/xml/name_hash.h"
#include "zam/xml/name_index.h"

namespace ZaM::detail {

/// What a document declares of an element's content.
enum class XmlContent { Undeclared, ElementsOnly, Any };

/// Makes what stands after `from` tokens with a blank between each two, as values of attributes that aren't CDATA are.
inline void MakeTokens(std::string& text, std::size_t from) {
  std::size_t end = from;
  for (std::size_t i = from; i < text.size(); ++i) {
    if (text[i] != ' ' || (end > from && text[end - 1] != ' ')) text[end++] = text[i];
  }
  text.resize(end > from && text[end - 1] == ' ' ? end - 1 : end);
}

/// What the document's type says of attributes and of the content of elements.
class XmlDeclarations {
 public:
  struct Default {
    std::string name;
    std::string value;
  };
  struct Element {
    std::string name;
    std::unordered_map<std::string_view, bool, NameHash> attributes;  // and whether each is of tokens
    bool hasTokens = false;                                           // whether any is
    std::deque<Default> named;             // all of them; those without a default have no value
    std::vector<Default const*> prefixes;  // those whose default declares one
    XmlContent content = XmlContent::Undeclared;
  };

  /// The first declaration of an attribute counts.
  void AddAttribute(std::string_view element, std::string_view name, bool isOfTokens, char const* value) {
    Element& declared = At(element);
    if (declared.attributes.contains(name)) return;
    declared.named.push_back({std::string(name), value == nullptr ? "" : value});
    declared.attributes.emplace(declared.named.back().name, isOfTokens);
    declared.hasTokens = declared.hasTokens || isOfTokens;
    if (value != nullptr && name.starts_with("xmlns:")) declared.prefixes.push_back(&declared.named.back());
  }

  /// Likewise.
  void AddContent(std::string_view element, XmlContent declared) {
    XmlContent& content = At(element).content;
    if (content == XmlContent::Undeclared) content = declared;
  }

  [[nodiscard]] Element const* Find(std::string_view element) const {
    std::uint32_t const number = index.Find(element);
    return number == NameIndex::none ? nullptr : &elements[number];
  }

 private:
  Element& At(std::string_view name) {
    std::uint32_t const number = index.Find(name);
    if (number != NameIndex::none) return elements[number];
    elements.emplace_back().name = name;
    index.Insert(elements.back().name);
    return elements.back();
  }

  std::deque<Element> elements;
  NameIndex index;  // of them
};

}  // namespace ZaM::detail

#endif

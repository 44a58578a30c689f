// What a document type says of attributes and of the content of elements; internal.
#ifndef ZAM_XML_XML_DECLARATIONS_H
#define ZAM_XML_XML_DECLARATIONS_H

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ZaM::detail {

/// What a document declares of an element's content.
enum class XmlContent { undeclared, elementsOnly, any };

/// What the document's type says of attributes and of the content of elements.
class XmlDeclarations {
 public:
  struct Default {
    std::string name;
    std::string value;
  };
  struct Element {
    std::unordered_map<std::string_view, bool> attributes;  // and whether each is of tokens
    std::deque<Default> named;                              // all of them; those without a default have no value
    std::vector<Default const*> defaults;
    XmlContent content = XmlContent::undeclared;
  };

  /// The first declaration of an attribute counts.
  void AddAttribute(std::string_view element, std::string_view name, bool isOfTokens, char const* value) {
    Element& declared = elements[std::string(element)];
    if (declared.attributes.contains(name)) return;
    declared.named.push_back({std::string(name), value == nullptr ? "" : value});
    declared.attributes.emplace(declared.named.back().name, isOfTokens);
    if (value != nullptr) declared.defaults.push_back(&declared.named.back());
  }

  /// Likewise.
  void AddContent(std::string_view element, XmlContent declared) {
    XmlContent& content = elements[std::string(element)].content;
    if (content == XmlContent::undeclared) content = declared;
  }

  [[nodiscard]] Element const* Find(std::string_view element) const {
    auto const found = elements.find(element);
    return found == elements.end() ? nullptr : &found->second;
  }

 private:
  /// Of strings and of views alike.
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  std::unordered_map<std::string, Element, Hash, std::equal_to<>> elements;
};

}  // namespace ZaM::detail

#endif

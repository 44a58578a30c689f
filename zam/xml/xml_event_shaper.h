// What lies between the text of a document and the receiver of its events, whoever parses it; internal.
#ifndef ZAM_XML_XML_EVENT_SHAPER_H
#define ZAM_XML_XML_EVENT_SHAPER_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "zam/xml/name_hash.h"
#include "zam/xml/xml_declarations.h"
#include "zam/xml/xml_events.h"

namespace ZaM::detail {

/// Resolves namespaces, and leaves out blanks, where that is asked for. Knows nothing of how a document is parsed, so
/// that parsers can take turns in one document. Its operations are a document's events in their order, which are passed
/// on to the receiver; what that throws passes through.
class XmlEventShaper {
 public:
  XmlEventShaper(XmlEventReceiver& eventReceiver, XmlEventOptions const& eventOptions)
      : options(eventOptions), receiver(eventReceiver), isPlain(options.keepsBlanks && !options.isModel) {}
  XmlEventShaper(XmlEventShaper const&) = delete;
  XmlEventShaper& operator=(XmlEventShaper const&) = delete;

  void StartDocument() { receiver.OnStartDocument(); }
  void EndDocument() { receiver.OnEndDocument(); }

  /// `attributes`, whose local names aren't looked at, is changed. Null where nothing is declared.
  void StartElement(std::string_view name, std::vector<XmlAttribute>& attributes, XmlDeclarations const* declarations) {
    isPlain ? receiver.OnStartElement({name, name, attributes}) : ShapeStart(name, attributes, declarations);
  }
  void EndElement(std::string_view name) {
    if (!isPlain) ShapeEnd();
    receiver.OnEndElement(name);
  }

  /// Text that isn't empty. `isLiteral` where no reference stands for it.
  void Text(std::string_view text, bool isLiteral) {
    options.keepsBlanks ? receiver.OnCharacters(text) : HoldText(text, isLiteral);
  }

  /// A piece of a CDATA section.
  void CData(std::string_view text);
  // Within the root alone.
  void Comment(std::string_view text);
  void ProcessingInstruction(std::string_view target, std::string_view data);
  void Reference(std::string_view name, std::string_view content);

  /// In front of a reference that is substituted: no markup follows what is blank.
  void KeepPendingBlanks() {
    if (!blanks.empty()) WritePendingBlanks();
  }

  XmlEventOptions const options;

 private:
  /// What `xml:space` says, or a text that an element has: libxml2 takes what begins with a blank, and stays, for a
  /// sign that all of the element's blanks mean something.
  enum class Space { Unknown, IsDefault, IsPreserved, IsKept };

  /// An element that is open.
  struct Open {
    XmlContent content = XmlContent::Undeclared;
    Space space = Space::Unknown;
    bool hasChild = false;
    bool beginsWithText = false;  // a CDATA section isn't one
    bool endsWithText = false;
    std::size_t prefixes = 0;  // that it declares
  };

  void ShapeStart(std::string_view name, std::vector<XmlAttribute>& attributes, XmlDeclarations const* declarations);
  void ShapeEnd();
  void HoldText(std::string_view text, bool isLiteral);
  void EndText(bool isInFrontOfEnd);
  void CountChild(bool isText);
  void KeepBlanks();
  void WritePendingBlanks();
  void OpenElement(std::vector<XmlAttribute> const& attributes);
  void DeclarePrefixes(std::vector<XmlAttribute>& attributes, XmlDeclarations::Element const* declared);
  void DeclarePrefix(std::string_view prefix, std::string_view uri);
  void ForgetPrefixes(std::size_t count);
  [[nodiscard]] std::string_view LocalName(std::string_view name) const;

  XmlEventReceiver& receiver;
  bool const isPlain;      // neither is asked for
  std::vector<Open> open;  // empty then
  // And by how many elements that are open each is declared.
  std::unordered_map<std::string, unsigned int, NameHash, std::equal_to<>> prefixes;
  std::vector<std::string> declaredPrefixes;
  std::string blanks;         // a run that may have to be left out
  bool isRunWritten = false;  // whether the run of text that goes on has been told of
  bool isRunLiteral = false;  // and stands in the document as it is
};

}  // namespace ZaM::detail

#endif

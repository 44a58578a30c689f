// The library's own parser of XML, for the documents that nearly all are; internal.
#ifndef ZAM_XML_XML_SCANNER_H
#define ZAM_XML_XML_SCANNER_H

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zam/xml/libxml2_events.h"
#include "zam/xml/name_index.h"
#include "zam/xml/open_names.h"
#include "zam/xml/xml_characters.h"
#include "zam/xml/xml_document_type.h"
#include "zam/xml/xml_event_shaper.h"
#include "zam/xml/xml_expansion.h"

namespace ZaM::detail {

/// Events of documents in UTF-8, in the time that looking at each byte takes, whatever the number and the size of
/// names, attributes, texts and references.
///
/// What a document type declares is libxml2's business: it gets the type with an empty document after it. It also gets
/// what is refused here, which is what is malformed, and little else: libxml2 then parses the rest, from the beginning
/// of the piece of markup or text that was refused. Later parts of a document depend on nothing but its type and the
/// elements that are open. So a short document with these (Opening) brings libxml2 to the same place, and it sends the
/// events that it would have sent, had it parsed the document from its first byte.
///
/// A piece of markup has to be complete in memory, with what was fed after it. Texts and CDATA sections don't.
///
/// The content of an entity is looked at once, by another scanner, before the first reference to it is told of: so none
/// turns out to be malformed in the middle.
class XmlScanner {
 public:
  explicit XmlScanner(XmlEventShaper& eventShaper) : shaper(eventShaper) {}
  XmlScanner(XmlScanner const&) = delete;
  XmlScanner& operator=(XmlScanner const&) = delete;

  /// Where the next bytes may lie, so that they needn't be copied. Valid until anything else is called.
  [[nodiscard]] std::span<char> Room(std::size_t size);

  /// From now on the document is in UTF-8, whatever it declares.
  void IgnoreEncoding() { isDecoded = true; }

  /// False where something is refused, after which only what follows here may be called, and Room.
  [[nodiscard]] bool Feed(std::string_view bytes);

  /// False where the document isn't complete.
  [[nodiscard]] bool Finish();

  // Of a document that was refused: what to parse in its place, and what that would repeat.
  [[nodiscard]] std::string Opening() const;
  [[nodiscard]] std::string_view Rest() const { return {cursor, static_cast<std::size_t>(end - cursor)}; }
  [[nodiscard]] XmlEventsBefore Before() const;
  void DropRest();
  /// Whether the rest is all of it.
  [[nodiscard]] bool IsAtStart() const { return place == Place::Start; }

 private:
  enum class Place { Start, Prolog, Content, Cdata, Epilog };
  enum class Step { Done, Incomplete, Refused };

  /// Where the parts of an attribute lie.
  struct Found {
    char* name = nullptr;
    char* nameEnd = nullptr;
    char* value = nullptr;
    char* valueEnd = nullptr;
    bool isPlain = true;      // what stands there is the value
    bool isOfTokens = false;  // by its declaration
  };

  /// What `xml:space` says, or a text; see IsLeftOut.
  enum class Blanks : char { Unknown, AreKept, AreDefault, ArePreserved };

  /// What is scanned, the document or an entity in it. Zero bytes follow it, which end every scan.
  struct Input {
    std::unique_ptr<char[]> area;
    std::size_t capacity = 0;
  };

  /// For the content of an entity, in which so many others lie in each other.
  XmlScanner(XmlEventShaper& nobody, XmlDocumentType& documentType, std::size_t entityDepth)
      : shaper(nobody), type(&documentType), depth(entityDepth) {}

  bool Run();
  Step ScanStart();
  Step ScanDeclaration(char const* start);
  Step ScanMisc();
  Step ScanDocumentType();
  Step ScanContent();
  Step ScanReference();
  Step Refer(Reference const& reference);
  [[nodiscard]] bool MayBeUnknown() const;
  [[nodiscard]] bool IsUsableInContent(XmlEntity& entity);
  [[nodiscard]] std::size_t HeightOf(XmlEntity const& entity) const;
  void OpenEntity(XmlEntity const& entity);
  void CloseEntity();
  void OpenBlanks();
  [[nodiscard]] bool IsLeftOut(std::string_view text);
  Step ScanCData();
  Step ScanMarkup();
  Step ScanComment();
  Step ScanProcessingInstruction();
  Step ScanStartTag();
  Step ScanAttributes(char*& next);
  Step ScanValue(char*& next, bool& isPlain);
  [[nodiscard]] bool IsUsableInValue(std::string_view name);
  Step ScanEndTag();

  Step OpenElement(std::string_view name, char* tagEnd, bool isEmpty);
  void CloseElement();
  void MakeAttributes(std::string_view element, std::size_t tagSize);
  std::string_view Value(Found const& attribute);
  void AppendEntity(XmlEntity const& entity);
  void CountExpansion(std::size_t cost);
  void CountPrefixes(std::string_view element);
  [[nodiscard]] bool HasDuplicates();
  void SendText(char const* textEnd);
  [[nodiscard]] std::string_view NormalLineEnds(std::string_view text);

  /// What the end of the buffer is to a scan that comes to a byte which may not stand there.
  [[nodiscard]] Step AtByte(char const* next) const { return next == end ? Step::Incomplete : Step::Refused; }

  /// The end of markup that ends by `mark`, which is looked for after what has been looked at; null where there is
  /// none.
  [[nodiscard]] char* FindEnd(std::size_t startSize, std::string_view mark);
  [[nodiscard]] bool HasTagEnd();

  XmlEventShaper& shaper;
  Place place = Place::Start;
  bool hasBegun = false;     // the document has been told of
  bool hasBeginning = true;  // nothing has been taken but what is next
  bool isDecoded = false;
  std::string declaration;  // with the byte order mark
  OpenNames openNames;

  // The document type, where one is declared.
  XmlDocumentTypeEnd typeEnd;
  std::string typeText;
  std::unique_ptr<XmlDocumentType> ownType;
  XmlDocumentType* type = nullptr;
  XmlExpansion expansion;

  // Where this looks at an entity, what it is inside of, and how many entities lie in each other in it.
  std::size_t depth = 0;
  std::size_t height = 0;

  // What isn't done with, of the document or of the entity that is referred to.
  Input document;
  char* cursor = nullptr;
  char* end = nullptr;
  struct Suspended {
    char* cursor;
    char* end;
  };
  std::vector<Suspended> suspended;   // what the references that are under way stand in
  std::vector<Input> entityContents;  // of each; their memory stays for the next
  std::vector<Blanks> blanks;         // of these, and of the elements that are open in them

  std::size_t looked = 0;  // of markup that isn't complete
  char quote = 0;          // that a tag of these is inside of, or 0

  // The present start tag, and texts that aren't what stands in the document.
  std::vector<Found> found;
  std::vector<XmlAttribute> attributes;
  std::string values;
  NameIndex names;
};

}  // namespace ZaM::detail

#endif

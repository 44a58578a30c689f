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
#include "zam/xml/xml_event_shaper.h"

namespace ZaM::detail {

/// Events of documents in UTF-8 without a document type, in the time that looking at each byte takes, whatever the
/// number and the size of names, attributes and texts.
///
/// It refuses what it doesn't know and what is malformed, and leaves it to libxml2 to tell the one from the other:
/// libxml2 then parses the rest, from the beginning of the piece of markup or text that was refused. What has been told
/// of up to there is of no more meaning than which elements are open. So a short document with these elements (Opening)
/// brings libxml2 to the same place, and the events from there on are those that it would have sent, had it parsed the
/// document from its first byte: without types, there is nothing else in a document that later parts refer to.
///
/// A piece of markup has to be complete in memory, with what was fed behind it. Texts and CDATA sections don't.
class XmlScanner {
 public:
  explicit XmlScanner(XmlEventShaper& eventShaper) : shaper(eventShaper) {}
  XmlScanner(XmlScanner const&) = delete;
  XmlScanner& operator=(XmlScanner const&) = delete;

  /// Where the next bytes may lie, so that they needn't be copied. Valid until anything else is called.
  [[nodiscard]] std::span<char> Room(std::size_t size);

  /// False where something is refused, after which only what follows here may be called, and Room.
  [[nodiscard]] bool Feed(std::string_view bytes);

  /// False where the document isn't complete.
  [[nodiscard]] bool Finish();

  // Of a document that was refused: what to parse in its place, and what that would repeat.
  [[nodiscard]] std::string Opening() const;
  [[nodiscard]] std::string_view Rest() const { return {cursor, static_cast<std::size_t>(end - cursor)}; }
  [[nodiscard]] XmlEventsBefore Before() const;
  void DropRest();

 private:
  enum class Place { start, prolog, content, cdata, epilog };
  enum class Step { done, incomplete, refused };

  /// Where the parts of an attribute lie.
  struct Found {
    char* name = nullptr;
    char* nameEnd = nullptr;
    char* value = nullptr;
    char* valueEnd = nullptr;
    bool isPlain = true;  // what stands there is the value
  };

  bool Run();
  Step ScanStart();
  Step ScanDeclaration(char const* declaration);
  Step ScanMisc();
  Step ScanContent();
  Step ScanReference(char* reference);
  Step ScanCData();
  Step ScanMarkup();
  Step ScanComment();
  Step ScanProcessingInstruction();
  Step ScanStartTag();
  Step ScanAttributes(char*& next);
  Step ScanValue(char*& next, bool& isPlain) const;
  Step ScanEndTag();

  void OpenElement(Found const& name, char* tagEnd, bool isEmpty);
  void CloseElement();
  void MakeAttributes(char const* tagEnd);
  std::string_view Value(Found const& attribute);
  [[nodiscard]] bool HasDuplicates() const;
  void SendText(char const* textEnd);
  [[nodiscard]] std::string_view NormalLineEnds(std::string_view text);

  /// What the end of the buffer is to a scan that comes to a byte which may not stand there.
  [[nodiscard]] Step AtByte(char const* next) const { return next == end ? Step::incomplete : Step::refused; }

  /// The end of markup that ends by `mark`, which is looked for behind what has been looked at; null where there is
  /// none.
  [[nodiscard]] char* FindEnd(std::size_t startSize, std::string_view mark);
  [[nodiscard]] bool HasTagEnd();

  XmlEventShaper& shaper;
  Place place = Place::start;
  bool hasBegun = false;     // the document has been told of
  bool hasBeginning = true;  // nothing has been taken but what is next
  std::string declaration;   // with the byte order mark
  std::string openNames;     // of the elements that are open, each with a zero byte
  std::vector<std::size_t> openStarts;

  // What isn't done with. Zero bytes follow it, which end every scan.
  std::unique_ptr<char[]> area;
  std::size_t capacity = 0;
  char* cursor = nullptr;
  char* end = nullptr;

  std::size_t looked = 0;  // of markup that isn't complete
  char quote = 0;          // that a tag of these is inside of, or 0

  // The present start tag, and texts that aren't what stands in the document.
  std::vector<Found> found;
  std::vector<XmlAttribute> attributes;
  std::string values;
};

}  // namespace ZaM::detail

#endif

// A parse by libxml2's push parser that no document can turn against the machine.
#ifndef ZAM_XML_PUSH_PARSER_H
#define ZAM_XML_PUSH_PARSER_H

#include <libxml/parser.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zam/foundation/types.h"
#include "zam/xml/xml_expansion.h"
#include "zam/xml/xml_library.h"

namespace ZaM::detail {

struct XmlDocumentType;

/// What one element may have.
inline constexpr std::size_t mostAttributes = 4096;

/// What a document may declare itself, in bytes. libxml2 parses it as soon as it has all of it.
inline constexpr std::size_t mostSubset = 500'000;

/// Counts the attributes of a start tag that arrives bit by bit.
class TagScan {
 public:
  /// Goes on with the next bytes of the tag, which begins with `<`; false after its end.
  bool Add(std::string_view bytes);

  [[nodiscard]] std::size_t Attributes() const { return attributes; }
  [[nodiscard]] std::size_t Scanned() const { return scanned; }

 private:
  std::size_t attributes = 0;
  std::size_t scanned = 0;
  char quote = 0;  // the one that the scan is inside of, or 0
};

/// One parse, whose input comes in pieces of any size and whose events go to a handler. XmlScanner leaves it document
/// types and what is malformed, which is what the limits matter for.
///
/// Sequence: Feed* Finish, on one thread
/// Errors:   BaseException with id 5 where memory runs out, also inside libxml2: the events so far may be wrong then.
///           Malformed documents are no exception. LimitExceededException for a document that
///           - has more than 65,536 bytes in front of the end of its first declaration;
///           - has a start tag with more than 4,096 attributes: libxml2's time grows with the square of their number;
///           - declares more than 500,000 bytes itself, more than 10,000 attributes, or has more than 10,000 `|` in its
///             declarations, those in a parameter entity again for each reference: libxml2's time for one list grows
///             with the square of its length;
///           - has more than 50,000 different names: libxml2's time for them grows with the square of their number,
///           too;
///           - refers to entities that stand for more than 1,000,000 bytes and for more than 5 times what has been fed,
///             each reference, and each declaration, counted with 20 bytes on top, the limits of libxml2 from version
///             2.11 on; or to a parameter entity after 10,000 references;
///           - declares an entity, and has a name of more than 50,000 bytes, or 10,000,000 bytes in one tag, value,
///             comment, processing instruction or CDATA section; where it declares none, a name of 10,000,000 bytes or
///             1,000,000,000 in one of the others.
/// Encodings are those of IsEncodingAllowed, without UTF-32; a document in another counts as malformed.
/// External entities are passed over without being opened; internal ones are substituted where that is switched on.
class PushParser {
 public:
  /// Reports events to `eventHandler`, which stays the caller's, with `handlerData`. The handler forwards what it is
  /// asked about entities to the five operations below, or a document's entities are unknown. The content of an entity
  /// is reported for each reference in the content of an element, also where entities aren't substituted. What is
  /// decoded is in UTF-8, whatever encoding it declares.
  PushParser(xmlSAXHandler const& eventHandler, void* handlerData, bool doSubstituteEntities, bool isInUtf8);

  PushParser(PushParser const&) = delete;
  PushParser& operator=(PushParser const&) = delete;
  ~PushParser();

  void Feed(std::string_view bytes);

  /// Ends the input: what is left to report is reported.
  void Finish();

  /// Ends the parse at once, as for a malformed document. May be called from within an event; events that libxml2
  /// reports later all the same, out of an entity that it is in the middle of, are to be ignored.
  void Stop();
  [[nodiscard]] bool IsStopped() const { return isStopped; }

  // After Finish:

  [[nodiscard]] bool IsWellFormed() const;
  /// Adds the entities that the document declares, and whether there may be more.
  void Describe(XmlDocumentType& type) const;

  // Within an event:

  /// Whether what is reported stands in an entity.
  [[nodiscard]] bool IsInEntity() const { return context->depth > 0; }
  /// Whether an entity is referred to in the content of an element, rather than in a value.
  [[nodiscard]] bool IsInContent() const { return context->instate == XML_PARSER_CONTENT && !IsInEntity(); }
  /// Whether characters come from a reference.
  [[nodiscard]] bool IsFromReference(xmlChar const* text) const;
  /// Whether what is reported as `text` stands after a carriage return in the document.
  [[nodiscard]] bool FollowsReturn(char const* text) const;
  /// What the declaration of a general entity has, or nothing.
  [[nodiscard]] std::string_view ContentOf(std::string const& entity) const;
  // Each of these stops the parse where the document has more than it may, and returns whether it goes on.

  /// Of one more attribute that is declared.
  [[nodiscard]] bool CountAttributeDeclaration();

  /// Of an element whose type declares so many prefixes by default.
  [[nodiscard]] bool CountPrefixes(std::size_t count);

  /// Of an element with these attributes, a run of names and values that ends by null.
  [[nodiscard]] bool CheckElement(xmlChar const* const* attributes) {
    // Two pointers an attribute: for nearly all elements the room that libxml2 has made for them says enough.
    bool const areFew = attributes == nullptr || static_cast<std::size_t>(context->maxatts) <= 2 * mostAttributes;
    return areFew || CheckAttributes(attributes);
  }

  // What libxml2 asks a handler about entities.
  void DeclareSubset(xmlChar const* name, xmlChar const* publicId, xmlChar const* systemId);
  void DeclareEntity(xmlChar const* name, int type, xmlChar const* publicId, xmlChar const* systemId, xmlChar* content);
  void DeclareUnparsedEntity(xmlChar const* name, xmlChar const* publicId, xmlChar const* systemId,
                             xmlChar const* notation);
  [[nodiscard]] xmlEntity* FindEntity(xmlChar const* name);
  [[nodiscard]] xmlEntity* FindParameterEntity(xmlChar const* name);

 private:
  void Begin(std::string_view bytes);
  void AddToHead(std::string_view piece);
  void ParseHead();
  void CheckPending();
  bool CheckLimit(wchar const* what, std::uint64_t count, std::uint64_t most);
  void CheckFailures() const;
  [[nodiscard]] std::string_view Pending() const;
  [[nodiscard]] std::uint64_t PendingStart() const;
  [[nodiscard]] bool IsInProlog() const;
  void CheckPendingSubset();
  void CountListMarks(std::string_view declarations);
  void CheckPendingTag();
  bool CheckEntityContent(xmlChar const* entityContent);
  bool CheckNames();
  bool CheckAttributes(xmlChar const* const* attributes);
  bool CheckAttributeCount(std::size_t count);
  xmlEntity* CountReference(xmlEntity* entity);
  bool CountExpansion(std::size_t expandedBytes);

  XmlScope scope;
  xmlSAXHandler const* handler;
  void* userData;
  bool doSubstitute;
  xmlParserCtxt* context = nullptr;  // null before the encoding is known
  std::string head;                  // the bytes in front of that
  bool isDecoded;
  XmlExpansion expansion;
  std::size_t declaredAttributes = 0;
  std::uint64_t subsetEnd = 0;  // of the declarations that have been looked at, among the decoded bytes
  std::size_t listMarks = 0;
  bool isStopped = false;
  struct {
    wchar const* what;
    std::uint64_t count;
    std::uint64_t most;
  } limit = {};                // that was passed
  TagScan tag;                 // of the start tag that libxml2 waits for the rest of
  std::uint64_t tagStart = 0;  // its place among the decoded bytes
};

}  // namespace ZaM::detail

#endif

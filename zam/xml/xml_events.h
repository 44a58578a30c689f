// The one place where XML text becomes events, for the event parser and for trees; internal.
#ifndef ZAM_XML_XML_EVENTS_H
#define ZAM_XML_XML_EVENTS_H

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

namespace ZaM::detail {

/// What a start tag says of one attribute. All texts are UTF-8, last for the event, and have a zero byte after them.
struct XmlAttribute {
  std::string_view name;       // as it stands: `x:p`
  std::string_view localName;  // the end of it: `p` where namespaces are resolved and x is declared, else all of it
  std::string_view value;
};

/// A start tag. The same holds for its texts.
struct XmlElement {
  std::string_view name;
  std::string_view localName;
  std::span<XmlAttribute const> attributes;  // in the order of the document; of one name there is only one
};

/// Is told of each event of a document, on the thread of XmlEventParser's caller. What it throws ends the parse and
/// leaves Feed or Finish; it never passes through libxml2.
class XmlEventReceiver {
 public:
  virtual void OnStartDocument() {}
  /// At most once, and always after a well-formed document. After a malformed one it depends on the fault.
  virtual void OnEndDocument() {}

  virtual void OnStartElement(XmlElement const& element) = 0;
  virtual void OnEndElement(std::string_view name) = 0;

  /// Text outside of CDATA sections, in one or more pieces, none of which is empty. Where they end has no meaning: a
  /// run of text ends at the next event of another kind. Has no zero byte after it, as the following three.
  virtual void OnCharacters(std::string_view text) = 0;

  /// Text of a CDATA section. Sections that follow each other without anything between are told of as one; an empty
  /// one may be told of with an empty text, or not at all.
  virtual void OnCData(std::string_view text) { OnCharacters(text); }

  // What nobody needs to know. All three happen inside the root element alone.
  virtual void OnComment(std::string_view /*text*/) {}
  virtual void OnProcessingInstruction(std::string_view /*target*/, std::string_view /*data*/) {}
  /// A reference that isn't substituted, of an entity that is declared; `content` is as the declaration has it, and
  /// empty for an external entity.
  virtual void OnEntityReference(std::string_view /*name*/, std::string_view /*content*/) {}

 protected:
  ~XmlEventReceiver() = default;
};

/// One whom nothing matters.
class NoEventReceiver final : public XmlEventReceiver {
 public:
  void OnStartElement(XmlElement const& /*element*/) override {}
  void OnEndElement(std::string_view /*name*/) override {}
  void OnCharacters(std::string_view /*text*/) override {}
};

/// How a document is read.
struct XmlEventOptions {
  /// References to entities become what they stand for. Otherwise they are told of in the content, and of a value of an
  /// attribute the first piece alone remains: the characters in front of its first reference to an entity that isn't
  /// predefined, or, where it begins with one, what the declaration of that entity has. Predefined entities and
  /// references to characters are always substituted.
  bool substitutesEntities = true;

  /// Otherwise blanks that look like indentation are left out: a run of white space alone, literal and outside of CDATA
  /// sections, that stands directly in front of a tag, comment or the like, in an element
  /// - that is declared, under its localName, to have no text; or
  /// - that isn't declared, and neither begins with a text nor has one in front of the run, other than what was left
  ///   out, and has had no text yet that begins with a blank or holds a character beyond ASCII; a CDATA section is
  ///   none. The only child of an element, as in `<a> </a>`, stays.
  /// `xml:space='preserve'` keeps all of them.
  bool keepsBlanks = true;

  /// The names of elements and attributes lose a prefix that is declared (localName), and attributes that declare one,
  /// `xmlns` among them, are left out. Otherwise localName is the whole name. Either way the attributes are those that
  /// stand in the tag, without the defaults that a document declares.
  bool isModel = false;
};

/// One parse, whose input comes in pieces of any size: the events don't depend on them.
///
///     XmlEventParser parser(receiver, {.isModel = true});
///     while (…) parser.Feed(bytes);
///     parser.Finish();
///     if (!parser.IsWellFormed()) …
///
/// A malformed document is no exception: the events up to the fault are told, and further input is passed over. An
/// element's end is told of only where its tag stands in the document, so that a receiver has to count on elements that
/// are never closed. Starts and ends that are told of are nested properly, to any depth, and there is one root at most.
/// All of a well-formed document is told before Finish returns.
///
/// Line ends are normalised, also in CDATA sections; the values of attributes are, by their declarations. All texts are
/// well-formed UTF-8 of characters that XML allows, whatever the encoding of the document.
///
/// Nothing outside of the document is ever opened; references to external entities are passed over.
///
/// Sequence: Feed* Finish IsWellFormed, on one thread. A receiver may run another parse in an event, which ends there,
///           but not feed this one.
/// Errors:   BaseException with id 5 where memory runs out, also inside libxml2. LimitExceededException where the
///           document passes a limit of the parser, which says nothing of its form: see PushParser. What a receiver
///           throws. The parse is over then; IsWellFormed is false.
class XmlEventParser {
 public:
  /// `receiver` stays the caller's.
  XmlEventParser(XmlEventReceiver& receiver, XmlEventOptions options);
  XmlEventParser(XmlEventParser const&) = delete;
  XmlEventParser& operator=(XmlEventParser const&) = delete;
  ~XmlEventParser();

  void Feed(std::string_view bytes);
  void Finish();

  /// Room for so many bytes. Those that are read into its beginning, and fed next, aren't copied.
  [[nodiscard]] std::span<char> Room(std::size_t size);

  /// After Finish.
  [[nodiscard]] bool IsWellFormed() const;

 private:
  class Parsers;

  std::unique_ptr<Parsers> parsers;
};

}  // namespace ZaM::detail

#endif

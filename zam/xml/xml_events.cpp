#include "zam/xml/xml_events.h"

#include <libxml/parser.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/xml/push_parser.h"

namespace ZaM::detail {

namespace {

std::string_view View(xmlChar const* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<char const*>(text);
}

std::string_view View(xmlChar const* text, int length) {
  return {reinterpret_cast<char const*>(text), static_cast<std::size_t>(length)};
}

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// Whether a piece of text that stays is one of those that Space::isKept is about.
bool IsSignOfBlanks(std::string_view text) {
  return IsBlank(text.substr(0, 1)) || std::any_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

/// What a value of an attribute that isn't CDATA is: tokens with a blank between each two.
std::string Tokens(std::string_view value) {
  std::string tokens;
  for (char const c : value) {
    if (c != ' ' || (!tokens.empty() && tokens.back() != ' ')) tokens += c;
  }
  if (tokens.ends_with(' ')) tokens.pop_back();
  return tokens;
}

/// The prefix that an attribute declares: `x` for `xmlns:x`, empty for `xmlns`, null for any other.
char const* DeclaredPrefix(std::string_view name) {
  if (name == "xmlns") return "";
  return name.starts_with("xmlns:") ? name.data() + 6 : nullptr;
}

/// What the document's type says of attributes and of the content of elements.
class Declarations {
 public:
  struct Default {
    std::string name;
    std::string value;
  };
  struct Element {
    std::unordered_map<std::string_view, bool> attributes;  // and whether each is of tokens
    std::deque<Default> named;                              // all of them; those without a default have no value
    std::vector<Default const*> defaults;
    int content = XML_ELEMENT_TYPE_UNDEFINED;
  };

  /// The first declaration of an attribute counts.
  void AddAttribute(std::string_view element, std::string_view name, bool isOfTokens, xmlChar const* value) {
    Element& declared = elements[std::string(element)];
    if (declared.attributes.contains(name)) return;
    declared.named.push_back({std::string(name), std::string(View(value))});
    declared.attributes.emplace(declared.named.back().name, isOfTokens);
    if (value != nullptr) declared.defaults.push_back(&declared.named.back());
  }

  void AddContent(std::string_view element, int type) {
    int& content = elements[std::string(element)].content;
    if (content == XML_ELEMENT_TYPE_UNDEFINED) content = type;
  }

  [[nodiscard]] Element const* Find(std::string_view element) const {
    if (elements.empty()) return nullptr;
    auto const found = elements.find(std::string(element));
    return found == elements.end() ? nullptr : &found->second;
  }

 private:
  std::unordered_map<std::string, Element> elements;
};

}  // namespace

/// The events of libxml2's push parser, those without namespaces: it takes time in proportion to the prefixes that are
/// declared for each name, where a table doesn't.
class XmlEventParser::Libxml2 {
 public:
  Libxml2(XmlEventReceiver& eventReceiver, XmlEventOptions const& eventOptions)
      : receiver(eventReceiver), options(eventOptions), push(handler, this, options.substitutesEntities) {}

  void Feed(std::string_view bytes) {
    try {
      push.Feed(bytes);
    } catch (...) {
      Fail();
    }
    Rethrow();
  }

  void Finish() {
    try {
      push.Finish();
    } catch (...) {
      Fail();
    }
    Rethrow();
  }

  [[nodiscard]] bool IsWellFormed() const { return !hasFailed && push.IsWellFormed(); }

 private:
  /// What `xml:space` says, or a text that an element has: libxml2 takes what begins with a blank, and stays, for a
  /// sign that all of the element's blanks mean something.
  enum class Space { unknown, isDefault, isPreserved, isKept };

  /// An element that is open, for what its blanks mean.
  struct Open {
    int content;
    Space space;
    bool hasChild = false;
    bool beginsWithText = false;  // a CDATA section isn't one
    bool endsWithText = false;
    std::size_t declaredPrefixes = 0;
  };

  static Libxml2& Of(void* self) { return *static_cast<Libxml2*>(self); }

  void Fail() {
    if (!failure) failure = std::current_exception();
    hasFailed = true;
  }

  void Rethrow() {
    if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
  }

  /// Runs an event. What it throws stops here, below libxml2's functions, and goes on above them.
  template <class Event>
  static void Run(void* self, Event event) {
    Libxml2& parser = Of(self);
    if (parser.push.IsStopped()) return;
    try {
      event(parser);
    } catch (...) {
      parser.Fail();
      parser.push.Stop();
    }
  }

  /// The same for an event of content, which doesn't happen inside of a reference that isn't substituted.
  template <class Event>
  static void RunInContent(void* self, Event event) {
    if (!Of(self).options.substitutesEntities && Of(self).push.IsInEntity()) return;
    Run(self, event);
  }

  void StartElement(xmlChar const* elementName, xmlChar const** pairs);
  void AddAttributes(Declarations::Element const* declared, xmlChar const** pairs);
  std::string_view Value(Declarations::Element const* declared, std::string_view name, std::string_view value);
  std::string FirstPiece(std::string_view value);
  std::string_view Keep(std::string value) { return values.emplace_back(std::move(value)); }

  void DeclarePrefixes(Declarations::Element const* declared);
  void DeclarePrefix(std::string_view prefix, std::string_view uri);
  [[nodiscard]] std::string_view LocalName(std::string_view name) const;

  void OpenElement();
  void EndElement(std::string_view name);
  void AddText(std::string_view text, bool isLiteral);
  void AddCData(std::string_view text);
  void AddReference(std::string_view name, std::string_view content);
  void EndText(bool isInFrontOfEnd);
  void KeepBlanks();
  void KeepPendingBlanks();
  void CountChild(bool isText);

  static xmlSAXHandler const handler;

  XmlEventReceiver& receiver;
  XmlEventOptions const options;
  PushParser push;
  Declarations declarations;
  std::exception_ptr failure;
  bool hasFailed = false;

  // What the present start tag is made of.
  std::vector<XmlAttribute> attributes;
  std::deque<std::string> values;

  // Of elements that are open.
  std::size_t depth = 0;
  std::vector<Open> open;  // where blanks are left out, or namespaces are resolved
  std::unordered_map<std::string, unsigned int> prefixes;
  std::vector<std::string> declaredPrefixes;
  std::string blanks;         // a run that may have to be left out
  bool isRunWritten = false;  // whether the run of text that goes on has been told of
  bool isRunLiteral = false;  // and stands in the document as it is
};

void XmlEventParser::Libxml2::StartElement(xmlChar const* elementName, xmlChar const** pairs) {
  if (!push.AdmitsElement(pairs)) return;
  std::string_view const name = View(elementName);
  EndText(false);
  CountChild(false);
  ReportOutOfMemory([&] {
    Declarations::Element const* const declared = declarations.Find(name);
    attributes.clear();
    values.clear();
    AddAttributes(declared, pairs);
    if (options.isModel || !options.keepsBlanks) OpenElement();
    if (options.isModel) DeclarePrefixes(declared);
    // libxml2 looks for declarations of the name without its prefix.
    if (!open.empty()) {
      Declarations::Element const* const model = declarations.Find(LocalName(name));
      if (model != nullptr) open.back().content = model->content;
    }
  });
  ++depth;
  receiver.OnStartElement({name, LocalName(name), attributes});
}

void XmlEventParser::Libxml2::AddAttributes(Declarations::Element const* declared, xmlChar const** pairs) {
  for (; pairs != nullptr && *pairs != nullptr; pairs += 2) {
    std::string_view const name = View(pairs[0]);
    attributes.push_back({name, name, Value(declared, name, View(pairs[1]))});
  }
}

std::string_view XmlEventParser::Libxml2::Value(Declarations::Element const* declared, std::string_view name,
                                                std::string_view value) {
  bool const hasReference = !options.substitutesEntities && value.find('&') != std::string_view::npos;
  if (hasReference) value = Keep(FirstPiece(value));
  if (declared == nullptr) return value;
  auto const found = declared->attributes.find(name);
  return found != declared->attributes.end() && found->second ? Keep(Tokens(value)) : value;
}

/// In a value with references that aren't substituted libxml2 writes an ampersand as `&#38;`.
std::string XmlEventParser::Libxml2::FirstPiece(std::string_view value) {
  constexpr std::string_view ampersand = "&#38;";
  std::string piece;
  for (;;) {
    std::size_t const place = std::min(value.find('&'), value.size());
    piece += value.substr(0, place);
    value.remove_prefix(place);
    if (!value.starts_with(ampersand)) break;
    piece += '&';
    value.remove_prefix(ampersand.size());
  }
  if (!piece.empty() || value.empty()) return piece;
  std::string const name(value.substr(1, std::min(value.find(';'), value.size()) - 1));
  return std::string(push.ContentOf(name));
}

void XmlEventParser::Libxml2::DeclarePrefixes(Declarations::Element const* declared) {
  for (XmlAttribute const& attribute : attributes) {
    if (char const* const prefix = DeclaredPrefix(attribute.name)) DeclarePrefix(prefix, attribute.value);
  }
  if (declared != nullptr) {
    for (Declarations::Default const* const added : declared->defaults) {
      if (char const* const prefix = DeclaredPrefix(added->name)) DeclarePrefix(prefix, added->value);
    }
  }
  std::erase_if(attributes, [](XmlAttribute const& attribute) { return DeclaredPrefix(attribute.name) != nullptr; });
  for (XmlAttribute& attribute : attributes) attribute.localName = LocalName(attribute.name);
}

/// Those that can't be declared stay as they are.
void XmlEventParser::Libxml2::DeclarePrefix(std::string_view prefix, std::string_view uri) {
  bool const isReserved =
      uri == "http://www.w3.org/XML/1998/namespace" || uri == "http://www.w3.org/2000/xmlns/" || uri.empty();
  if (prefix.empty() || prefix == "xml" || prefix == "xmlns" || isReserved) return;
  declaredPrefixes.emplace_back(prefix);
  ++prefixes[declaredPrefixes.back()];
  ++open.back().declaredPrefixes;
}

std::string_view XmlEventParser::Libxml2::LocalName(std::string_view name) const {
  if (!options.isModel) return name;
  std::size_t const colon = name.find(':');
  if (colon == std::string_view::npos || colon == 0 || colon + 1 == name.size()) return name;
  std::string_view const prefix = name.substr(0, colon);
  bool const isDeclared = prefix == "xml" || (!prefixes.empty() && prefixes.contains(std::string(prefix)));
  return isDeclared ? name.substr(colon + 1) : name;
}

void XmlEventParser::Libxml2::OpenElement() {
  Space space = open.empty() || open.back().space == Space::isKept ? Space::unknown : open.back().space;
  for (XmlAttribute const& attribute : attributes) {
    if (attribute.name != "xml:space") continue;
    if (attribute.value == "preserve") space = Space::isPreserved;
    if (attribute.value == "default") space = Space::isDefault;
  }
  open.push_back({XML_ELEMENT_TYPE_UNDEFINED, space});
}

void XmlEventParser::Libxml2::EndElement(std::string_view name) {
  EndText(true);
  --depth;
  if (!open.empty()) {
    for (std::size_t i = open.back().declaredPrefixes; i > 0; --i) {
      auto const entry = prefixes.find(declaredPrefixes.back());
      if (--entry->second == 0) prefixes.erase(entry);
      declaredPrefixes.pop_back();
    }
    open.pop_back();
  }
  receiver.OnEndElement(name);
}

void XmlEventParser::Libxml2::AddText(std::string_view text, bool isLiteral) {
  if (text.empty()) return;
  if (options.keepsBlanks) return receiver.OnCharacters(text);
  // What stands behind a reference is judged by itself.
  if (isLiteral && !isRunLiteral) isRunWritten = false;
  isRunLiteral = isLiteral;
  if (!isRunWritten && isLiteral && IsBlank(text)) {
    ReportOutOfMemory([&] { blanks += text; });
    return;
  }
  if (!isRunWritten) CountChild(true);
  isRunWritten = true;
  if (!blanks.empty() || (isLiteral && IsSignOfBlanks(text))) KeepBlanks();
  if (!blanks.empty()) receiver.OnCharacters(std::exchange(blanks, {}));
  receiver.OnCharacters(text);
}

/// libxml2 leaves line ends as they are here. It gives the section in pieces of its input, which begin behind `[` or
/// the piece before.
void XmlEventParser::Libxml2::AddCData(std::string_view text) {
  if (text.starts_with('\n') && push.IsBehindReturn(text.data())) text.remove_prefix(1);
  for (;;) {
    std::size_t const place = std::min(text.find('\r'), text.size());
    receiver.OnCData(text.substr(0, place));
    if (place == text.size()) return;
    receiver.OnCData("\n");
    text.remove_prefix(text.substr(place).starts_with("\r\n") ? place + 2 : place + 1);
    if (text.empty()) return;
  }
}

/// What is blank in front of a reference has no markup behind it.
void XmlEventParser::Libxml2::KeepPendingBlanks() {
  if (blanks.empty()) return;
  KeepBlanks();
  AddText(std::exchange(blanks, {}), false);
}

void XmlEventParser::Libxml2::AddReference(std::string_view name, std::string_view content) {
  KeepPendingBlanks();
  EndText(false);
  CountChild(false);
  receiver.OnEntityReference(name, content);
}

/// Ends a run of text.
void XmlEventParser::Libxml2::EndText(bool isInFrontOfEnd) {
  isRunWritten = isRunLiteral = false;
  if (blanks.empty() || open.empty()) return;
  std::string const run = std::exchange(blanks, {});
  Open const& element = open.back();
  bool isLeftOut = !element.beginsWithText && !element.endsWithText && (element.hasChild || !isInFrontOfEnd);
  if (element.content != XML_ELEMENT_TYPE_UNDEFINED) isLeftOut = element.content == XML_ELEMENT_TYPE_ELEMENT;
  if (isLeftOut && element.space != Space::isPreserved && element.space != Space::isKept) return;
  KeepBlanks();
  CountChild(true);
  receiver.OnCharacters(run);
}

void XmlEventParser::Libxml2::KeepBlanks() {
  if (!open.empty() && open.back().space == Space::unknown) open.back().space = Space::isKept;
}

/// Notes what the open element has got.
void XmlEventParser::Libxml2::CountChild(bool isText) {
  if (open.empty()) return;
  Open& element = open.back();
  if (!element.hasChild) element.beginsWithText = isText;
  element.hasChild = true;
  element.endsWithText = isText;
}

xmlSAXHandler const XmlEventParser::Libxml2::handler = [] {
  xmlSAXHandler made = {};
  made.startDocument = [](void* self) { Run(self, [](Libxml2& parser) { parser.receiver.OnStartDocument(); }); };
  made.endDocument = [](void* self) { Run(self, [](Libxml2& parser) { parser.receiver.OnEndDocument(); }); };
  made.startElement = [](void* self, xmlChar const* name, xmlChar const** pairs) {
    RunInContent(self, [=](Libxml2& parser) { parser.StartElement(name, pairs); });
  };
  made.endElement = [](void* self, xmlChar const* name) {
    RunInContent(self, [=](Libxml2& parser) { parser.EndElement(View(name)); });
  };
  made.characters = [](void* self, xmlChar const* text, int length) {
    RunInContent(self, [=](Libxml2& parser) {
      parser.AddText(View(text, length), parser.options.keepsBlanks || !parser.push.IsFromReference(text));
    });
  };
  made.cdataBlock = [](void* self, xmlChar const* text, int length) {
    RunInContent(self, [=](Libxml2& parser) {
      parser.EndText(false);
      parser.CountChild(false);
      parser.AddCData(View(text, length));
    });
  };
  made.comment = [](void* self, xmlChar const* text) {
    if (Of(self).depth == 0) return;
    RunInContent(self, [=](Libxml2& parser) {
      parser.EndText(false);
      parser.CountChild(false);
      parser.receiver.OnComment(View(text));
    });
  };
  made.processingInstruction = [](void* self, xmlChar const* target, xmlChar const* data) {
    if (Of(self).depth == 0) return;
    RunInContent(self, [=](Libxml2& parser) {
      parser.EndText(false);
      parser.CountChild(false);
      parser.receiver.OnProcessingInstruction(View(target), View(data));
    });
  };
  // libxml2 knows no declarations where the events go to a receiver of ours.
  made.internalSubset = [](void* self, xmlChar const* name, xmlChar const* publicId, xmlChar const* systemId) {
    Of(self).push.DeclareSubset(name, publicId, systemId);
  };
  made.entityDecl = [](void* self, xmlChar const* name, int type, xmlChar const* publicId, xmlChar const* systemId,
                       xmlChar* content) { Of(self).push.DeclareEntity(name, type, publicId, systemId, content); };
  made.unparsedEntityDecl = [](void* self, xmlChar const* name, xmlChar const* publicId, xmlChar const* systemId,
                               xmlChar const* notation) {
    Of(self).push.DeclareUnparsedEntity(name, publicId, systemId, notation);
  };
  made.attributeDecl = [](void* self, xmlChar const* element, xmlChar const* name, int type, int, xmlChar const* value,
                          xmlEnumeration* allowed) {
    xmlFreeEnumeration(allowed);
    if (!Of(self).push.AdmitsAttributeDeclaration()) return;
    Run(self, [=](Libxml2& parser) {
      ReportOutOfMemory(
          [&] { parser.declarations.AddAttribute(View(element), View(name), type != XML_ATTRIBUTE_CDATA, value); });
    });
  };
  made.elementDecl = [](void* self, xmlChar const* name, int type, xmlElementContent*) {
    Run(self, [=](Libxml2& parser) { ReportOutOfMemory([&] { parser.declarations.AddContent(View(name), type); }); });
  };
  made.getEntity = [](void* self, xmlChar const* name) {
    xmlEntity* const entity = Of(self).push.FindEntity(name);
    bool const isInContent =
        entity != nullptr && entity->etype != XML_INTERNAL_PREDEFINED_ENTITY && Of(self).push.IsInContent();
    if (!isInContent) return entity;
    Run(self, [=](Libxml2& parser) {
      if (parser.options.substitutesEntities) return parser.KeepPendingBlanks();
      parser.AddReference(View(name), View(entity->content));
    });
    return entity;
  };
  made.getParameterEntity = [](void* self, xmlChar const* name) { return Of(self).push.FindParameterEntity(name); };
  made.initialized = 1;  // not XML_SAX2_MAGIC: with that the events of elements would be those with namespaces
  return made;
}();

XmlEventParser::XmlEventParser(XmlEventReceiver& receiver, XmlEventOptions options)
    : libxml2(ReportOutOfMemory([&] { return std::make_unique<Libxml2>(receiver, options); })) {}

XmlEventParser::~XmlEventParser() = default;

void XmlEventParser::Feed(std::string_view bytes) {
  libxml2->Feed(bytes);
}

void XmlEventParser::Finish() {
  libxml2->Finish();
}

bool XmlEventParser::IsWellFormed() const {
  return libxml2->IsWellFormed();
}

}  // namespace ZaM::detail

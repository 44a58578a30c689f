#include "zam/xml/libxml2_events.h"

#include <libxml/parser.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/xml/push_parser.h"
#include "zam/xml/xml_declarations.h"
#include "zam/xml/xml_document_type.h"

namespace ZaM::detail {

namespace {

std::string_view View(xmlChar const* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<char const*>(text);
}

std::string_view View(xmlChar const* text, int length) {
  return {reinterpret_cast<char const*>(text), static_cast<std::size_t>(length)};
}

bool IsPlainText(xmlEntity const& entity) {
  return entity.etype == XML_INTERNAL_GENERAL_ENTITY && entity.content != nullptr &&
         XmlEntity::IsPlainText(View(entity.content));
}

}  // namespace

/// libxml2's events without namespaces: for those it takes time in proportion to the prefixes that are declared, for
/// each name.
class Libxml2Events::Impl {
 public:
  Impl(XmlEventShaper& eventShaper, XmlEventsBefore const& eventsBefore, bool isDecoded)
      : shaper(eventShaper), before(eventsBefore), push(handler, this, shaper.options.substitutesEntities, isDecoded) {
    nothing.etype = XML_INTERNAL_PREDEFINED_ENTITY;  // what is predefined libxml2 passes on as it is
  }

  /// `step` feeds or finishes `push`.
  template <class Step>
  void Run(Step step) {
    try {
      step(push);
    } catch (...) {
      Fail();
    }
    if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
  }

  [[nodiscard]] bool IsWellFormed() const { return !hasFailed && push.IsWellFormed(); }

  [[nodiscard]] std::unique_ptr<XmlDocumentType> TakeDocumentType() {
    auto type = std::make_unique<XmlDocumentType>();
    push.Describe(*type);
    type->declarations = std::move(declarations);
    return type;
  }

 private:
  static Impl& Of(void* self) { return *static_cast<Impl*>(self); }

  void Fail() {
    if (!failure) failure = std::current_exception();
    hasFailed = true;
  }

  /// Runs an event. What it throws stops here, below libxml2's functions, and goes on above them.
  template <class Event>
  static void Run(void* self, Event event) {
    Impl& parser = Of(self);
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
    if (!Of(self).shaper.options.substitutesEntities && Of(self).push.IsInEntity()) return;
    Run(self, event);
  }

  void StartDocument() {
    if (!before.hasBegun) shaper.StartDocument();
  }
  void StartElement(xmlChar const* elementName, xmlChar const** pairs);
  void EndElement(std::string_view name);
  void AddAttributes(XmlDeclarations::Element const* declared, xmlChar const** pairs);
  std::string_view Value(XmlDeclarations::Element const* declared, std::string_view name, std::string_view value);
  std::string FirstPiece(std::string_view value);
  std::string_view Keep(std::string value) { return values.emplace_back(std::move(value)); }
  void AddCData(std::string_view text);

  static xmlSAXHandler const handler;

  XmlEventShaper& shaper;
  XmlEventsBefore before;  // those that are left to pass over
  PushParser push;
  XmlDeclarations declarations;
  std::exception_ptr failure;
  bool hasFailed = false;
  std::size_t depth = 0;  // of elements that are open

  xmlEntity nothing = {};  // stands for one that has been told of

  // What the present start tag is made of.
  std::vector<XmlAttribute> attributes;
  std::deque<std::string> values;
};

void Libxml2Events::Impl::StartElement(xmlChar const* elementName, xmlChar const** pairs) {
  ++depth;
  if (before.starts > 0) {
    --before.starts;
    return;
  }
  if (!push.CheckElement(pairs)) return;
  std::string_view const name = View(elementName);
  XmlDeclarations::Element const* const declared = declarations.Find(name);
  if (declared != nullptr && shaper.options.isModel && !push.CountPrefixes(declared->prefixes.size())) return;
  ReportOutOfMemory([&] {
    attributes.clear();
    values.clear();
    AddAttributes(declared, pairs);
  });
  shaper.StartElement(name, attributes, &declarations);
}

void Libxml2Events::Impl::EndElement(std::string_view name) {
  --depth;
  if (before.ends == 0) return shaper.EndElement(name);
  --before.ends;
}

void Libxml2Events::Impl::AddAttributes(XmlDeclarations::Element const* declared, xmlChar const** pairs) {
  for (; pairs != nullptr && *pairs != nullptr; pairs += 2) {
    std::string_view const name = View(pairs[0]);
    attributes.push_back({name, name, Value(declared, name, View(pairs[1]))});
  }
}

std::string_view Libxml2Events::Impl::Value(XmlDeclarations::Element const* declared, std::string_view name,
                                            std::string_view value) {
  bool const hasReference = !shaper.options.substitutesEntities && value.find('&') != std::string_view::npos;
  if (hasReference) value = Keep(FirstPiece(value));
  if (declared == nullptr) return value;
  auto const found = declared->attributes.find(name);
  if (found == declared->attributes.end() || !found->second) return value;
  std::string& tokens = values.emplace_back(value);
  MakeTokens(tokens, 0);
  return tokens;
}

/// In a value with references that aren't substituted libxml2 writes an ampersand as `&#38;`.
std::string Libxml2Events::Impl::FirstPiece(std::string_view value) {
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

/// libxml2 leaves line ends as they are here. It gives the section in pieces of its input, which begin after `[` or
/// the piece before.
void Libxml2Events::Impl::AddCData(std::string_view text) {
  if (text.starts_with('\n') && push.FollowsReturn(text.data())) text.remove_prefix(1);
  for (;;) {
    std::size_t const place = std::min(text.find('\r'), text.size());
    shaper.CData(text.substr(0, place));
    if (place == text.size()) return;
    shaper.CData("\n");
    text.remove_prefix(text.substr(place).starts_with("\r\n") ? place + 2 : place + 1);
    if (text.empty()) return;
  }
}

xmlSAXHandler const Libxml2Events::Impl::handler = [] {
  xmlSAXHandler made = {};
  made.startDocument = [](void* self) { Run(self, [](Impl& parser) { parser.StartDocument(); }); };
  made.endDocument = [](void* self) { Run(self, [](Impl& parser) { parser.shaper.EndDocument(); }); };
  made.startElement = [](void* self, xmlChar const* name, xmlChar const** pairs) {
    RunInContent(self, [=](Impl& parser) { parser.StartElement(name, pairs); });
  };
  made.endElement = [](void* self, xmlChar const* name) {
    RunInContent(self, [=](Impl& parser) { parser.EndElement(View(name)); });
  };
  made.characters = [](void* self, xmlChar const* text, int length) {
    RunInContent(self, [=](Impl& parser) {
      if (length == 0) return;
      bool const isLiteral = parser.shaper.options.keepsBlanks || !parser.push.IsFromReference(text);
      parser.shaper.Text(View(text, length), isLiteral);
    });
  };
  made.cdataBlock = [](void* self, xmlChar const* text, int length) {
    RunInContent(self, [=](Impl& parser) { parser.AddCData(View(text, length)); });
  };
  made.comment = [](void* self, xmlChar const* text) {
    if (Of(self).depth == 0) return;
    RunInContent(self, [=](Impl& parser) { parser.shaper.Comment(View(text)); });
  };
  made.processingInstruction = [](void* self, xmlChar const* target, xmlChar const* data) {
    if (Of(self).depth == 0) return;
    RunInContent(self, [=](Impl& parser) { parser.shaper.ProcessingInstruction(View(target), View(data)); });
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
  // libxml2 leaves it to the handler to refuse this, and the event parser's handler has never done so.
  made.notationDecl = [](void* self, xmlChar const*, xmlChar const* publicId, xmlChar const* systemId) {
    if (Of(self).shaper.options.isModel && publicId == nullptr && systemId == nullptr) Of(self).push.Stop();
  };
  made.attributeDecl = [](void* self, xmlChar const* element, xmlChar const* name, int type, int, xmlChar const* value,
                          xmlEnumeration* allowed) {
    xmlFreeEnumeration(allowed);
    if (!Of(self).push.CountAttributeDeclaration()) return;
    Run(self, [=](Impl& parser) {
      ReportOutOfMemory([&] {
        parser.declarations.AddAttribute(View(element), View(name), type != XML_ATTRIBUTE_CDATA,
                                         reinterpret_cast<char const*>(value));
      });
    });
  };
  made.elementDecl = [](void* self, xmlChar const* name, int type, xmlElementContent*) {
    if (type == XML_ELEMENT_TYPE_UNDEFINED) return;
    Run(self, [=](Impl& parser) {
      XmlContent const content = type == XML_ELEMENT_TYPE_ELEMENT ? XmlContent::ElementsOnly : XmlContent::Any;
      ReportOutOfMemory([&] { parser.declarations.AddContent(View(name), content); });
    });
  };
  made.getEntity = [](void* self, xmlChar const* name) {
    xmlEntity* const entity = Of(self).push.FindEntity(name);
    bool const isInContent =
        entity != nullptr && entity->etype != XML_INTERNAL_PREDEFINED_ENTITY && Of(self).push.IsInContent();
    if (!isInContent) return entity;
    xmlEntity* left = entity;  // for libxml2 to substitute
    Run(self, [&](Impl& parser) {
      if (!parser.shaper.options.substitutesEntities) {
        return parser.shaper.Reference(View(name), View(entity->content));
      }
      parser.shaper.KeepPendingBlanks();
      if (!IsPlainText(*entity)) return;
      // libxml2 would make a parser for each reference, which takes it 20 times as long.
      left = &parser.nothing;
      if (*entity->content != 0) parser.shaper.Text(View(entity->content), false);
    });
    return left;
  };
  made.getParameterEntity = [](void* self, xmlChar const* name) { return Of(self).push.FindParameterEntity(name); };
  made.initialized = 1;  // not XML_SAX2_MAGIC: with that the events of elements would be those with namespaces
  return made;
}();

Libxml2Events::Libxml2Events(XmlEventShaper& shaper, XmlEventsBefore const& before, bool isDecoded)
    : impl(ReportOutOfMemory([&] { return std::make_unique<Impl>(shaper, before, isDecoded); })) {}

Libxml2Events::~Libxml2Events() = default;

void Libxml2Events::Feed(std::string_view bytes) {
  impl->Run([&](PushParser& push) { push.Feed(bytes); });
}

void Libxml2Events::Finish() {
  impl->Run([](PushParser& push) { push.Finish(); });
}

bool Libxml2Events::IsWellFormed() const {
  return impl->IsWellFormed();
}

std::unique_ptr<XmlDocumentType> Libxml2Events::TakeDocumentType() {
  return ReportOutOfMemory([this] { return impl->TakeDocumentType(); });
}

}  // namespace ZaM::detail

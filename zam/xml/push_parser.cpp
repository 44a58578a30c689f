#include "zam/xml/push_parser.h"

#include <libxml/SAX2.h>

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/xml/xml_document_type.h"
#include "zam/xml/xml_encoding.h"

namespace ZaM::detail {

namespace {

/// No start tag of fewer bytes has more attributes than that: each takes a blank, a name, `=` and two quotes.
constexpr std::size_t leastSuspiciousTag = mostAttributes * 5;

/// libxml2 compares each declaration of an attribute with all others of the element: so many take it 0.2 s.
constexpr std::size_t mostAttributeDeclarations = 10'000;

/// The places where a list in the declarations goes on. Where the values of an attribute are listed, libxml2 compares
/// each with all others: so many take it 0.1 s.
constexpr std::size_t mostListMarks = 10'000;

/// Different names of elements, attributes and what else is declared. libxml2's table of them, up to 2.11, is of a
/// limited width: so many take it 0.03 s, ten times as many 4 s.
constexpr std::uint64_t mostNames = 50'000;

/// References to entities in front of one to a parameter entity. After 10,000 libxml2 looks for abuse itself, and up to
/// 2.9.14 it never returns where it finds any.
constexpr unsigned long mostBeforeParameterEntity = 10'000;

/// What libxml2 gets at once. It parses a start tag only when it has all of it, so that this bounds the attributes that
/// it has compared with each other before they can be counted: in the worst case 13,000, which takes it 0.2 s once.
/// (xml_parser_benchmark: half of this costs 1% more time, a quarter 2%.)
constexpr std::size_t pieceSize = 65536;

/// What it gets at once in front of the root, so that declarations are seen before they are parsed.
constexpr std::size_t prologPieceSize = 4096;

/// The first piece is parsed with the second.
constexpr std::size_t firstPieceSize = 1024;

/// What stands for the document inside libxml2. No file of this name is opened.
constexpr char documentName[] = "xdocfile";

std::string_view View(xmlChar const* text) {
  return reinterpret_cast<char const*>(text);
}

/// The entity of the next reference in `content`, which moves past it; null after the last.
xmlEntity* NextReference(xmlDoc* document, xmlChar const*& content) {
  for (; content != nullptr && *content != 0; ++content) {
    if (*content != '&' && *content != '%') continue;
    bool const isParameter = *content == '%';
    std::string_view const rest = View(content + 1);
    std::string const name(rest.substr(0, std::min(rest.find_first_of("&%; "), rest.size())));
    auto const* const bytes = reinterpret_cast<xmlChar const*>(name.c_str());
    xmlEntity* const entity = isParameter ? xmlGetParameterEntity(document, bytes) : xmlGetDocEntity(document, bytes);
    if (entity == nullptr || entity->etype == XML_INTERNAL_PREDEFINED_ENTITY) continue;
    ++content;
    return entity;
  }
  return nullptr;
}

/// Whether an entity of the document refers to itself, through others or not.
bool HasRecursiveEntity(xmlDoc* document) {
  if (document == nullptr || document->intSubset == nullptr) return false;
  enum class State { IsOpen, IsDone };
  std::unordered_map<xmlEntity const*, State> states;
  std::vector<std::pair<xmlEntity const*, xmlChar const*>> path;  // and what is left of the content of each
  auto const open = [&](xmlEntity const* entity) {
    states.emplace(entity, State::IsOpen);
    path.emplace_back(entity, entity->content);
  };
  for (xmlNode const* node = document->intSubset->children; node != nullptr; node = node->next) {
    auto const* const declared = reinterpret_cast<xmlEntity const*>(node);
    if (node->type != XML_ENTITY_DECL || states.contains(declared)) continue;
    open(declared);
    while (!path.empty()) {
      xmlEntity const* const next = NextReference(document, path.back().second);
      auto const found = states.find(next);
      if (next == nullptr) {
        states[path.back().first] = State::IsDone;
        path.pop_back();
      } else if (found == states.end()) {
        open(next);
      } else if (found->second == State::IsOpen) {
        return true;
      }
    }
  }
  return false;
}

/// Whether `bytes` begins with a start tag.
bool IsStartTag(std::string_view bytes) {
  return bytes.size() > 1 && bytes[0] == '<' && bytes[1] != '!' && bytes[1] != '?' && bytes[1] != '/';
}

}  // namespace

bool TagScan::Add(std::string_view bytes) {
  for (char const byte : bytes) {
    ++scanned;
    if (quote != 0) {
      if (byte == quote) quote = 0;
    } else if (byte == '"' || byte == '\'') {
      quote = byte;
    } else if (byte == '=') {
      ++attributes;
    } else if (byte == '>') {
      return false;
    }
  }
  return true;
}

PushParser::PushParser(xmlSAXHandler const& eventHandler, void* handlerData, bool doSubstituteEntities, bool isInUtf8)
    : handler(&eventHandler), userData(handlerData), doSubstitute(doSubstituteEntities), isDecoded(isInUtf8) {}

PushParser::~PushParser() {
  if (context == nullptr) return;
  // A context doesn't own what it has read of a document.
  xmlDoc* const declarations = context->myDoc;
  context->myDoc = nullptr;
  xmlFreeParserCtxt(context);
  xmlFreeDoc(declarations);
}

void PushParser::Begin(std::string_view bytes) {
  auto* const copied = const_cast<xmlSAXHandler*>(handler);  // libxml2 changes the copy that it makes
  context = xmlCreatePushParserCtxt(copied, userData, bytes.data(), static_cast<int>(bytes.size()), documentName);
  if (context == nullptr) throw BaseException(ErrorId::OutOfMemory);
  context->options = 0;  // the host's, for this thread
  // Huge ones for markup of more than 10,000,000 bytes, as long as no entity is declared.
  xmlCtxtUseOptions(context, XML_PARSE_HUGE | XML_PARSE_NONET | XML_PARSE_COMPACT | XML_PARSE_NOBLANKS |
                                 (isDecoded ? XML_PARSE_IGNORE_ENC : 0));
  // Not through the option: that would let libxml2 ask for external entities too.
  context->replaceEntities = doSubstitute ? 1 : 0;
}

void PushParser::Feed(std::string_view bytes) {
  while (!bytes.empty() && !isStopped) {
    std::size_t const size = context == nullptr ? firstPieceSize : IsInProlog() ? prologPieceSize : pieceSize;
    std::string_view const piece = bytes.substr(0, size);
    expansion.AddFed(piece.size());
    if (context == nullptr) {
      AddToHead(piece);
    } else {
      xmlParseChunk(context, piece.data(), static_cast<int>(piece.size()), 0);
      CheckPending();
    }
    bytes.remove_prefix(piece.size());
  }
}

/// The first bytes, which are held back until they tell the encoding.
void PushParser::AddToHead(std::string_view piece) {
  bool const isComplete = ReportOutOfMemory([&] { return IsHeadComplete(head += piece); });
  if (isComplete) return ParseHead();
  CheckLimit(u"bytes of an XML declaration", head.size(), mostDeclaration);
  CheckFailures();
}

void PushParser::ParseHead() {
  if (!isDecoded && !ReportOutOfMemory([&] { return IsEncodingAllowed(head); })) return Stop();
  Begin(head);
  CheckPending();
}

/// After each piece.
void PushParser::CheckPending() {
  CheckPendingSubset();
  CheckPendingTag();
  CheckNames();
  CheckFailures();
}

void PushParser::Finish() {
  if (context == nullptr && !isStopped) ParseHead();
  if (!isStopped) xmlParseChunk(context, "", 0, 1);
  CheckFailures();
}

void PushParser::Stop() {
  isStopped = true;
  xmlStopParser(context);
}

/// A text that is too long ends the parse without a word on the document's form.
bool PushParser::IsWellFormed() const {
  return !isStopped && context != nullptr && context->wellFormed != 0 && context->disableSAX == 0;
}

bool PushParser::IsFromReference(xmlChar const* text) const {
  xmlParserInput const& input = *context->input;
  bool const isInInput = std::greater_equal<>()(text, input.base) && std::less_equal<>()(text, input.end);
  return IsInEntity() || (!isInInput && input.cur > input.base && input.cur[-1] == ';');
}

bool PushParser::FollowsReturn(char const* text) const {
  return !IsInEntity() && text != reinterpret_cast<char const*>(context->input->base) && text[-1] == '\r';
}

std::string_view PushParser::ContentOf(std::string const& entity) const {
  xmlEntity const* const found = xmlGetDocEntity(context->myDoc, reinterpret_cast<xmlChar const*>(entity.c_str()));
  return found == nullptr || found->content == nullptr ? std::string_view() : View(found->content);
}

/// Stops the parse where a document has more of something than it may. Returns whether the parse goes on.
bool PushParser::CheckLimit(wchar const* what, std::uint64_t count, std::uint64_t most) {
  if (count > most && !isStopped) {
    limit = {what, count, most};
    Stop();
  }
  return !isStopped;
}

void PushParser::CheckFailures() const {
  if (scope.HasRunOutOfMemory()) throw BaseException(ErrorId::OutOfMemory);
  ReportOutOfMemory([&] {
    RequireAtMost(limit.what, limit.count, limit.most);
    if (std::uint64_t const most = scope.PassedLimit()) {
      throw LimitExceededException(u"markup in an XML document", std::max(expansion.Fed(), most + 1), most);
    }
    if (scope.HasFoundLoop() && !HasRecursiveEntity(context->myDoc)) {
      throw LimitExceededException(XmlExpansion::name, std::max(expansion.Total(), XmlExpansion::free + 1),
                                   XmlExpansion::free);
    }
  });
}

/// What libxml2 has decoded and not parsed.
std::string_view PushParser::Pending() const {
  xmlParserInput const* const input = context->input;
  if (input == nullptr) return {};
  return {reinterpret_cast<char const*>(input->cur), static_cast<std::size_t>(input->end - input->cur)};
}

/// Where that begins, among the decoded bytes.
std::uint64_t PushParser::PendingStart() const {
  xmlParserInput const* const input = context->input;
  return input == nullptr ? 0 : input->consumed + static_cast<std::uint64_t>(input->cur - input->base);
}

bool PushParser::IsInProlog() const {
  return context->instate < XML_PARSER_START_TAG && context->nameNr == 0;
}

void PushParser::CheckPendingSubset() {
  std::string_view const pending = Pending();
  // libxml2 waits for all of it, at first for the end of the first declaration in it.
  if (context->instate != XML_PARSER_DTD && !(IsInProlog() && pending.starts_with("<!D"))) return;
  if (!CheckLimit(u"bytes of declarations in an XML document", pending.size(), mostSubset))
    return;  // and nothing is pending
  std::uint64_t const end = PendingStart() + pending.size();
  std::uint64_t const added = std::min<std::uint64_t>(end - std::min(subsetEnd, end), pending.size());
  CountListMarks(pending.substr(pending.size() - added));
  subsetEnd = end;
}

void PushParser::CountListMarks(std::string_view declarations) {
  listMarks += static_cast<std::size_t>(std::count(declarations.begin(), declarations.end(), '|'));
  CheckLimit(u"listed values in the declarations of an XML document", listMarks, mostListMarks);
}

void PushParser::CheckPendingTag() {
  std::string_view const pending = Pending();
  if (pending.size() < leastSuspiciousTag || !IsStartTag(pending)) return;

  std::uint64_t const start = PendingStart();
  if (tagStart != start) tag = {};
  tagStart = start;
  tag.Add(pending.substr(std::min(tag.Scanned(), pending.size())));
  CheckAttributeCount(tag.Attributes());
}

bool PushParser::CheckAttributes(xmlChar const* const* attributes) {
  std::size_t pointers = 0;
  while (attributes[pointers] != nullptr) ++pointers;
  return CheckAttributeCount(pointers / 2);
}

bool PushParser::CheckAttributeCount(std::size_t count) {
  return CheckLimit(u"attributes of an XML element", count, mostAttributes);
}

bool PushParser::CheckEntityContent(xmlChar const* entityContent) {
  if (entityContent == nullptr) return true;
  std::string_view content = View(entityContent);
  while (content.size() >= leastSuspiciousTag) {
    content.remove_prefix(std::min(content.find('<'), content.size()));
    TagScan scan;
    if (IsStartTag(content)) scan.Add(content);
    if (!CheckAttributeCount(scan.Attributes())) return false;
    content.remove_prefix(std::min(std::max<std::size_t>(scan.Scanned(), 1), content.size()));
  }
  return true;
}

void PushParser::DeclareSubset(xmlChar const* name, xmlChar const* publicId, xmlChar const* systemId) {
  xmlSAX2StartDocument(context);
  xmlSAX2InternalSubset(context, name, publicId, systemId);
}

void PushParser::DeclareEntity(xmlChar const* name, int type, xmlChar const* publicId, xmlChar const* systemId,
                               xmlChar* content) {
  if (!CheckNames() || !CheckEntityContent(content)) return;
  // With it libxml2 lets entities nest deeper than a stack.
  context->options &= ~XML_PARSE_HUGE;
  if (type == XML_EXTERNAL_PARAMETER_ENTITY) {
    // libxml2 would ask for it wherever entities are substituted. What is empty is passed over, and still tells libxml2
    // that there may be declarations which it hasn't seen.
    xmlChar empty[] = "";
    xmlSAX2EntityDecl(context, name, XML_INTERNAL_PARAMETER_ENTITY, nullptr, nullptr, empty);
  } else {
    xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
  }
  // It forgets an entity that it has no memory for, and its references would be nothing.
  bool const isParameter = type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY;
  xmlEntity const* const kept =
      isParameter ? xmlGetParameterEntity(context->myDoc, name) : xmlGetDocEntity(context->myDoc, name);
  if (kept == nullptr) scope.RunOutOfMemory();
}

void PushParser::DeclareUnparsedEntity(xmlChar const* name, xmlChar const* publicId, xmlChar const* systemId,
                                       xmlChar const* notation) {
  xmlSAX2UnparsedEntityDecl(context, name, publicId, systemId, notation);
}

xmlEntity* PushParser::FindEntity(xmlChar const* name) {
  return CountReference(xmlSAX2GetEntity(context, name));
}

xmlEntity* PushParser::FindParameterEntity(xmlChar const* name) {
  CheckLimit(u"references in front of a parameter entity", context->nbentities, mostBeforeParameterEntity);
  xmlEntity* const entity = xmlSAX2GetParameterEntity(context, name);
  if (entity != nullptr && entity->content != nullptr) CountListMarks(View(entity->content));
  return CountReference(entity);
}

/// Counts what a reference to `entity` stands for. Null where the parse may not go on.
xmlEntity* PushParser::CountReference(xmlEntity* entity) {
  // Also where references are kept: whoever reads the document takes the entity's content from each of them.
  if (entity != nullptr && entity->etype != XML_INTERNAL_PREDEFINED_ENTITY) {
    CountExpansion(XmlExpansion::Cost(entity->content ? View(entity->content) : std::string_view()));
  }
  return isStopped ? nullptr : entity;
}

bool PushParser::CountAttributeDeclaration() {
  return CheckLimit(u"declared attributes in an XML document", ++declaredAttributes, mostAttributeDeclarations) &&
         CheckNames();
}

bool PushParser::CheckNames() {
  return CheckLimit(u"names in an XML document", static_cast<std::uint64_t>(xmlDictSize(context->dict)), mostNames);
}

bool PushParser::CountPrefixes(std::size_t count) {
  return CountExpansion(XmlExpansion::CostOfPrefixes(count));
}

bool PushParser::CountExpansion(std::size_t expandedBytes) {
  expansion.Add(expandedBytes);
  return CheckLimit(XmlExpansion::name, expansion.Total(), expansion.Most());
}

void PushParser::Describe(XmlDocumentType& type) const {
  type.mayLackDeclarations = context->standalone != 1 && (context->hasExternalSubset != 0 || context->hasPErefs != 0);
  xmlDoc const* const document = context->myDoc;
  if (document == nullptr || document->intSubset == nullptr) return;
  for (xmlNode const* node = document->intSubset->children; node != nullptr; node = node->next) {
    if (node->type != XML_ENTITY_DECL) continue;
    auto const& declared = *reinterpret_cast<xmlEntity const*>(node);
    bool const isParameter =
        declared.etype == XML_INTERNAL_PARAMETER_ENTITY || declared.etype == XML_EXTERNAL_PARAMETER_ENTITY;
    if (isParameter) continue;
    XmlEntity& entity = type.entities.emplace_back();
    entity.name = View(declared.name);
    if (declared.etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY) entity.kind = XmlEntity::Kind::External;
    if (declared.etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY) entity.kind = XmlEntity::Kind::Unparsed;
    if (declared.etype == XML_INTERNAL_GENERAL_ENTITY && declared.content != nullptr) {
      entity.content = View(declared.content);
    }
    entity.cost = XmlExpansion::Cost(entity.content);
    entity.isPlain = XmlEntity::IsPlainText(entity.content);
  }
  type.MakeIndex();
}

}  // namespace ZaM::detail

#include "zam/xml/xml_sax_parser.h"

#include <libxml/encoding.h>
#include <libxml/parser.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/platform/file.h"
#include "zam/platform/unicode.h"
#include "zam/xml/gzip_file.h"
#include "zam/xml/number_text.h"
#include "zam/xml/push_parser.h"

namespace ZaM {

namespace {

/// What is read of a file at once. The events don't depend on it; xml_parser_benchmark does.
constexpr std::size_t chunkSize = 65536;

/// Null and empty values give `defaultValue`, and so do those that `scan` finds no number in.
template <class Number, class Scan>
Number ScanValue(unsigned char const* value, Number defaultValue, Scan scan) {
  if (value == nullptr || *value == 0) return defaultValue;
  auto const number = scan(std::string_view(reinterpret_cast<char const*>(value)));
  return number ? static_cast<Number>(*number) : defaultValue;
}

FileIOException Failure(std::int32_t id, wstring const& filename) {
  return ReportOutOfMemory([&] { return FileIOException(id, filename); });
}

}  // namespace

/// One parse. While it lives the parser's stack is that of this parse; afterwards it is again what it was before, which
/// is empty unless the parse began within an event of another.
class XmlSaxParser::Parse {
 public:
  Parse(XmlSaxParser& eventParser, XmlSaxCallback* callback) : parser(eventParser), push(handler, &eventParser) {
    xmlCharEncodingHandler* const utf16 = xmlGetCharEncodingHandler(XML_CHAR_ENCODING_UTF16LE);
    if (utf16 == nullptr) throw BaseException(17);
    ReportOutOfMemory([&] { stack.push_back(callback); });
    parser.ClearCharacterBuffer();
    outer = std::exchange(parser.parse, this);
    if (outer == nullptr) parser.callbacks.clear();  // what was pushed outside of events
    stack.swap(parser.callbacks);
    parser.encodingHandler = utf16;
    // As everywhere in the process from here on.
    detail::SetKeepBlanks(false);
    detail::SetSubstituteEntities(true);
  }

  Parse(Parse const&) = delete;
  Parse& operator=(Parse const&) = delete;

  ~Parse() {
    if (!isFinished) parser.ClearCharacterBuffer();
    stack.swap(parser.callbacks);
    parser.parse = outer;
    if (outer == nullptr) parser.encodingHandler = nullptr;
  }

  void Feed(std::string_view bytes) {
    push.Feed(bytes);
    if (failure) std::rethrow_exception(failure);
  }

  void Finish() {
    push.Finish();
    if (failure) std::rethrow_exception(failure);
    isFinished = true;
  }

  [[nodiscard]] bool Admits(unsigned char const* const* attributes) { return push.AdmitsElement(attributes); }

  /// Runs an event. What it throws stops here, below libxml2's functions, and goes on above them.
  template <class Event>
  void Send(Event event) {
    if (push.IsStopped()) return;
    try {
      event();
    } catch (...) {
      failure = std::current_exception();
      push.Stop();
    }
  }

 private:
  static Parse& Of(void* eventParser) { return *static_cast<XmlSaxParser*>(eventParser)->parse; }

  static void DeclareSubset(void* self, xmlChar const* name, xmlChar const* publicId, xmlChar const* systemId) {
    Of(self).push.DeclareSubset(name, publicId, systemId);
  }
  static void DeclareEntity(void* self, xmlChar const* name, int type, xmlChar const* publicId, xmlChar const* systemId,
                            xmlChar* content) {
    Of(self).push.DeclareEntity(name, type, publicId, systemId, content);
  }
  static void DeclareUnparsedEntity(void* self, xmlChar const* name, xmlChar const* publicId, xmlChar const* systemId,
                                    xmlChar const* notation) {
    Of(self).push.DeclareUnparsedEntity(name, publicId, systemId, notation);
  }
  static xmlEntity* FindEntity(void* self, xmlChar const* name) { return Of(self).push.FindEntity(name); }
  static xmlEntity* FindParameterEntity(void* self, xmlChar const* name) {
    return Of(self).push.FindParameterEntity(name);
  }

  static xmlSAXHandler const handler;

  XmlSaxParser& parser;
  std::vector<XmlSaxCallback*> stack;  // the outer parse's while this one is under way
  Parse* outer = nullptr;
  detail::PushParser push;
  std::exception_ptr failure;
  bool isFinished = false;
};

/// Comments and processing instructions are left out; CDATA sections come as characters. The functions about entities
/// are there because libxml2 knows none where the events go to a parser of ours.
constexpr xmlSAXHandler XmlSaxParser::Parse::handler = [] {
  xmlSAXHandler made = {};
  made.startDocument = &startDocumentCallBack;
  made.endDocument = &endDocumentCallback;
  made.startElement = &startElementCallback;
  made.endElement = &endElementCallback;
  made.characters = &charactersCallback;
  made.internalSubset = &Parse::DeclareSubset;
  made.entityDecl = &Parse::DeclareEntity;
  made.unparsedEntityDecl = &Parse::DeclareUnparsedEntity;
  made.getEntity = &Parse::FindEntity;
  made.getParameterEntity = &Parse::FindParameterEntity;
  made.initialized = 1;  // not XML_SAX2_MAGIC: with that the events of elements would be those with namespaces
  return made;
}();

void XmlSaxParser::ClearCharacterBuffer() {
  if (characterBuffer == nullptr) return;
  if (characterBuffer != characterData.data()) std::free(characterBuffer);
  characterBuffer = nullptr;
  characterBufferSize = 0;
}

XmlSaxParser::~XmlSaxParser() {
  ClearCharacterBuffer();
}

void XmlSaxParser::ParseFile(wstring const& filename, XmlSaxCallback* callback) {
  if (callback == nullptr) throw BaseException(1);
  Parse document(*this, callback);
  platform::File file = ReportOutOfMemory([&] { return platform::File::OpenForReading(filename); });
  if (!file.IsOpen()) throw Failure(2003, filename);
  detail::GzipFile stream(std::move(file), detail::GzipFile::Mode::read);

  std::unique_ptr<char[]> const bytes =
      ReportOutOfMemory([] { return std::make_unique_for_overwrite<char[]>(chunkSize); });
  for (;;) {
    std::optional<std::size_t> const count = stream.Read({bytes.get(), chunkSize});
    if (!count) throw Failure(2004, filename);
    if (*count == 0) break;
    document.Feed({bytes.get(), *count});
  }
  document.Finish();
}

void XmlSaxParser::ParseMemory(char const* data, unsigned int size, XmlSaxCallback* callback) {
  if (callback == nullptr) throw BaseException(1);
  Parse document(*this, callback);
  if (data != nullptr) document.Feed({data, size});
  document.Finish();
}

void XmlSaxParser::PushCallback(XmlSaxCallback* callback) {
  ReportOutOfMemory([&] { callbacks.push_back(callback != nullptr ? callback : &defaultCallback); });
}

void XmlSaxParser::ConvertString(unsigned char const* text, int length, wstring& result) {
  if (text == nullptr || length <= 0) return result.clear();
  std::string_view const bytes(reinterpret_cast<char const*>(text), static_cast<std::size_t>(length));
  ReportOutOfMemory([&] {
    // No byte gives more than one unit.
    std::unique_ptr<wchar[]> block;
    if (bytes.size() > wideBuffer.size()) block = std::make_unique_for_overwrite<wchar[]>(bytes.size());
    wchar* const units = block != nullptr ? block.get() : wideBuffer.data();
    result.assign(units, platform::Utf16FromUtf8(bytes, units));
  });
}

void XmlSaxParser::SetVersionInfo(std::int32_t major, std::int32_t minor) {
  majorVersion = major;
  minorVersion = minor;
}

std::int32_t XmlSaxParser::GetLongValue(unsigned char const* value, std::int32_t defaultValue) const {
  return ScanValue(value, defaultValue, [](std::string_view text) -> std::optional<std::int32_t> {
    return detail::ScanInt32(text).value_or(0);
  });
}

unsigned int XmlSaxParser::GetSizetValue(unsigned char const* value, unsigned int defaultValue) const {
  return ScanValue(value, defaultValue, [](std::string_view text) { return detail::ScanUInt32(text); });
}

std::int64_t XmlSaxParser::GetTimetValue(unsigned char const* value, std::int64_t defaultValue) const {
  return ScanValue(value, defaultValue, [](std::string_view text) { return detail::ScanUInt64(text); });
}

bool XmlSaxParser::GetBoolValue(unsigned char const* value, bool defaultValue) const {
  if (value == nullptr || (*value != '0' && *value != '1')) return defaultValue;
  return *value == '1';
}

double XmlSaxParser::GetDoubleValue(unsigned char const* value, double defaultValue) const {
  return ScanValue(value, defaultValue, [](std::string_view text) { return detail::ScanDouble(text); });
}

template <class Event>
void XmlSaxParser::Send(void* parser, Event event) {
  auto& self = *static_cast<XmlSaxParser*>(parser);
  if (self.parse == nullptr) return event(self);  // called by other than libxml2
  self.parse->Send([&] { event(self); });
}

void XmlSaxParser::startDocumentCallBack(void* parser) {
  Send(parser, [](XmlSaxParser& self) { self.OnStartDocument(); });
}

void XmlSaxParser::endDocumentCallback(void* parser) {
  Send(parser, [](XmlSaxParser& self) { self.OnEndDocument(); });
}

void XmlSaxParser::startElementCallback(void* parser, unsigned char const* name, unsigned char const** attributes) {
  Send(parser, [=](XmlSaxParser& self) {
    if (self.parse == nullptr || self.parse->Admits(attributes)) self.OnStartElement(name, attributes);
  });
}

void XmlSaxParser::endElementCallback(void* parser, unsigned char const* name) {
  Send(parser, [=](XmlSaxParser& self) { self.OnEndElement(name); });
}

void XmlSaxParser::charactersCallback(void* parser, unsigned char const* text, int length) {
  Send(parser, [=](XmlSaxParser& self) { self.OnCharacters(text, length); });
}

void XmlSaxParser::OnStartDocument() {
  if (!callbacks.empty()) callbacks.back()->OnStartDocument(this);
}

void XmlSaxParser::OnEndDocument() {
  if (!callbacks.empty()) callbacks.back()->OnEndDocument(this);
}

void XmlSaxParser::OnStartElement(unsigned char const* name, unsigned char const** attributes) {
  std::size_t const height = callbacks.size();
  if (!callbacks.empty()) callbacks.back()->OnStartElement(this, name, attributes);
  // Every element puts exactly one entry on the stack, so that its end can take exactly one.
  if (callbacks.size() == height) {
    PushCallback(nullptr);
  } else if (callbacks.size() > height + 1) {
    callbacks[height] = callbacks.back();
    callbacks.resize(height + 1);
  }
  ClearCharacterBuffer();
}

void XmlSaxParser::OnEndElement(unsigned char const* name) {
  if (!callbacks.empty()) {
    std::size_t const height = callbacks.size();
    callbacks.back()->OnEndElement(this, name);
    callbacks.resize(height - 1);
  }
  ClearCharacterBuffer();
}

void XmlSaxParser::OnCharacters(unsigned char const* text, int length) {
  if (length <= 0) return;
  auto const added = static_cast<unsigned int>(length);
  if (added > std::numeric_limits<unsigned int>::max() - characterBufferSize) throw BaseException(5);
  unsigned int const total = characterBufferSize + added;
  if (total < characterData.size()) {
    characterBuffer = characterData.data();
  } else {
    // A block that grows where it stands: a long text comes in thousands of pieces.
    bool const isBlock = characterBuffer != nullptr && characterBuffer != characterData.data();
    auto* const block = static_cast<unsigned char*>(std::realloc(isBlock ? characterBuffer : nullptr, total));
    if (block == nullptr) throw BaseException(5);
    if (!isBlock) std::memcpy(block, characterData.data(), characterBufferSize);
    characterBuffer = block;
  }
  std::memcpy(characterBuffer + characterBufferSize, text, added);
  characterBufferSize = total;
}

}  // namespace ZaM

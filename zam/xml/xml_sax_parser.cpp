#include "zam/xml/xml_sax_parser.h"

#include <libxml/encoding.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/platform/file.h"
#include "zam/platform/unicode.h"
#include "zam/xml/gzip_file.h"
#include "zam/xml/number_text.h"
#include "zam/xml/xml_events.h"
#include "zam/xml/xml_library.h"

namespace ZaM {

namespace {

/// What is read of a file at once. The events don't depend on it; xml_parser_benchmark does.
constexpr std::size_t chunkSize = 65536;

// See GetAllowance. A result whose count of classes is true needs less than 10 bytes of memory for each byte of it.
constexpr std::uint64_t firstAllowance = std::uint64_t{16} << 20;
constexpr std::uint64_t allowancePerByte = 128;

/// Null and empty values give `defaultValue`, and so do those that `scan` finds no number in.
template <class Number, class Scan>
Number ScanValue(unsigned char const* value, Number defaultValue, Scan scan) {
  if (value == nullptr || *value == 0) return defaultValue;
  auto const number = scan(std::string_view(reinterpret_cast<char const*>(value)));
  return number ? static_cast<Number>(*number) : defaultValue;
}

unsigned char const* BytesOf(std::string_view text) {
  return reinterpret_cast<unsigned char const*>(text.data());
}

FileIOException Failure(std::int32_t id, wstring const& filename) {
  return ReportOutOfMemory([&] { return FileIOException(id, filename); });
}

}  // namespace

/// One parse. While it lives the parser's stack is that of this parse; afterwards it is again what it was before, which
/// is empty unless the parse began within an event of another.
class XmlSaxParser::Parse final : public detail::XmlEventReceiver {
 public:
  Parse(XmlSaxParser& eventParser, XmlSaxCallback* callback) : parser(eventParser), events(*this, {}) {
    xmlCharEncodingHandler* const utf16 = xmlGetCharEncodingHandler(XML_CHAR_ENCODING_UTF16LE);
    if (utf16 == nullptr) throw BaseException(ErrorId::GeneralFailure);
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

  [[nodiscard]] std::span<char> Room(std::size_t size) { return events.Room(size); }

  void Feed(std::string_view bytes) {
    RequireAtMost(u"bytes of an XML document", fed += bytes.size(), parser.maxBytes);
    allowance += allowancePerByte * bytes.size();
    events.Feed(bytes);
  }

  void Finish() {
    events.Finish();
    isFinished = true;
  }

  [[nodiscard]] std::uint64_t& Allowance() { return allowance; }

 private:
  void OnStartDocument() override { parser.OnStartDocument(); }
  void OnEndDocument() override { parser.OnEndDocument(); }

  void OnStartElement(detail::XmlElement const& element) override {
    if (element.attributes.empty()) return parser.OnStartElement(BytesOf(element.name), nullptr);
    ReportOutOfMemory([&] {
      pairs.clear();
      for (detail::XmlAttribute const& attribute : element.attributes) {
        pairs.push_back(BytesOf(attribute.name));
        pairs.push_back(BytesOf(attribute.value));
      }
      pairs.push_back(nullptr);
    });
    parser.OnStartElement(BytesOf(element.name), pairs.data());
  }

  void OnEndElement(std::string_view name) override { parser.OnEndElement(BytesOf(name)); }
  void OnCharacters(std::string_view text) override { parser.OnCharacters(BytesOf(text), text.size()); }

  XmlSaxParser& parser;
  std::vector<XmlSaxCallback*> stack;  // the outer parse's while this one is under way
  Parse* outer = nullptr;
  detail::XmlEventParser events;
  std::vector<unsigned char const*> pairs;  // of the present start tag
  std::uint64_t fed = 0;
  std::uint64_t allowance = firstAllowance;
  bool isFinished = false;
};

void XmlSaxParser::ClearCharacterBuffer() {
  if (characterBuffer != nullptr && characterBuffer != characterData.data()) std::free(characterBuffer);
  characterBuffer = nullptr;
  characterBufferSize = 0;
}

XmlSaxParser::~XmlSaxParser() {
  ClearCharacterBuffer();
}

void XmlSaxParser::ParseFile(wstring const& filename, XmlSaxCallback* callback) {
  if (callback == nullptr) throw BaseException(ErrorId::InvalidArgument);
  Parse document(*this, callback);
  platform::File file = ReportOutOfMemory([&] { return platform::File::OpenForReading(filename); });
  if (!file.IsOpen()) throw Failure(ErrorId::FileOpen, filename);
  detail::GzipFile stream(std::move(file), detail::GzipFile::Mode::Read);

  for (;;) {
    std::span<char> const room = document.Room(chunkSize);
    std::optional<std::size_t> const count = stream.Read(room);
    if (!count) throw Failure(ErrorId::FileRead, filename);
    if (*count == 0) break;
    document.Feed({room.data(), *count});
  }
  document.Finish();
}

void XmlSaxParser::ParseMemory(char const* data, unsigned int size, XmlSaxCallback* callback) {
  if (callback == nullptr) throw BaseException(ErrorId::InvalidArgument);
  Parse document(*this, callback);
  if (data != nullptr) document.Feed({data, size});
  document.Finish();
}

std::uint64_t XmlSaxParser::GetAllowance() const {
  return parse != nullptr ? parse->Allowance() : firstAllowance;
}

void XmlSaxParser::TakeAllowance(std::uint64_t bytes) {
  if (parse != nullptr) parse->Allowance() -= std::min(bytes, parse->Allowance());
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

void XmlSaxParser::startDocumentCallBack(void* parser) {
  static_cast<XmlSaxParser*>(parser)->OnStartDocument();
}

void XmlSaxParser::endDocumentCallback(void* parser) {
  static_cast<XmlSaxParser*>(parser)->OnEndDocument();
}

void XmlSaxParser::startElementCallback(void* parser, unsigned char const* name, unsigned char const** attributes) {
  static_cast<XmlSaxParser*>(parser)->OnStartElement(name, attributes);
}

void XmlSaxParser::endElementCallback(void* parser, unsigned char const* name) {
  static_cast<XmlSaxParser*>(parser)->OnEndElement(name);
}

void XmlSaxParser::charactersCallback(void* parser, unsigned char const* text, int length) {
  if (length > 0) static_cast<XmlSaxParser*>(parser)->OnCharacters(text, static_cast<std::size_t>(length));
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
  if (callbacks.size() != height + 1) PushOne(height);
  ClearCharacterBuffer();
}

/// Every element puts exactly one entry on the stack, so that its end can take exactly one.
void XmlSaxParser::PushOne(std::size_t height) {
  if (callbacks.size() == height) return PushCallback(nullptr);
  callbacks[height] = callbacks.back();
  callbacks.resize(height + 1);
}

void XmlSaxParser::OnEndElement(unsigned char const* name) {
  if (!callbacks.empty()) {
    std::size_t const height = callbacks.size();
    callbacks.back()->OnEndElement(this, name);
    callbacks.resize(height - 1);
  }
  ClearCharacterBuffer();
}

void XmlSaxParser::OnCharacters(unsigned char const* text, std::size_t length) {
  if (length == 0) return;
  RequireAtMost(u"text in an XML document", characterBufferSize + std::uint64_t{length},
                std::numeric_limits<unsigned int>::max());
  auto const added = static_cast<unsigned int>(length);
  unsigned int const total = characterBufferSize + added;
  if (total < characterData.size()) {
    characterBuffer = characterData.data();
  } else {
    // A block of a power of two, since a long text comes in thousands of pieces.
    bool const isBlock = characterBuffer != nullptr && characterBuffer != characterData.data();
    if (!isBlock || std::bit_ceil(std::size_t{characterBufferSize}) < total) {
      std::size_t const capacity = std::bit_ceil(std::size_t{total});
      auto* const block = static_cast<unsigned char*>(std::realloc(isBlock ? characterBuffer : nullptr, capacity));
      if (block == nullptr) throw BaseException(ErrorId::OutOfMemory);
      if (!isBlock) std::memcpy(block, characterData.data(), characterBufferSize);
      characterBuffer = block;
    }
  }
  std::memcpy(characterBuffer + characterBufferSize, text, added);
  characterBufferSize = total;
}

}  // namespace ZaM

#include "zam/xml/xml_events.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/xml/libxml2_events.h"
#include "zam/xml/xml_decoder.h"
#include "zam/xml/xml_encoding.h"
#include "zam/xml/xml_event_shaper.h"
#include "zam/xml/xml_scanner.h"

namespace ZaM::detail {

namespace {

/// What is decoded at once.
constexpr std::size_t pieceSize = 65536;

}  // namespace

/// The scanner, as long as it goes on, then libxml2. What isn't in UTF-8 is decoded in front of both.
class XmlEventParser::Parsers {
 public:
  Parsers(XmlEventReceiver& receiver, XmlEventOptions const& options) : shaper(receiver, options), scanner(shaper) {}

  void Feed(std::string_view bytes) {
    if (!decoder) return Parse(bytes);
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), pieceSize))) {
      Parse(decoder->Decode(bytes.substr(0, pieceSize)));
    }
  }

  void Finish() {
    isComplete = !libxml2 && scanner.Finish();
    if (isComplete) return;
    if (!libxml2) HandOver();
    libxml2->Finish();
  }

  [[nodiscard]] std::span<char> Room(std::size_t size) {
    if (!decoder) return scanner.Room(size);
    ReportOutOfMemory([&] { encodedRoom.resize(std::max(encodedRoom.size(), size)); });
    return std::span(encodedRoom).first(size);
  }

  [[nodiscard]] bool IsWellFormed() const { return isComplete || (libxml2 && libxml2->IsWellFormed()); }

 private:
  void Parse(std::string_view bytes) {
    if (libxml2) return libxml2->Feed(bytes);
    if (scanner.Feed(bytes)) return;
    bool const mayBeEncoded = !decoder && scanner.IsAtStart();
    if (mayBeEncoded) decoder = XmlDecoder::For(scanner.Rest().substr(0, mostDeclaration));
    if (!mayBeEncoded || !decoder) return HandOver();
    std::string const encoded = ReportOutOfMemory([this] { return std::string(scanner.Rest()); });
    scanner.DropRest();
    scanner.IgnoreEncoding();
    Feed(encoded);
  }

  void HandOver() {
    libxml2.emplace(shaper, scanner.Before(), decoder != nullptr);
    libxml2->Feed(ReportOutOfMemory([&] { return scanner.Opening(); }));
    libxml2->Feed(scanner.Rest());
    scanner.DropRest();
  }

  XmlEventShaper shaper;
  XmlScanner scanner;
  std::unique_ptr<XmlDecoder> decoder;
  std::vector<char> encodedRoom;
  std::optional<Libxml2Events> libxml2;
  bool isComplete = false;
};

XmlEventParser::XmlEventParser(XmlEventReceiver& receiver, XmlEventOptions options)
    : parsers(ReportOutOfMemory([&] { return std::make_unique<Parsers>(receiver, options); })) {}

XmlEventParser::~XmlEventParser() = default;

void XmlEventParser::Feed(std::string_view bytes) {
  parsers->Feed(bytes);
}

void XmlEventParser::Finish() {
  parsers->Finish();
}

std::span<char> XmlEventParser::Room(std::size_t size) {
  return parsers->Room(size);
}

bool XmlEventParser::IsWellFormed() const {
  return parsers->IsWellFormed();
}

}  // namespace ZaM::detail

#include "zam/xml/xml_events.h"

#include <optional>

#include "zam/foundation/create_counted.h"
#include "zam/xml/libxml2_events.h"
#include "zam/xml/xml_event_shaper.h"
#include "zam/xml/xml_scanner.h"

namespace ZaM::detail {

/// The scanner, as long as it goes on, then libxml2.
class XmlEventParser::Parsers {
 public:
  Parsers(XmlEventReceiver& receiver, XmlEventOptions const& options) : shaper(receiver, options), scanner(shaper) {}

  void Feed(std::string_view bytes) {
    if (libxml2) return libxml2->Feed(bytes);
    if (!scanner.Feed(bytes)) HandOver();
  }

  void Finish() {
    if (!libxml2 && scanner.Finish()) {
      isComplete = true;
      return;
    }
    if (!libxml2) HandOver();
    libxml2->Finish();
  }

  [[nodiscard]] std::span<char> Room(std::size_t size) { return scanner.Room(size); }

  [[nodiscard]] bool IsWellFormed() const { return isComplete || (libxml2 && libxml2->IsWellFormed()); }

 private:
  void HandOver() {
    libxml2.emplace(shaper, scanner.Before());
    libxml2->Feed(ReportOutOfMemory([&] { return scanner.Opening(); }));
    libxml2->Feed(scanner.Rest());
    scanner.DropRest();
  }

  XmlEventShaper shaper;
  XmlScanner scanner;
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

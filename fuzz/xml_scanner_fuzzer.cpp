// Any bytes as events, fed in pieces of any size: the library's own scanner, with libxml2 where it gives up, tells of
// the same as libxml2 alone. Where libxml2 has a limit that the scanner hasn't, the two may differ; and so they may in
// front of a fault in a document that is decoded, of which libxml2 drops what it has converted with the fault.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "zam/foundation/exceptions.h"
#include "zam/foundation/text_encoding.h"
#include "zam/xml/libxml2_events.h"
#include "zam/xml/xml_decoder.h"
#include "zam/xml/xml_event_shaper.h"
#include "zam/xml/xml_events.h"

namespace {

using namespace ZaM::detail;

/// Writes down what it is told. Texts that nothing follows are kept apart: how much of the last one is told of in front
/// of a fault is left open, and so is whether the end of the document is told of after one.
class Recorder : public XmlEventReceiver {
 public:
  void OnStartDocument() override { Note("^"); }
  void OnEndDocument() override { ends += '$'; }
  void OnStartElement(XmlElement const& element) override {
    Note("<", element.name, element.localName);
    for (auto const& [name, localName, value] : element.attributes) {
      if (name.data()[name.size()] != 0 || value.data()[value.size()] != 0) std::abort();
      Note(" ", name, localName, value);
    }
  }
  void OnEndElement(std::string_view name) override { Note("/", name); }
  void OnCharacters(std::string_view piece) override {
    if (piece.empty()) std::abort();
    Add('T', piece);
  }
  void OnCData(std::string_view piece) override { Add('C', piece); }
  void OnComment(std::string_view comment) override { Note("!", comment); }
  void OnProcessingInstruction(std::string_view target, std::string_view data) override { Note("?", target, data); }
  void OnEntityReference(std::string_view name, std::string_view content) override { Note("&", name, content); }

  std::string log;
  std::string text;
  std::string ends;

 private:
  template <class... Parts>
  void Note(Parts... parts) {
    log += std::exchange(text, {});
    ((log.append(parts) += '\n'), ...);
    kind = 0;
  }
  void Add(char newKind, std::string_view piece) {
    if (piece.empty()) return;
    if (std::exchange(kind, newKind) != newKind) text += newKind;
    text += piece;
  }
  char kind = 0;
};

template <class Parser>
std::string Parse(Parser& parser, Recorder const& recorder, std::string_view document, std::size_t pieceSize) {
  std::string outcome;
  try {
    for (; !document.empty(); document.remove_prefix(std::min(document.size(), pieceSize))) {
      parser.Feed(document.substr(0, pieceSize));
    }
    parser.Finish();
    outcome = parser.IsWellFormed() ? "well-formed " + recorder.text + recorder.ends : "malformed";
  } catch (ZaM::LimitExceededException const&) {
    outcome = "limit";
  }
  return recorder.log + outcome;
}

std::string ParseByLibxml2(std::string_view document, XmlEventOptions const& options, std::size_t pieceSize) {
  Recorder recorder;
  XmlEventShaper shaper(recorder, options);
  Libxml2Events libxml2(shaper, {});
  return Parse(libxml2, recorder, document, pieceSize);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 2) return 0;
  XmlEventOptions const options = {
      .substitutesEntities = (data[0] & 1) != 0, .keepsBlanks = (data[0] & 2) != 0, .isModel = (data[0] & 4) != 0};
  std::size_t const pieceSize = data[1] < 128 ? data[1] + std::size_t{1} : size;
  std::string_view const document(reinterpret_cast<char const*>(data + 2), size - 2);

  Recorder recorder;
  XmlEventParser parser(recorder, options);
  std::string const byUs = Parse(parser, recorder, document, pieceSize);

  using namespace std::string_view_literals;
  auto const decoder = XmlDecoder::For(document);
  bool const isUtf32 = document.starts_with("\xFF\xFE\0\0"sv) || document.starts_with("\0\0\xFE\xFF"sv);
  if (isUtf32) return 0;  // which libxml2 doesn't know
  // After the root libxml2 passes over bytes that mean nothing in the encoding.
  bool const isBroken = decoder && !ZaM::IsUtf8(decoder->Decode(document));
  std::string_view const malformed = "malformed";
  auto const agrees = [&](std::string const& byLibxml2) {
    if (byUs.ends_with("limit") || byLibxml2.ends_with("limit")) return true;
    bool const areMalformed = byUs.ends_with(malformed) && byLibxml2.ends_with(malformed);
    // libxml2 tells of a reference that it keeps before it looks into the entity. What was told is dropped by then.
    bool const isTold = options.isModel && !options.substitutesEntities &&
                        byLibxml2.starts_with(std::string_view(byUs).substr(0, byUs.size() - malformed.size()));
    return byUs == byLibxml2 || ((decoder || isTold) && areMalformed) || (isBroken && byUs.ends_with(malformed));
  };

  // Where libxml2 tells a fault, or a comment `<!-->-->`, may depend on the pieces that it gets.
  std::string const byLibxml2 = ParseByLibxml2(document, options, document.size());
  if (!agrees(byLibxml2) && !agrees(ParseByLibxml2(document, options, pieceSize))) {
    std::fprintf(stderr, "libxml2:\n%s\nscanner:\n%s\n", byLibxml2.c_str(), byUs.c_str());
    std::abort();
  }
  return 0;
}

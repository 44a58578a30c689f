#include "zam/xml/xml_decoder.h"

#include <libxml/encoding.h>
#include <libxml/tree.h>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/xml/xml_library.h"

namespace ZaM::detail {

namespace {

/// The name of the encoding to convert from; null for none.
char const* ConverterFor(std::string_view head, std::string& declared) {
  using namespace std::string_view_literals;
  bool const isLittle = head.starts_with("\xFF\xFE") || head.starts_with("<\0?\0"sv);
  bool const isBig = head.starts_with("\xFE\xFF") || head.starts_with("\0<\0?"sv);
  if (isLittle || isBig) {
    char const* const name = isLittle ? "UTF-16LE" : "UTF-16BE";
    bool const isMeant = declared.empty() || declared == "utf-16" || declared == "utf-8" ||
                         declared == (isLittle ? "utf-16le" : "utf-16be");
    return isMeant ? name : nullptr;
  }
  // A name that says otherwise would contradict the declaration that it was read from.
  bool const isWide = declared.starts_with("utf") || declared.starts_with("ucs") || declared.starts_with("iso-10646");
  return declared.empty() || isWide || head[0] != '<' ? nullptr : declared.c_str();
}

}  // namespace

void XmlDecoder::Free::operator()(xmlCharEncodingHandler* closed) const {
  xmlCharEncCloseFunc(closed);
}

void XmlDecoder::Free::operator()(xmlBuffer* freed) const {
  xmlBufferFree(freed);
}

std::unique_ptr<XmlDecoder> XmlDecoder::For(std::string_view head) {
  return ReportOutOfMemory([=]() -> std::unique_ptr<XmlDecoder> {
    if (!IsHeadComplete(head) || !IsEncodingAllowed(head)) return nullptr;
    auto made = std::make_unique<XmlDecoder>();
    made->utf32 = Utf32Decoder::For(head);
    if (made->utf32) return made;
    std::string declared = DeclaredEncoding(head);
    char const* const name = ConverterFor(head, declared);
    if (name == nullptr) return nullptr;
    XmlScope const scope;
    made->converter.reset(xmlFindCharEncodingHandler(name));
    made->source.reset(xmlBufferCreate());
    made->target.reset(xmlBufferCreate());
    if (scope.HasRunOutOfMemory() || !made->source || !made->target) throw BaseException(ErrorId::OutOfMemory);
    return made->converter ? std::move(made) : nullptr;
  });
}

std::string_view XmlDecoder::Decode(std::string_view bytes) {
  return ReportOutOfMemory([&]() -> std::string_view {
    if (utf32) return text = utf32->Decode(bytes);
    text.clear();
    XmlScope const scope;
    if (isBroken) return text;
    xmlBufferAdd(source.get(), reinterpret_cast<xmlChar const*>(bytes.data()), static_cast<int>(bytes.size()));
    Convert();
    if (scope.HasRunOutOfMemory()) throw BaseException(ErrorId::OutOfMemory);
    return text;
  });
}

/// As much of `source` as is whole characters.
void XmlDecoder::Convert() {
  int written;
  do {
    xmlBufferEmpty(target.get());
    written = xmlCharEncInFunc(converter.get(), target.get(), source.get());
    auto const* const converted = reinterpret_cast<char const*>(xmlBufferContent(target.get()));
    text.append(converted, static_cast<std::size_t>(xmlBufferLength(target.get())));
  } while (written > 0);
  isBroken = written < 0;
  if (isBroken) text += '\xFF';
}

}  // namespace ZaM::detail

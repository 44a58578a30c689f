// Documents in other encodings than UTF-8 as UTF-8; internal.
#ifndef ZAM_XML_XML_DECODER_H
#define ZAM_XML_XML_DECODER_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zam/xml/xml_encoding.h"

struct _xmlBuffer;
struct _xmlCharEncodingHandler;

namespace ZaM::detail {

/// The bytes of one document, in any of the encodings that are allowed, as UTF-8. What comes after bytes that mean
/// nothing in the encoding is passed over; a byte that isn't UTF-8 stands in its place. So is what stands at the end
/// and is no whole character.
///
/// Errors: BaseException with id 5 where memory runs out.
class XmlDecoder {
 public:
  /// One for the document that begins with `head`, which is complete. Null where there is nothing to decode: it is in
  /// UTF-8, or in an encoding that isn't allowed, or contradicts itself.
  static std::unique_ptr<XmlDecoder> For(std::string_view head);

  /// Some of the next bytes, less than 1 GiB; the result is valid until the next call.
  [[nodiscard]] std::string_view Decode(std::string_view bytes);

 private:
  struct Free {
    void operator()(_xmlCharEncodingHandler* closed) const;
    void operator()(_xmlBuffer* freed) const;
  };

  void Convert();

  std::optional<Utf32Decoder> utf32;
  std::unique_ptr<_xmlCharEncodingHandler, Free> converter;  // where that isn't there
  std::unique_ptr<_xmlBuffer, Free> source;
  std::unique_ptr<_xmlBuffer, Free> target;
  bool isBroken = false;
  std::string text;
};

}  // namespace ZaM::detail

#endif

// What the beginning of a document says of its encoding; internal.
#ifndef ZAM_XML_XML_ENCODING_H
#define ZAM_XML_XML_ENCODING_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ZaM::detail {

/// How far the end of the declaration that a document begins with may be, blanks in it included.
inline constexpr std::size_t mostDeclaration = 65536;

/// Whether `head`, the first bytes of a document, has all that is said of the encoding: four bytes, and the declaration
/// to its end where there is one.
[[nodiscard]] bool IsHeadComplete(std::string_view head);

/// Whether the encoding that a complete head declares, if it does, is one of UTF-8, UTF-16, UTF-32, ASCII, ISO-8859-x,
/// windows-125x, Shift_JIS, ISO-2022-JP, the EUC and KOI8 families, GB2312, GBK, GB18030 and Big5. With any other name
/// a document could make the C library open whatever converter goes by it.
[[nodiscard]] bool IsEncodingAllowed(std::string_view head);

/// What a complete head declares, in small letters; empty for nothing.
[[nodiscard]] std::string DeclaredEncoding(std::string_view head);

/// UTF-32 after a byte order mark, which libxml2 takes for UTF-16.
class Utf32Decoder {
 public:
  /// One for a document that begins so; its bytes then are all decoded by it.
  static std::optional<Utf32Decoder> For(std::string_view head);

  /// The next bytes as UTF-8. What isn't a character becomes a byte that isn't UTF-8.
  [[nodiscard]] std::string Decode(std::string_view bytes);

 private:
  explicit Utf32Decoder(bool isBigEndian) : isBig(isBigEndian) {}

  bool isBig;
  std::size_t count = 0;  // of the bytes of the present unit
  std::uint32_t unit = 0;
};

}  // namespace ZaM::detail

#endif

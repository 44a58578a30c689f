// Bytes to wide text and back.
//
// All functions take all that they are given, zeros included.
//
// Threads: any, at any time.
// Errors:  BaseException with id 5 where memory runs out, and with id 1 and the name for an encoding that isn't known.
//          Malformed bytes are no error; each function says what becomes of them.
#ifndef ZAM_FOUNDATION_TEXT_ENCODING_H
#define ZAM_FOUNDATION_TEXT_ENCODING_H

#include <optional>
#include <string>
#include <string_view>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// `text` in UTF-8. A surrogate without its other half becomes U+FFFD.
///
///     std::cerr << ZaM::ToUtf8(failure.GetErrorDescription()) << '\n';
[[nodiscard]] ZAM_EXPORT std::string ToUtf8(std::u16string_view text);

/// The text of `bytes` in UTF-8. Each malformed sequence, up to where it stops making sense, becomes U+FFFD:
///
///     FromUtf8("Stra\xC3\x9F" "e")   Straße
///     FromUtf8("Stra\xDF" "e")       Stra\uFFFDe, since these bytes are ISO-8859-1
[[nodiscard]] ZAM_EXPORT wstring FromUtf8(std::string_view bytes);

/// Whether `bytes` are well-formed UTF-8, so that FromUtf8 and ToUtf8 give them back. The empty text is.
[[nodiscard]] ZAM_EXPORT bool IsUtf8(std::string_view bytes);

/// The text of a file or a message in `encoding`, or nothing if the bytes aren't well-formed in it.
///
///     DecodeText(bytes)                   UTF-8, or what a byte order mark says
///     DecodeText(bytes, "windows-1252")   unless there is a byte order mark
///
/// A byte order mark of UTF-8, UTF-16 or UTF-32 decides on the encoding, whatever `encoding` is, and isn't part of the
/// text. Names are those of IANA and their usual aliases, with any hyphens, underscores and case: UTF-8, UTF-16LE,
/// ISO-8859-15, windows-1252, KOI8-R, Shift_JIS, EUC-JP, Big5, GB18030.
[[nodiscard]] ZAM_EXPORT std::optional<wstring> DecodeText(std::string_view bytes,
                                                           std::string const& encoding = "UTF-8");

}  // namespace ZaM

#endif

// UTF-8, in which files and terminals speak, to and from the UTF-16 of the library.
#ifndef CLASSIFY_CORPUS_UTF8_H
#define CLASSIFY_CORPUS_UTF8_H

#include <optional>
#include <string>
#include <string_view>

#include "report/text.h"

namespace classify {

/// The text in UTF-16, or nothing if the bytes aren't UTF-8: a stray, missing or overlong byte, a surrogate, a number
/// above U+10FFFF.
std::optional<std::u16string> DecodeUtf8(std::string_view bytes);

/// The text in UTF-8; a surrogate without its partner becomes U+FFFD.
std::string EncodeUtf8(std::u16string_view text);

/// A name for the terminal, and for XML: what these don't show, backslashes and bytes that aren't UTF-8 turn into
/// `\xNN`, byte by byte.
std::string Printable(std::string_view name);

/// The number of characters of a `Printable` name, which is its width in most alphabets.
using report::Width;

}  // namespace classify

#endif

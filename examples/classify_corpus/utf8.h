// UTF-8 as it can be shown on a terminal.
#ifndef CLASSIFY_CORPUS_UTF8_H
#define CLASSIFY_CORPUS_UTF8_H

#include <string>
#include <string_view>

#include "report/text.h"

namespace classify {

/// A name for the terminal, and for XML: what these don't show, backslashes and bytes that aren't UTF-8 turn into
/// `\xNN`, byte by byte.
std::string Printable(std::string_view name);

/// The number of characters of a `Printable` name, which is its width in most alphabets.
using report::Width;

}  // namespace classify

#endif

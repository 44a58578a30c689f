// Numbers and names in columns of a terminal.
#ifndef CLASSIFY_CORPUS_NUMBER_TEXT_H
#define CLASSIFY_CORPUS_NUMBER_TEXT_H

#include <cstddef>
#include <string>

#include "report/text.h"

namespace classify {

using report::Fixed;
using report::Grouped;
using report::Percent;

/// The text with blanks in front of it, up to this many characters.
std::string Right(std::string const& text, std::size_t width);

/// The text with blanks after it.
std::string Left(std::string const& text, std::size_t width);

}  // namespace classify

#endif

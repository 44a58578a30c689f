// Numbers as text, the same whatever the locale.
#ifndef CLASSIFY_CORPUS_NUMBER_TEXT_H
#define CLASSIFY_CORPUS_NUMBER_TEXT_H

#include <cstdint>
#include <string>

namespace classify {

/// "1,234,567"
std::string Grouped(std::uint64_t number);

/// "0.125" with three digits behind the point.
std::string Fixed(double number, int digits);

/// A share as "12.5 %"; "-" if the whole is 0.
std::string Percent(double part, double whole);

/// The text with blanks in front of it, up to this many characters.
std::string Right(std::string const& text, std::size_t width);

/// The text with blanks behind it.
std::string Left(std::string const& text, std::size_t width);

}  // namespace classify

#endif

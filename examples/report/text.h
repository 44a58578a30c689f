// Numbers as text, the same whatever the locale, and the room that a text takes.
#ifndef REPORT_TEXT_H
#define REPORT_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace report {

/// With commas between thousands: "12,345".
std::string Grouped(std::uint64_t number);

/// With so many digits after the point: "0.25".
std::string Fixed(double number, int digits);

/// A share of something, in percent: "12.5 %", or "-" if there is nothing to have a share of.
std::string Percent(double part, double whole);

/// The number of characters of a text in UTF-8, which is its width in most alphabets.
std::size_t Width(std::string_view utf8);

}  // namespace report

#endif

// Texts and addresses in HTML and SVG.
#ifndef REPORT_HTML_H
#define REPORT_HTML_H

#include <filesystem>
#include <string>
#include <string_view>

namespace report {

/// The text with the characters escaped that mean something in HTML and in SVG, in attributes too.
std::string Escaped(std::string_view text);

/// The percent-encoded address of `file` in a page that lies in `folder`: it stays true where both move together.
std::string RelativeAddress(std::filesystem::path const& file, std::filesystem::path const& folder);

}  // namespace report

#endif

// Pieces of HTML.
#ifndef CLASSIFY_CORPUS_HTML_TEXT_H
#define CLASSIFY_CORPUS_HTML_TEXT_H

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace classify::html {

/// The text with the characters escaped that mean something in HTML, in attributes too.
std::string Escaped(std::string_view text);

/// The address of a local file: its absolute path, percent-encoded.
std::string FileAddress(std::filesystem::path const& file);

/// A table: the headings, then the rows. The first column holds texts, the others figures. Cells are HTML.
std::string Table(std::vector<std::string> const& headings, std::vector<std::vector<std::string>> const& rows);

/// A picture from beside the page, with what it shows in words.
std::string Picture(std::string const& file, std::string const& description);

/// A whole page with its styles; `body` is HTML.
std::string Page(std::string const& title, std::string const& body);

}  // namespace classify::html

#endif

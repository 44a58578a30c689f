#include "html_text.h"

namespace classify::html {

namespace {

constexpr char styles[] = R"(
body { font: 15px/1.45 "DejaVu Sans", Arial, sans-serif; color: #222; background: #fff; margin: 2em auto; padding: 0 1.5em; max-width: 1320px; }
h1 { font-size: 1.6em; margin-bottom: 0.2em; }
h2 { font-size: 1.2em; margin-top: 2.2em; border-bottom: 1px solid #ccc; padding-bottom: 0.2em; }
p.note, figcaption { color: #555; max-width: 62em; }
nav a { margin-right: 1.2em; }
.figures { display: flex; flex-wrap: wrap; gap: 1em; margin: 1.2em 0; }
.figures div { border: 1px solid #ccc; border-radius: 6px; padding: 0.6em 1.2em; min-width: 9em; }
.figures b { display: block; font-size: 1.7em; }
table { border-collapse: collapse; margin: 0.8em 0; }
th, td { padding: 0.22em 0.9em; text-align: right; border-bottom: 1px solid #e4e4e4; }
th { border-bottom: 2px solid #999; vertical-align: bottom; }
th:first-child, td:first-child { text-align: left; }
tbody tr:nth-child(even) { background: #f6f8fa; }
#setup td, #confusions th:nth-child(2), #confusions td:nth-child(2), #confusions th:last-child, #confusions td:last-child { text-align: left; }
.plots { display: flex; flex-wrap: wrap; gap: 0.5em; }
img { max-width: 100%; height: auto; }
)";

}  // namespace

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (char const character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

std::string FileAddress(std::filesystem::path const& file) {
  constexpr char digits[] = "0123456789ABCDEF";
  constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  std::string address = "file://";
  std::string const path = std::filesystem::absolute(file).lexically_normal().native();
  for (char const character : path) {
    if (plain.find(character) != std::string_view::npos) {
      address += character;
    } else {
      auto const byte = static_cast<unsigned char>(character);
      address += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return address;
}

std::string Table(std::vector<std::string> const& headings, std::vector<std::vector<std::string>> const& rows) {
  std::string table = "<table>\n<thead><tr>";
  for (std::string const& heading : headings) table += "<th>" + heading + "</th>";
  table += "</tr></thead>\n<tbody>\n";
  for (std::vector<std::string> const& row : rows) {
    table += "<tr>";
    for (std::string const& cell : row) table += "<td>" + cell + "</td>";
    table += "</tr>\n";
  }
  return table + "</tbody>\n</table>\n";
}

std::string Picture(std::string const& file, std::string const& description) {
  return "<img src=\"" + Escaped(file) + "\" alt=\"" + Escaped(description) + "\">\n";
}

std::string Page(std::string const& title, std::string const& body) {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
         Escaped(title) + "</title>\n<style>" + styles + "</style>\n</head>\n<body>\n" + body + "</body>\n</html>\n";
}

}  // namespace classify::html

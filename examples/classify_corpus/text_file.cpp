#include "text_file.h"

#include <fstream>
#include <optional>
#include <utility>

#include "help_page.h"
#include "term_extractor.h"
#include "utf8.h"

namespace classify {

namespace {

// Nobody writes a text of this length: what is longer is a log, a dump or a device, and would only use up memory.
constexpr std::size_t maxBytes = std::size_t{16} << 20;
static_assert(6 * maxBytes <= TermExtractor::MaxUnits, "a page can have six times as many units as bytes");

std::string ReadBytes(std::filesystem::path const& path) {
  std::ifstream stream(path, std::ios::binary);
  std::string bytes;
  char block[65536];
  while (stream.read(block, sizeof block) || stream.gcount() > 0) {
    bytes.append(block, static_cast<std::size_t>(stream.gcount()));
    if (bytes.size() > maxBytes) throw UnusableFile{"larger than 16 MiB, left out"};
  }
  if (!stream.eof()) throw UnusableFile{"can't be read, left out"};
  return bytes;
}

std::u16string PlainText(std::string const& bytes) {
  std::optional<std::u16string> text = DecodeUtf8(bytes);
  if (!text || bytes.find('\0') != std::string::npos) throw UnusableFile{"not text in UTF-8, left out"};
  return std::move(*text);
}

std::u16string PageText(std::string const& bytes) {
  std::optional<std::u16string> text = HelpPageText(bytes);
  if (!text) throw UnusableFile{"not well-formed XML, left out"};
  return std::move(*text);
}

}  // namespace

std::u16string ReadText(std::filesystem::path const& path) {
  std::string const bytes = ReadBytes(path);
  return path.extension() == ".page" ? PageText(bytes) : PlainText(bytes);
}

}  // namespace classify

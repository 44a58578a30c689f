// Reading of translation files: gettext's PO form, as translators' editors write it. docs/formats.md tells what of it
// is used.
#ifndef ZAM_TRANSLATIONS_PO_FILE_H
#define ZAM_TRANSLATIONS_PO_FILE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ZaM::translations {

/// One entry, in UTF-8, with its escapes resolved.
struct PoEntry {
  std::size_t line = 0;  // of its first keyword, from 1
  std::optional<std::string> context;
  std::string source;
  std::string translation;  // empty where it isn't translated yet
  bool fuzzy = false;       // a guess that nobody has confirmed
};

/// Something that is wrong with a file.
struct PoError {
  std::size_t line;
  std::string context;  // of the entry, empty if it has none so far
  std::string message;
};

/// All entries in the order of the file, without the header. Throws PoError at the first place that isn't PO in UTF-8.
[[nodiscard]] std::vector<PoEntry> ParsePo(std::string_view bytes);

/// `text` as it stands between the quotes of a PO file.
[[nodiscard]] std::string EscapePo(std::string_view text);

}  // namespace ZaM::translations

#endif

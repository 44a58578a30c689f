// Paths of the file system as the library takes them.
#ifndef CLASSIFY_CORPUS_LIBRARY_PATH_H
#define CLASSIFY_CORPUS_LIBRARY_PATH_H

#include <zam/zam.h>

#include <filesystem>
#include <optional>
#include <string>

namespace classify {

/// The path in UTF-16. Nothing for one that the library would read as another: it takes backslashes for separators, and
/// UTF-8 alone for text.
inline std::optional<std::u16string> LibraryPath(std::filesystem::path const& path) {
  bool const isMeant = path.native().find('\\') == std::string::npos && ZaM::IsUtf8(path.native());
  return isMeant ? std::optional(ZaM::FromUtf8(path.native())) : std::nullopt;
}

}  // namespace classify

#endif

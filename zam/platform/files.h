// Files and folders by their UTF-16 path.
#ifndef ZAM_PLATFORM_FILES_H
#define ZAM_PLATFORM_FILES_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ZaM::platform {

/// The path as the operating system takes it: UTF-8, with `/` for each `\`.
[[nodiscard]] std::string NativePath(std::u16string_view path);

/// All bytes of a regular file of at most `limit` bytes. Nothing if there is no such file, if it is longer, if it is a
/// folder, a pipe or a device, or if it can't be read.
[[nodiscard]] std::optional<std::string> ReadFile(std::u16string_view path, std::size_t limit);

/// The folder of the shared object that holds this code, without a separator at its end; for a program that links the
/// objects directly, the program's folder. Symbolic links are followed. Empty where the system doesn't tell.
[[nodiscard]] std::u16string FolderOfThisLibrary();

}  // namespace ZaM::platform

#endif

// Files and folders by their UTF-16 path.
#ifndef ZAM_PLATFORM_FILES_H
#define ZAM_PLATFORM_FILES_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ZaM::platform {

/// The path as the operating system takes it: UTF-8, with `/` for each `\`. Lone surrogates from U+DC80 to U+DCFF and
/// U+DC5C stand for the bytes that WidePath made them of; others become U+FFFD.
[[nodiscard]] std::string NativePath(std::u16string_view path);

/// The native path; empty, which no file has as its path, for one that the system would take as another or never takes:
/// with a zero in it, or longer than the system's limit.
[[nodiscard]] std::string OpenablePath(std::u16string_view path);

/// A path or a name of the operating system as UTF-16, so that NativePath gives exactly these bytes back. A `\`, which
/// is no separator to the system, becomes U+DC5C, and every byte from 0x80 of what isn't UTF-8 a unit from U+DC80.
[[nodiscard]] std::u16string WidePath(std::string_view bytes);

/// All bytes of a regular file of at most `limit` bytes. Nothing if there is no such file, if it is longer, if it is a
/// folder, a pipe or a device, or if it can't be read.
[[nodiscard]] std::optional<std::string> ReadFile(std::u16string_view path, std::size_t limit);

/// The folder of the shared object that holds this code, without a separator at its end; for a program that links the
/// objects directly, the program's folder. Symbolic links are followed. Empty where the system doesn't tell.
[[nodiscard]] std::u16string FolderOfThisLibrary();

}  // namespace ZaM::platform

#endif

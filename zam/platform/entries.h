// Single operations on files and folders by their UTF-16 path. `\` and `/` both separate.
#ifndef ZAM_PLATFORM_ENTRIES_H
#define ZAM_PLATFORM_ENTRIES_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace ZaM::platform {

/// What the system tells about a path; symbolic links are followed.
struct EntryStatus {
  std::uint64_t device;
  std::uint64_t number;    // with `device`: the same for two paths if and only if they lead to the same
  std::int64_t writeTime;  // seconds since 1970
  bool isFolder;
  bool isWritable;  // write permission for the owner, whoever asks
};

/// Nothing if there is nothing of this name, or if it can't be reached.
[[nodiscard]] std::optional<EntryStatus> StatusOf(std::u16string_view path);

/// All of these are true on success.
bool MakeFolder(std::u16string_view path);
bool RemoveEmptyFolder(std::u16string_view path);
/// Gives the owner write permission; symbolic links are followed.
bool MakeWritable(std::u16string_view path);
/// Also where the file is read-only. A symbolic link is removed, not followed; folders are refused, and so is a file
/// that somebody writes through the library or holds as a lock.
bool RemoveFile(std::u16string_view path);

/// Moves a file or a folder; false if there is something named `target`, and for files that RemoveFile refuses. Files
/// can be moved to another file system.
bool Move(std::u16string_view source, std::u16string_view target);

struct CopyRules {
  bool failIfExists;
  bool makeWritable = false;  // the copy, for its owner
  bool isMove = false;        // it gets owner and permissions exactly, as far as the system lets this process
};

/// Copies content, permissions and time of modification of a regular file; holes stay holes. False, with the target as
/// it was, if the target exists and `failIfExists` is set, if it is read-only (no write permission for the owner,
/// whoever asks), if it is the source itself, no regular file, or in use by another reader or writer of the library. A
/// new file that can't be completed is removed; an existing one keeps its permissions, and is left incomplete where
/// writing fails. A link that leads nowhere counts as existing; without `failIfExists` the copy is made where it leads.
/// Throws std::bad_alloc with nothing changed.
bool CopyFile(std::u16string_view source, std::u16string_view target, CopyRules rules);

}  // namespace ZaM::platform

#endif

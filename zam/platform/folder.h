// What a folder holds.
#ifndef ZAM_PLATFORM_FOLDER_H
#define ZAM_PLATFORM_FOLDER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ZaM::platform {

/// One entry of a folder. Of a symbolic link it tells what the link leads to; a link that leads nowhere is a file.
struct FolderEntry {
  std::u16string name;
  bool isReadOnly = false;  // no write permission for the owner, whoever asks
  bool isHidden = false;    // a name that begins with a dot, other than `.` and `..`
  bool isFolder = false;
  std::int64_t changeTime = 0;  // of content or status; all times in seconds since 1970
  std::int64_t accessTime = 0;
  std::int64_t writeTime = 0;
  std::uint64_t size = 0;
};

/// The entries that the pattern matches, as they are now: `.` and `..` first, then the others in the system's order.
/// None if the folder can't be read.
///
/// What stands before the pattern's last `\` or `/` is the folder. After it, `*` stands for any number of units and
/// `?` for exactly one, the rest for itself, without regard to case; `*.*` is everything.
[[nodiscard]] std::vector<FolderEntry> SearchFolder(std::u16string_view pattern);

/// The names in an open folder other than `.` and `..`, as the system has them; nothing where reading fails. The
/// descriptor stays the caller's.
[[nodiscard]] std::optional<std::vector<std::string>> NamesInFolder(int folder);

}  // namespace ZaM::platform

#endif

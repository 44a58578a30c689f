#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "zam/foundation/files.h"
#include "zam/foundation/no_throw.h"
#include "zam/platform/entries.h"
#include "zam/platform/folder.h"

namespace ZaM {

namespace {

/// Walks from a list, since a tree may be deeper than the stack, and holds no folder open.
class TreeCopy {
 public:
  TreeCopy(wstring searchPattern, bool overwriteFiles) : pattern(std::move(searchPattern)), overwrite(overwriteFiles) {}

  bool Run(wstring const& source, wstring const& target, bool createTarget) {
    bool succeeded = Enter(source, target, createTarget);
    while (!levels.empty()) {
      Level& level = levels.back();
      if (level.next == level.entries.size()) {
        levels.pop_back();
      } else if (!Copy(level, level.entries[level.next++])) {
        succeeded = false;
      }
    }
    return succeeded;
  }

 private:
  using Identity = std::pair<std::uint64_t, std::uint64_t>;
  struct Level {
    wstring source;  // both end in a separator
    wstring target;
    Identity sourceIdentity;
    Identity targetIdentity;
    std::vector<platform::FolderEntry> entries;
    std::size_t next = 0;
  };

  static Identity IdentityOf(wstring const& path) {
    auto const status = platform::StatusOf(path);
    return status ? Identity(status->device, status->number) : Identity();
  }

  bool Enter(wstring const& source, wstring const& target, bool createTarget) {
    auto const status = platform::StatusOf(target);
    bool const exists = status && status->isFolder;
    if (!exists && (!createTarget || !CreateFolder(target))) return false;
    Level level{source + u'\\', target + u'\\', {}, {}, {}};
    level.sourceIdentity = IdentityOf(level.source);
    level.targetIdentity = IdentityOf(level.target);
    level.entries = platform::SearchFolder(level.source + pattern);
    levels.push_back(std::move(level));
    return true;
  }

  /// Whether the walk is in this folder already, or writes to it: entering it would never end.
  bool IsEntered(wstring const& folder) const {
    Identity const identity = IdentityOf(folder);
    return std::any_of(levels.begin(), levels.end(), [&](Level const& level) {
      return level.sourceIdentity == identity || level.targetIdentity == identity;
    });
  }

  bool Copy(Level const& level, platform::FolderEntry const& entry) {
    if (entry.name == u"." || entry.name == u".." || entry.isHidden) return true;
    wstring const source = level.source + entry.name;
    wstring const target = level.target + entry.name;
    if (entry.isFolder) return IsEntered(source) || Enter(source, target, true);
    if (platform::CopyFile(source, target, {.failIfExists = !overwrite, .makeWritable = true})) return true;
    if (entry.isReadOnly) platform::MakeWritable(target);
    return false;
  }

  wstring const pattern;
  bool const overwrite;
  std::vector<Level> levels;
};

}  // namespace

bool CopyFiles(wstring source, wstring target, wstring pattern, bool createTarget, bool overwrite) noexcept {
  return detail::ResultOr(false, [&] { return TreeCopy(pattern, overwrite).Run(source, target, createTarget); });
}

}  // namespace ZaM

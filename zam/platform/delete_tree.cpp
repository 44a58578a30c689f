#include "zam/platform/delete_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "zam/platform/descriptor.h"
#include "zam/platform/file.h"
#include "zam/platform/files.h"
#include "zam/platform/folder.h"

namespace ZaM::platform {

namespace {

/// Walks with one descriptor, by single names and never by paths. A name is opened only where it is a folder itself, so
/// a link that was put in its place meanwhile can't be entered. The way back up is `..`, which is taken only if it is
/// the folder that the walk came from: a folder that was moved away meanwhile leads elsewhere.
class TreeDeletion {
 public:
  /// `parent` is open with O_PATH; the folder to delete is `name` in it.
  TreeDeletion(Descriptor parent, std::string name) : current(std::move(parent)) {
    levels.push_back(Level{IdentityOf(current), {std::move(name)}});
  }

  bool Run() {
    if (!Enter()) return false;
    while (levels.size() > 1) {
      if (levels.back().names.empty() ? !Leave() : !DeleteNext()) return false;
    }
    return true;
  }

 private:
  using Identity = std::pair<dev_t, ino_t>;
  struct Level {
    Identity identity;
    std::vector<std::string> names;  // still to be deleted; the last one is next
  };

  static Identity IdentityOf(Descriptor const& folder) {
    struct stat status = {};
    return fstat(folder.Number(), &status) == 0 ? Identity(status.st_dev, status.st_ino) : Identity();
  }

  bool Enter() {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    Descriptor folder(openat(current.Number(), levels.back().names.back().c_str(), flags));
    if (!folder.IsOpen()) return false;
    auto names = NamesInFolder(folder.Number());
    if (!names) return false;
    current = std::move(folder);
    levels.push_back(Level{IdentityOf(current), std::move(*names)});
    return true;
  }

  bool DeleteNext() {
    if (Enter()) return true;
    // A file's own permissions don't protect it from being deleted, so it needn't be made writable, which might hit
    // what a link leads to.
    return (errno == ENOTDIR || errno == ELOOP) && Remove(0);
  }

  bool Leave() {
    Descriptor parent(openat(current.Number(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    levels.pop_back();
    if (!parent.IsOpen() || IdentityOf(parent) != levels.back().identity) return false;
    current = std::move(parent);
    return Remove(AT_REMOVEDIR);
  }

  bool Remove(int flags) {
    std::vector<std::string>& names = levels.back().names;
    NameRemoval const removal(current.Number(), names.back().c_str());
    if (!removal.IsAllowed() || unlinkat(current.Number(), names.back().c_str(), flags) != 0) return false;
    names.pop_back();
    return true;
  }

  Descriptor current;  // the folder of the last level
  std::vector<Level> levels;
};

/// Without what makes the system look through a link at the end: `link/` and `link/.` are what the link leads to.
void CutEnd(std::string& path) {
  for (;;) {
    if (path.ends_with("/.")) path.pop_back();
    if (!path.ends_with('/')) return;
    path.pop_back();
  }
}

bool IsLinkToFolder(int parent, char const* name) {
  struct stat own = {};
  struct stat target = {};
  return fstatat(parent, name, &own, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(own.st_mode) &&
         fstatat(parent, name, &target, 0) == 0 && S_ISDIR(target.st_mode);
}

}  // namespace

bool DeleteTree(std::u16string_view path) {
  std::string native = OpenablePath(path);
  CutEnd(native);
  std::size_t const afterSeparator = native.rfind('/') + 1;  // npos + 1 is 0
  std::string name = native.substr(afterSeparator);
  if (name.empty() || name == "." || name == "..") return false;

  std::string const folder = afterSeparator == 0 ? "." : native.substr(0, afterSeparator);
  Descriptor parent(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!parent.IsOpen()) return false;
  if (IsLinkToFolder(parent.Number(), name.c_str())) return unlinkat(parent.Number(), name.c_str(), 0) == 0;
  return TreeDeletion(std::move(parent), std::move(name)).Run();
}

}  // namespace ZaM::platform

#include "zam/platform/entries.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "zam/platform/file.h"
#include "zam/platform/files.h"

namespace ZaM::platform {

namespace {

bool Exists(std::string const& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

bool IsOfType(std::string const& path, mode_t type) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == type;
}

/// For file systems that can't rename without replacing. A hard link never replaces anything; a folder could at most
/// take the place of an empty folder that came up just now.
bool MoveInSteps(std::string const& source, std::string const& target) {
  if (IsOfType(source, S_IFDIR)) return !Exists(target) && rename(source.c_str(), target.c_str()) == 0;
  return link(source.c_str(), target.c_str()) == 0 && unlink(source.c_str()) == 0;
}

}  // namespace

std::optional<EntryStatus> StatusOf(std::u16string_view path) {
  struct stat status = {};
  if (stat(OpenablePath(path).c_str(), &status) != 0) return std::nullopt;
  return EntryStatus{status.st_dev, status.st_ino, status.st_mtime, S_ISDIR(status.st_mode),
                     (status.st_mode & S_IWUSR) != 0};
}

bool MakeFolder(std::u16string_view path) {
  return mkdir(OpenablePath(path).c_str(), 0777) == 0;
}

bool RemoveEmptyFolder(std::u16string_view path) {
  return rmdir(OpenablePath(path).c_str()) == 0;
}

bool MakeWritable(std::u16string_view path) {
  std::string const native = OpenablePath(path);
  struct stat status = {};
  return stat(native.c_str(), &status) == 0 && chmod(native.c_str(), (status.st_mode & 07777) | S_IWUSR) == 0;
}

bool RemoveFile(std::u16string_view path) {
  std::string const native = OpenablePath(path);
  NameRemoval const removal(AT_FDCWD, native.c_str());
  return removal.IsAllowed() && unlink(native.c_str()) == 0;
}

bool Move(std::u16string_view source, std::u16string_view target) {
  std::string const from = OpenablePath(source);
  std::string const to = OpenablePath(target);
  NameRemoval const removal(AT_FDCWD, from.c_str());
  if (!removal.IsAllowed()) return false;
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EINVAL || errno == ENOSYS) return MoveInSteps(from, to);
  if (errno != EXDEV || !IsOfType(from, S_IFREG) || !CopyFile(source, target, {.failIfExists = true, .isMove = true}))
    return false;
  if (unlink(from.c_str()) == 0) return true;
  unlink(to.c_str());
  return false;
}

}  // namespace ZaM::platform

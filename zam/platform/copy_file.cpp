#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zam/platform/entries.h"
#include "zam/platform/file.h"
#include "zam/platform/files.h"
#include "zam/platform/retry.h"

namespace ZaM::platform {

namespace {

/// Opens a file that is there, and locks it. O_NONBLOCK, since a pipe of this name would wait for its other end.
File OpenRegular(std::string const& path, int access, int lock, struct stat& status) {
  File file(open(path.c_str(), access | O_NONBLOCK | O_CLOEXEC));
  bool const usable = file.IsOpen() && fstat(file.Descriptor(), &status) == 0 && S_ISREG(status.st_mode) &&
                      TryLock(file.Descriptor(), lock);
  return usable ? std::move(file) : File();
}

File CreateNew(std::string const& path, mode_t permissions) {
  File file(CreateLocked(path, permissions));
  if (file.IsOpen() || errno == EEXIST) return file;
  file = File(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
  if (file.IsOpen() && !TryLock(file.Descriptor(), LOCK_EX)) return {};
  return file;
}

/// A file that is there, emptied; none if it may not be overwritten by what `source` is.
File OpenToOverwrite(std::string const& path, struct stat const& source) {
  struct stat status = {};
  File file = OpenRegular(path, O_WRONLY, LOCK_EX, status);
  bool const isSource = status.st_dev == source.st_dev && status.st_ino == source.st_ino;
  bool const isReadOnly = (status.st_mode & S_IWUSR) == 0;
  if (!file.IsOpen() || isSource || isReadOnly || ftruncate(file.Descriptor(), 0) != 0) return {};
  return file;
}

/// Up to `limit` bytes, less only at the end of the source.
bool CopyBytes(int source, int target, off_t limit, std::vector<char>& buffer) {
  while (limit > 0) {
    auto const wanted = static_cast<std::size_t>(std::min(limit, static_cast<off_t>(buffer.size())));
    ssize_t const count = Retry([&] { return read(source, buffer.data(), wanted); });
    if (count <= 0) return count == 0;
    for (ssize_t written = 0; written < count;) {
      ssize_t const step =
          Retry([&] { return write(target, buffer.data() + written, static_cast<std::size_t>(count - written)); });
      if (step < 0) return false;
      written += step;
    }
    limit -= count;
  }
  return true;
}

constexpr off_t toTheEnd = std::numeric_limits<off_t>::max();

/// Copies the pieces between holes; what a file system doesn't tell of is one piece.
bool CopyPieces(int source, int target, std::vector<char>& buffer) {
  for (off_t at = 0;;) {
    off_t begin = lseek(source, at, SEEK_DATA);
    if (begin < 0 && errno == ENXIO) return ftruncate(target, lseek(source, 0, SEEK_END)) == 0;
    off_t const end = begin < 0 ? toTheEnd : lseek(source, begin, SEEK_HOLE);
    begin = std::max(begin, at);
    if (end < 0 || lseek(source, begin, SEEK_SET) < 0 || lseek(target, begin, SEEK_SET) < 0) return false;
    if (!CopyBytes(source, target, end - begin, buffer)) return false;
    if (end == toTheEnd) return true;
    at = end;
  }
}

/// Where the links that stand at `path` lead, also if nothing is there.
std::string EndOfLinks(std::string path) {
  constexpr int most = 40;  // as many as the system follows
  for (int links = 0; links < most; ++links) {
    char target[PATH_MAX];
    ssize_t const length = readlink(path.c_str(), target, sizeof target);
    if (length <= 0) break;
    std::string_view const next(target, static_cast<std::size_t>(length));
    if (next.front() == '/') path.clear();
    path.erase(path.rfind('/') + 1);  // npos + 1 is 0
    path += next;
  }
  return path;
}

void TakeOver(struct stat const& source, int target) {
  // A program that runs under its owner's rights must not get another owner's.
  bool const isOwners = fchown(target, source.st_uid, source.st_gid) == 0;
  fchmod(target, source.st_mode & (isOwners ? 07777 : 0777));
}

}  // namespace

bool CopyFile(std::u16string_view source, std::u16string_view target, CopyRules rules) {
  std::vector<char> buffer(1 << 17);  // before the target is touched
  struct stat status = {};
  File const from = OpenRegular(OpenablePath(source), O_RDONLY, LOCK_SH, status);
  if (!from.IsOpen()) return false;

  std::string path = OpenablePath(target);
  if (!rules.failIfExists) path = EndOfLinks(std::move(path));
  File to = CreateNew(path, status.st_mode & 0777);
  bool const isNew = to.IsOpen();
  if (!isNew && !rules.failIfExists) to = OpenToOverwrite(path, status);
  if (!to.IsOpen()) return false;

  // Network file systems report at a close what they couldn't write.
  bool const hasHoles = status.st_blocks * 512 < status.st_size;
  bool const copied = (hasHoles ? CopyPieces(from.Descriptor(), to.Descriptor(), buffer)
                                : CopyBytes(from.Descriptor(), to.Descriptor(), toTheEnd, buffer)) &&
                      close(fcntl(to.Descriptor(), F_DUPFD_CLOEXEC, 0)) == 0;
  timespec const times[] = {status.st_atim, status.st_mtim};
  if (copied) futimens(to.Descriptor(), times);  // a copy without its time is a copy too
  if (copied && rules.isMove) TakeOver(status, to.Descriptor());
  if (copied && rules.makeWritable && fstat(to.Descriptor(), &status) == 0) {
    fchmod(to.Descriptor(), (status.st_mode & 07777) | S_IWUSR);
  }
  if (!copied && isNew) unlink(path.c_str());
  return copied;
}

}  // namespace ZaM::platform

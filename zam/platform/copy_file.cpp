#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "zam/platform/entries.h"
#include "zam/platform/file.h"
#include "zam/platform/files.h"

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

bool CopyBytes(int source, int target, std::vector<char>& buffer) {
  for (;;) {
    ssize_t const count = read(source, buffer.data(), buffer.size());
    if (count == 0) return true;
    if (count < 0 && errno != EINTR) return false;
    for (ssize_t written = 0; written < count;) {
      ssize_t const step = write(target, buffer.data() + written, static_cast<std::size_t>(count - written));
      if (step < 0 && errno != EINTR) return false;
      if (step > 0) written += step;
    }
  }
}

}  // namespace

bool CopyFile(std::u16string_view source, std::u16string_view target, CopyRules rules) {
  std::vector<char> buffer(1 << 17);  // before the target is touched
  struct stat status = {};
  File const from = OpenRegular(OpenablePath(source), O_RDONLY, LOCK_SH, status);
  if (!from.IsOpen()) return false;

  std::string const path = OpenablePath(target);
  File to = CreateNew(path, status.st_mode & 0777);
  bool const isNew = to.IsOpen();
  if (!isNew && !rules.failIfExists) to = OpenToOverwrite(path, status);
  if (!to.IsOpen()) return false;

  // Network file systems report at a close what they couldn't write.
  bool const copied =
      CopyBytes(from.Descriptor(), to.Descriptor(), buffer) && close(fcntl(to.Descriptor(), F_DUPFD_CLOEXEC, 0)) == 0;
  timespec const times[] = {status.st_atim, status.st_mtim};
  if (copied) futimens(to.Descriptor(), times);  // a copy without its time is a copy too
  if (copied && rules.makeWritable && fstat(to.Descriptor(), &status) == 0) {
    fchmod(to.Descriptor(), (status.st_mode & 07777) | S_IWUSR);
  }
  if (!copied && isNew) unlink(path.c_str());
  return copied;
}

}  // namespace ZaM::platform

#include "zam/platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "zam/platform/descriptor.h"
#include "zam/platform/files.h"
#include "zam/platform/retry.h"

namespace ZaM::platform {

namespace {

bool IsOfType(int descriptor, mode_t type) {
  struct stat status = {};
  return fstat(descriptor, &status) == 0 && (status.st_mode & S_IFMT) == type;
}

}  // namespace

bool TryLock(int descriptor, int kind) {
  return Retry([&] { return flock(descriptor, kind | LOCK_NB); }) == 0 || errno != EWOULDBLOCK;
}

bool NameUnnamed(int file, int folder, char const* name) {
  std::string const unnamed = "/proc/self/fd/" + std::to_string(file);
  return linkat(AT_FDCWD, unnamed.c_str(), folder, name, AT_SYMLINK_FOLLOW) == 0;
}

int CreateLocked(std::string const& path, unsigned int permissions) {
  std::size_t const separator = path.rfind('/');
  std::string const folder = separator == std::string::npos ? "." : path.substr(0, separator + 1);
  Descriptor file(open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, permissions));
  if (!file.IsOpen()) return -1;
  bool const named = TryLock(file.Number(), LOCK_EX) && NameUnnamed(file.Number(), AT_FDCWD, path.c_str());
  return named ? file.Detach() : -1;
}

NameRemoval::NameRemoval(int folder, char const* name) : isAllowed(true) {
  struct stat status = {};
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode)) return;
  for (int const access : {O_RDONLY, O_WRONLY}) {
    file = File(openat(folder, name, access | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.IsOpen()) break;
  }
  isAllowed = !file.IsOpen() || TryLock(file.Descriptor(), LOCK_SH);
}

File& File::operator=(File&& other) noexcept {
  if (this == &other) return *this;
  Close();
  descriptor = other.Detach();
  return *this;
}

File File::OpenForReading(std::u16string_view path) {
  std::string const native = OpenablePath(path);
  File file(Retry([&] { return open(native.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (!file.IsOpen() || IsOfType(file.descriptor, S_IFDIR)) return {};
  if (IsOfType(file.descriptor, S_IFREG) && !TryLock(file.descriptor, LOCK_SH)) return {};
  return file;
}

File File::CreateForWriting(std::u16string_view path) {
  std::string const native = OpenablePath(path);
  File created(CreateLocked(native, readableAndWritable));
  if (created.IsOpen()) return created;

  // The lock comes before the truncation, so that nobody loses what they are reading.
  File file(Retry([&] { return open(native.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, readableAndWritable); }));
  if (!file.IsOpen() || !IsOfType(file.descriptor, S_IFREG)) return file;
  if (!TryLock(file.descriptor, LOCK_EX) || Retry([&] { return ftruncate(file.descriptor, 0); }) != 0) return {};
  return file;
}

bool File::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t const count = Retry([&] { return write(descriptor, bytes.data(), bytes.size()); });
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool File::Close() {
  if (descriptor < 0) return true;
  // Closing alone would leave the lock to children that were forked meanwhile, for as long as they have the file. What
  // couldn't be written is asked for before, since unlocking writes too, and a network file system tells only once.
  int const second = Duplicate().Detach();
  bool const written = second < 0 || close(second) == 0;
  flock(descriptor, LOCK_UN);
  // Not repeated after a signal: the number is free by then, and may be another's.
  return close(Detach()) == 0 && written;
}

File File::Duplicate() const {
  return File(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
}

}  // namespace ZaM::platform

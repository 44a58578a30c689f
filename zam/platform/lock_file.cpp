#include "zam/platform/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "zam/platform/file.h"
#include "zam/platform/files.h"
#include "zam/platform/retry.h"

namespace ZaM::platform {

namespace {

// Not the system's own for the lock, which also says that it gives no more processes.
constexpr int isHeld = EBUSY;
constexpr int noGuard = ECHILD;

/// 0 where a call gave something else than -1, or the number of its error.
template <class Call>
int ErrorOf(Call call) {
  return Retry(call) == -1 ? errno : 0;
}

bool MayBeRepeated(int error) {
  constexpr std::array repeatable = {isHeld, EEXIST, EACCES, EPERM, EISDIR, ETXTBSY};
  return std::find(repeatable.begin(), repeatable.end(), error) != repeatable.end();
}

}  // namespace

LockFile::OpenFile::Identity LockFile::OpenFile::IdentityOf(int number) {
  struct stat status = {};
  return fstat(number, &status) == 0 ? Identity(status.st_dev, status.st_ino) : Identity();
}

LockAttempt LockFile::Take(std::u16string_view path, std::u16string_view guardProgram) {
  std::string const native = NativePath(path);
  if (native.find('\0') != std::string::npos) return {nullptr, false};  // the system would read another path
  std::size_t const nameBegin = native.rfind('/') + 1;                  // 0 without a separator
  std::string const folderPath = nameBegin == 0 ? "." : native.substr(0, nameBegin);
  OpenFile folder(open(folderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen()) return {nullptr, MayBeRepeated(errno)};

  std::unique_ptr<LockFile> lock(new LockFile(std::move(folder), native.substr(nameBegin), OpenablePath(guardProgram)));
  int error = lock->TakeNamed();
  if (error == ENOENT) error = lock->TakeNew();
  // Not all file systems have files without a name, and the way from one to a name leads through /proc.
  if (error == EOPNOTSUPP || error == ENOENT) error = lock->TakeNewUnderItsName();
  if (error != 0) return {nullptr, MayBeRepeated(error)};
  lock->isTaken = true;
  return {std::move(lock), false};
}

LockFile::LockFile(OpenFile openFolder, std::string fileName, std::string guardProgram)
    : folder(std::move(openFolder)), name(std::move(fileName)), program(std::move(guardProgram)), holder(getpid()) {}

LockFile::~LockFile() {
  ForgetWhatOthersClosed();
  if (getpid() != holder) return;
  if (isTaken) Vanish(Locked());
  Unlock(Locked());
  EndGuard();
}

/// Takes the file that stands under the name.
int LockFile::TakeNamed() {
  struct stat status = {};
  if (fstatat(folder.Number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (!S_ISREG(status.st_mode) || (status.st_mode & S_IWUSR) == 0) return EACCES;
  // Something else may have come up meanwhile: neither a link's target nor a pipe's other end is waited for.
  int error = Open(name.c_str(), O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (error == 0) error = LockOpenFile();
  if (error != 0) return error;
  // Between opening and locking, who held the lock may have let the file vanish: what is locked now is nobody's.
  if (!HasItsName(Locked())) return isHeld;
  error = ErrorOf([this] { return ftruncate(file.Number(), 0); });
  return error != 0 ? error : StartGuard();
}

/// Takes a new file, which gets its name when all is ready.
int LockFile::TakeNew() {
  int error = Open(".", O_TMPFILE);
  if (error == 0) error = LockOpenFile();
  if (error == 0) error = StartGuard();
  if (error != 0) return error;
  error = NameUnnamed(file.Number(), folder.Number(), name.c_str()) ? 0 : errno;
  if (error != 0) EndGuard();
  return error;
}

/// Takes a new file that others can see before all is ready.
int LockFile::TakeNewUnderItsName() {
  int error = Open(name.c_str(), O_CREAT | O_EXCL);
  if (error != 0) return error;
  error = LockOpenFile();
  // Somebody else got at it first, and may have let it vanish already.
  if (error == isHeld || !HasItsName(Locked())) return isHeld;
  if (error == 0) error = StartGuard();
  if (error != 0) Vanish(Locked());
  return error;
}

int LockFile::Open(char const* path, int flags) {
  int number = -1;
  int const error = ErrorOf(
      [&] { return number = openat(folder.Number(), path, flags | O_WRONLY | O_CLOEXEC, readableAndWritable); });
  file = OpenFile(number);
  return error;
}

int LockFile::LockOpenFile() const {
  int const error = ErrorOf([&] { return flock(file.Number(), LOCK_EX | LOCK_NB); });
  return error == EWOULDBLOCK ? isHeld : error;
}

int LockFile::StartGuard() {
  hold = OpenFile(memfd_create("zam-lock-hold", MFD_CLOEXEC));
  return TakeHold(hold.Number(), F_SETLK) && guard.Start(Locked(), program) ? 0 : noGuard;
}

/// After the file has vanished or has never had its name, so that the guard finds nothing to do.
void LockFile::EndGuard() {
  if (!hold.IsOpen()) return;
  hold = OpenFile();
  guard.End();
}

/// Only as long as `hold` is there, the other two are what they were: a new file may have an old one's identity.
void LockFile::ForgetWhatOthersClosed() {
  bool const all = hold.IsOpen() && !hold.IsSame();
  for (OpenFile* const each : {&folder, &file, &hold}) {
    if (all || !each->IsSame()) each->Forget();
  }
}

}  // namespace ZaM::platform

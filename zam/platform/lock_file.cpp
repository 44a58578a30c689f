#include "zam/platform/lock_file.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "zam/platform/files.h"

namespace ZaM::platform {

namespace {

constexpr mode_t readableAndWritable = 0666;  // less what the process's mask takes away

/// 0 where a call gave something else than -1, or the number of its error. Repeats a call that a signal interrupted.
template <class Call>
int ErrorOf(Call call) {
  while (call() == -1) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

bool MayBeRepeated(int error) {
  constexpr std::array repeatable = {EWOULDBLOCK, EEXIST, EACCES, EPERM, EISDIR, ETXTBSY};
  return std::find(repeatable.begin(), repeatable.end(), error) != repeatable.end();
}

/// Starts a process as `fork` does, for one that runs a few system calls only: no handlers run at its start or its end,
/// no signal comes at its end, and only who asks for it by its number and kind waits for it.
int StartQuietly(int (*run)(void*), void* argument) {
  // The new process uses its own copy of this.
  alignas(16) char stack[16384];
  return clone(run, stack + sizeof stack, 0, argument);
}

/// Closes all descriptors but these.
void KeepOnly(std::array<int, 3> kept) {
  std::sort(kept.begin(), kept.end());
  int next = 0;
  for (int const number : kept) {
    for (; next < number; ++next) close(next);
    next = number + 1;
  }
  closefrom(next);
}

/// 0 once the lock on the whole of an open file is taken that a process has for itself: its children don't inherit it,
/// and it goes when the process closes the file, becomes another program, or ends. `command` is F_SETLK or F_SETLKW.
int TakeForThisProcess(int number, int command) {
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  return ErrorOf([&] { return fcntl(number, command, &whole); });
}

/// Keeps signals away from the calling thread, and from what is started by it.
class WithoutSignals {
 public:
  WithoutSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
  }
  WithoutSignals(WithoutSignals const&) = delete;
  ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

 private:
  sigset_t before;
};

}  // namespace

LockAttempt LockFile::Take(std::u16string_view path) {
  std::string const native = NativePath(path);
  if (native.find('\0') != std::string::npos) return {nullptr, false};  // the system would read another path
  std::size_t const nameBegin = native.rfind('/') + 1;                  // 0 without a separator
  std::string const folderPath = nameBegin == 0 ? "." : native.substr(0, nameBegin);
  Descriptor folder(open(folderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen()) return {nullptr, MayBeRepeated(errno)};

  std::unique_ptr<LockFile> lock(new LockFile(std::move(folder), native.substr(nameBegin)));
  int error = lock->TakeNamed();
  if (error == ENOENT) error = lock->TakeNew();
  // Not all file systems have files without a name, and the way from one to a name leads through /proc.
  if (error == EOPNOTSUPP || error == ENOENT) error = lock->TakeNewUnderItsName();
  if (error != 0) return {nullptr, MayBeRepeated(error)};
  return {std::move(lock), false};
}

LockFile::LockFile(Descriptor openFolder, std::string fileName)
    : folder(std::move(openFolder)), name(std::move(fileName)), holder(getpid()) {}

LockFile::~LockFile() {
  if (getpid() != holder) return;
  DismissGuard();
  Unlock();
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
  if (!HasItsName()) return EWOULDBLOCK;
  error = ErrorOf([this] { return ftruncate(file.Number(), 0); });
  return error != 0 ? error : StartGuard();
}

/// Takes a new file, which gets its name when all is ready.
int LockFile::TakeNew() {
  int error = Open(".", O_TMPFILE);
  if (error == 0) error = LockOpenFile();
  if (error == 0) error = StartGuard();
  if (error != 0) return error;
  std::string const unnamed = "/proc/self/fd/" + std::to_string(file.Number());
  error = ErrorOf([&] { return linkat(AT_FDCWD, unnamed.c_str(), folder.Number(), name.c_str(), AT_SYMLINK_FOLLOW); });
  if (error != 0) DismissGuard();
  return error;
}

/// Takes a new file that others can see before all is ready.
int LockFile::TakeNewUnderItsName() {
  int error = Open(name.c_str(), O_CREAT | O_EXCL);
  if (error != 0) return error;
  error = LockOpenFile();
  // Somebody else got at it first, and may have let it vanish already.
  if (error == EWOULDBLOCK || !HasItsName()) return EWOULDBLOCK;
  if (error == 0) error = StartGuard();
  if (error != 0) Vanish();
  return error;
}

int LockFile::Open(char const* path, int flags) {
  int number = -1;
  int const error = ErrorOf(
      [&] { return number = openat(folder.Number(), path, flags | O_WRONLY | O_CLOEXEC, readableAndWritable); });
  file = Descriptor(number);
  return error;
}

int LockFile::LockOpenFile() const {
  return ErrorOf([&] { return flock(file.Number(), LOCK_EX | LOCK_NB); });
}

int LockFile::StartGuard() {
  hold = Descriptor(memfd_create("zam-lock-hold", MFD_CLOEXEC));
  if (!hold.IsOpen()) return errno;
  if (int const error = TakeForThisProcess(hold.Number(), F_SETLK); error != 0) return error;
  WithoutSignals const withoutSignals;
  guard = StartQuietly(&RunGuard, this);
  if (guard < 0) return errno;
  setpgid(guard, guard);  // what kills the holder's group must leave the guard alone
  return 0;
}

/// The life of the guard. It is a copy of a process that may have more threads: only plain system calls are safe here.
int LockFile::RunGuard(void* heldLock) {
  auto const& lock = *static_cast<LockFile const*>(heldLock);
  KeepOnly({lock.folder.Number(), lock.file.Number(), lock.hold.Number()});
  static_cast<void>(!chdir("/"));  // the holder's current folder may be on a disk that is to be taken out
  prctl(PR_SET_NAME, "zam-lock-guard");
  // Where it can't wait, it can't guard either, as if it had been killed.
  if (TakeForThisProcess(lock.hold.Number(), F_SETLKW) == 0) lock.Vanish();
  return 0;
}

/// Waits until the guard has done its work. With a guard the lock is ours, without one it is not.
void LockFile::DismissGuard() {
  if (guard <= 0) return;
  hold = Descriptor();
  ErrorOf([this] { return waitpid(guard, nullptr, __WALL); });
  guard = -1;
  Vanish();  // finds nothing left to do, unless somebody has killed the guard
}

bool LockFile::HasItsName() const {
  struct stat opened = {};
  struct stat named = {};
  return fstat(file.Number(), &opened) == 0 &&
         fstatat(folder.Number(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

/// Takes away the name, then the lock; so whoever gets the lock sees that the file has gone. A second time it does
/// nothing.
void LockFile::Vanish() const {
  if (HasItsName()) unlinkat(folder.Number(), name.c_str(), 0);
  Unlock();
}

/// Takes the lock from all who have the open file. Closing it would leave the lock to children that were forked
/// meanwhile.
void LockFile::Unlock() const {
  flock(file.Number(), LOCK_UN);
}

}  // namespace ZaM::platform

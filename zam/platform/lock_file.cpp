#include "zam/platform/lock_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

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
void KeepOnly(std::array<int, 4> kept) {
  std::sort(kept.begin(), kept.end());
  unsigned int next = 0;
  for (int const number : kept) {
    if (number < 0) continue;
    unsigned int const here = static_cast<unsigned int>(number);
    if (here > next) close_range(next, here - 1, 0);
    next = here + 1;
  }
  close_range(next, UINT_MAX, 0);
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

struct LockFile::GuardStart {
  LockFile const* lock;
  int line;     // the guard's end
  int process;  // the holder, -1 where the system can't show it
};

LockAttempt LockFile::Take(std::u16string_view path) {
  std::string const native = NativePath(path);
  if (native.find('\0') != std::string::npos) return {nullptr, false};  // the system would read another path
  std::size_t const nameBegin = native.rfind('/') + 1;                  // 0 without a separator
  std::string const folderPath = nameBegin == 0 ? "." : native.substr(0, nameBegin);
  Descriptor folder(open(folderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen()) return {nullptr, MayBeRepeated(errno)};

  std::unique_ptr<LockFile> lock(new LockFile(std::move(folder), native.substr(nameBegin)));
  int error = lock->TakeNamed(0);
  if (error == ENOENT) error = lock->TakeNew();
  // Not all file systems have files without a name, and the way from one to a name leads through /proc.
  if (error == EOPNOTSUPP || error == ENOENT) error = lock->TakeNamed(O_CREAT | O_EXCL);
  if (error != 0) return {nullptr, MayBeRepeated(error)};
  return {std::move(lock), false};
}

LockFile::LockFile(Descriptor openFolder, std::string fileName)
    : folder(std::move(openFolder)), name(std::move(fileName)), holder(getpid()) {}

LockFile::~LockFile() {
  if (getpid() == holder) DismissGuard();
}

/// Takes the file that stands under the name, or with O_CREAT | O_EXCL, one that it makes.
int LockFile::TakeNamed(int flags) {
  // Neither a link's target nor a pipe's other end is waited for or touched.
  constexpr int always = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  int number = -1;
  int error =
      ErrorOf([&] { return number = openat(folder.Number(), name.c_str(), flags | always, readableAndWritable); });
  if (error != 0) return error;
  file = Descriptor(number);

  struct stat status = {};
  if (fstat(number, &status) != 0) return errno;
  if (!S_ISREG(status.st_mode) || (status.st_mode & S_IWUSR) == 0) return EACCES;
  if ((error = LockOpenFile()) != 0) return error;
  // Between opening and locking, who held the lock may have let the file vanish: what is locked now is nobody's.
  if (!HasItsName()) return EWOULDBLOCK;
  if ((error = ErrorOf([&] { return ftruncate(number, 0); })) != 0) return error;
  error = StartGuard();
  if (error != 0 && flags != 0) Vanish();
  return error;
}

/// Takes a new file, which gets its name when all is ready.
int LockFile::TakeNew() {
  int number = -1;
  int error = ErrorOf(
      [&] { return number = openat(folder.Number(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, readableAndWritable); });
  if (error != 0) return error;
  file = Descriptor(number);

  if ((error = LockOpenFile()) != 0) return error;
  if ((error = StartGuard()) != 0) return error;
  std::string const unnamed = "/proc/self/fd/" + std::to_string(number);
  error = ErrorOf([&] { return linkat(AT_FDCWD, unnamed.c_str(), folder.Number(), name.c_str(), AT_SYMLINK_FOLLOW); });
  if (error != 0) DismissGuard();
  return error;
}

int LockFile::LockOpenFile() const {
  return ErrorOf([&] { return flock(file.Number(), LOCK_EX | LOCK_NB); });
}

int LockFile::StartGuard() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return errno;
  guardLine = Descriptor(ends[0]);
  Descriptor const otherEnd(ends[1]);
  // Forked children keep the line from hanging up, so the guard looks at the process as well. Systems that can't show a
  // process in this way give -1, which is passed over.
  Descriptor const process(static_cast<int>(syscall(SYS_pidfd_open, holder, 0)));

  GuardStart start = {this, otherEnd.Number(), process.Number()};
  WithoutSignals const withoutSignals;
  guard = StartQuietly(&RunGuard, &start);
  return guard > 0 ? 0 : errno;
}

/// The life of the guard. It is a copy of a process that may have more threads: only plain system calls are safe here.
int LockFile::RunGuard(void* start) {
  auto const& [lock, line, process] = *static_cast<GuardStart*>(start);
  KeepOnly({lock->folder.Number(), lock->file.Number(), line, process});
  setsid();  // signals for the holder's group or terminal aren't for the guard
  prctl(PR_SET_NAME, "zam-lock-guard");
  pollfd ends[] = {{line, POLLIN, 0}, {process, POLLIN, 0}};
  while (poll(ends, 2, -1) < 0) {
  }
  lock->Vanish();
  return 0;
}

/// Waits until the guard has done its work. With a guard the lock is ours, without one it is not.
void LockFile::DismissGuard() {
  if (guard <= 0) return;
  shutdown(guardLine.Number(), SHUT_RDWR);  // unlike closing, also where forked children have this end too
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

/// Takes away the name, then the lock; so whoever gets the lock sees that the file has gone. The lock is taken from all
/// who have the open file, forked children too. A second time it does nothing.
void LockFile::Vanish() const {
  if (HasItsName()) unlinkat(folder.Number(), name.c_str(), 0);
  flock(file.Number(), LOCK_UN);
}

}  // namespace ZaM::platform

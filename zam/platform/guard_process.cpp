#include "zam/platform/guard_process.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <memory>

namespace ZaM::platform {

namespace {

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

/// Starts processes that use the memory of the caller, which waits until they end or become a program: nothing is
/// copied. They make system calls only, send no signal at their end, and share nothing that they change.
class GuardProgram {
 public:
  GuardProgram(LockedFile const& lockedFile, char const* path) : lock(lockedFile), program(path) {}

  bool Start() {
    int const starter = clone(&RunStarter, starterStack.end(), CLONE_VM | CLONE_VFORK | CLONE_FILES, this);
    if (starter < 0) return false;
    waitpid(starter, nullptr, __WALL);
    return started;
  }

 private:
  static int RunStarter(void* self) {
    auto& guard = *static_cast<GuardProgram*>(self);
    guard.started = clone(&Become, guard.guardStack.end(), CLONE_VM | CLONE_VFORK, self) > 0 && !guard.failed;
    return 0;
  }

  static int Become(void* self) {
    auto& guard = *static_cast<GuardProgram*>(self);
    setsid();  // what kills the holder's group must leave the guard alone
    std::array<int, 3> numbers = {guard.lock.folder, guard.lock.file, guard.lock.hold};
    for (int& number : numbers) number = fcntl(number, F_DUPFD, 3);
    for (int n = 0; n < 3; ++n) {
      if (dup2(numbers[static_cast<std::size_t>(n)], n) < 0) guard.failed = true;
    }
    close_range(3, ~0U, 0);
    char const* const arguments[] = {guardName, guard.lock.name, nullptr};
    char* const environment[] = {nullptr};
    if (!guard.failed) execve(guard.program, const_cast<char* const*>(arguments), environment);
    guard.failed = true;
    return 0;
  }

  using Stack = std::array<std::byte, 32768>;

  LockedFile const lock;
  char const* const program;
  bool failed = false;
  bool started = false;
  alignas(16) Stack starterStack;
  alignas(16) Stack guardStack;
};

/// Whether children of children that have ended become this process's.
bool InheritsOrphans() {
  int isSubreaper = 0;
  prctl(PR_GET_CHILD_SUBREAPER, &isSubreaper);
  return getpid() == 1 || isSubreaper != 0;
}

/// Whether a process that is started now becomes the first one of a namespace, whose end ends that for ever.
bool StartsANamespace() {
  char byte;
  auto const tells = [&byte](char const* link) { return readlink(link, &byte, 1) == 1; };
  return !tells("/proc/thread-self/ns/pid_for_children") && tells("/proc/thread-self/ns/pid");
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

/// A forked copy of a process that may have more threads: only plain system calls are safe in it. Its number, or -1.
int ForkGuard(LockedFile const& lock) {
  // As `fork`, but no handlers run, no signal comes at its end, and only who asks for such children waits for it.
  int const child = static_cast<int>(syscall(SYS_clone, 0, nullptr, nullptr, nullptr, nullptr));
  if (child == 0) {
    KeepOnly({lock.folder, lock.file, lock.hold});
    prctl(PR_SET_NAME, guardName);
    Guard(lock);
    _exit(0);
  }
  if (child > 0) setpgid(child, child);  // what kills the holder's group must leave the guard alone
  return child;
}

}  // namespace

bool GuardProcess::Start(LockedFile const& lock, std::string const& program) {
  // The file may then be left by a holder that is killed, which is less than what the guard's end would do.
  if (StartsANamespace()) return true;
  auto const guard = std::make_unique<GuardProgram>(lock, program.c_str());
  WithoutSignals const withoutSignals;
  if (!InheritsOrphans() && program.starts_with('/') && guard->Start()) return true;
  child = ForkGuard(lock);
  return child > 0;
}

void GuardProcess::End() {
  siginfo_t unused;
  bool const isOurs =
      child > 0 && waitid(P_PID, static_cast<id_t>(child), &unused, WEXITED | WNOHANG | WNOWAIT | __WALL) == 0;
  if (isOurs) {
    kill(child, SIGKILL);  // it may have been stopped, and has nothing left to do
    waitpid(child, nullptr, __WALL);
  }
  child = -1;
}

}  // namespace ZaM::platform

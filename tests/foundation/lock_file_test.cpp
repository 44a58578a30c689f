#include "zam/foundation/lock_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <list>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/files_in.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/thread.h"

namespace {

/// Between attempts it isn't slept as long as there is a log of how long it would have been.
struct SleepLog {
  std::vector<long> milliseconds;
  std::function<void()> instead = [] {};
}* sleepLog = nullptr;

}  // namespace

/// Takes the place of the C library's.
extern "C" [[gnu::visibility("default")]] int nanosleep(timespec const* time, timespec* rest) {
  if (sleepLog == nullptr) return clock_nanosleep(CLOCK_REALTIME, 0, time, rest) == 0 ? 0 : -1;
  sleepLog->milliseconds.push_back(time->tv_sec * 1000 + time->tv_nsec / 1'000'000);
  sleepLog->instead();
  return 0;
}

namespace ZaM {
namespace {

namespace fs = std::filesystem;

constexpr int patience = 60'000;  // retries of a millisecond each, for what must succeed sooner or later
void* const invalid = reinterpret_cast<void*>(-1);
constexpr int notPermitted = 2;  // a process's exit code

/// Waits for a byte: 1, or 0 where nobody has the other end any more.
int BytesFrom(int pipeEnd) {
  char byte;
  return static_cast<int>(read(pipeEnd, &byte, 1));
}

/// A process that runs `work`, whose result is its exit code. If it hasn't ended by itself it is killed, and with it
/// its group, as a shell does it.
class Process {
 public:
  explicit Process(std::function<int(Process&)> const& work) {
    if (pipe(line) != 0 || (id = fork()) < 0) throw std::runtime_error("no process");
    setpgid(id, id);
    if (id == 0) _exit(work(*this));
    close(line[1]);
  }
  Process(Process const&) = delete;
  ~Process() {
    Kill();
    ExitCode();
    close(line[0]);
  }

  /// The process tells that it has come to a point; false if it has ended without.
  void Say() { static_cast<void>(!write(line[1], "!", 1)); }
  bool Listen() { return BytesFrom(line[0]) == 1; }

  void Kill() {
    if (id > 0) kill(-id, SIGKILL);
  }

  int ExitCode() {
    int status = 0;
    if (id <= 0 || waitpid(std::exchange(id, 0), &status, 0) < 0) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  int line[2];
  pid_t id = 0;  // 0 once it has been waited for
};

/// From here on the call gives the error; false if that can't be done.
bool Deny(unsigned int call, int error) {
  sock_filter rules[] = {
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, call},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | static_cast<unsigned int>(error)},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
  };
  sock_fprog const program = {std::size(rules), rules};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

class LockFileTest : public testing::Test {
 protected:
  void* Take(int retries = 0) const { return ZamLockfileCreate(path, 1, retries); }
  bool Exists() const { return fs::exists(fs::symlink_status(file)); }

  /// Whether the file goes away with nobody's help, and the lock with it.
  bool Vanishes() const {
    for (int i = 0; i < patience && Exists(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return !Exists() && CanBeTaken();
  }
  /// The process that guards the lock, on whose folder it holds its hand; 0 without one.
  pid_t Guard() const {
    std::error_code ignored;
    for (fs::path const& process : fs::directory_iterator("/proc")) {
      std::string name;
      if (!(std::ifstream(process / "comm") >> name) || name != "zam-lock-guard") continue;
      for (fs::path const& open : fs::directory_iterator(process / "fd", ignored)) {
        if (fs::read_symlink(open, ignored) == folder.Path()) return std::stoi(process.filename().string());
      }
    }
    return 0;
  }
  bool CanBeTaken() const {
    void* const lock = Take(patience);
    bool const held = lock != invalid && fs::is_regular_file(file) && fs::is_empty(file) && Take(1) == invalid;
    ZamLockfileRelease(lock);
    return held && !Exists();
  }

  test::TemporaryFolder folder;
  fs::path const file = folder.Path() / "lock";
  wstring const path = folder.Wide("lock");
};

using LockFileThreads = LockFileTest;

TEST_F(LockFileTest, IsAFileForAsLongAsOneHoldsIt) {
  EXPECT_TRUE(CanBeTaken());
  folder.Write("lock", "left by somebody");
  EXPECT_TRUE(CanBeTaken());

  fs::path const before = fs::current_path();
  fs::current_path(folder.Path());
  void* const lock = ZamLockfileCreate(u"lock", 0, 0);
  fs::current_path(before);
  EXPECT_TRUE(Exists()) << "in the folder that was the current one";
  EXPECT_EQ(Process([this](Process&) { return Take() == invalid; }).ExitCode(), 1);
  ZamLockfileRelease(lock);
  EXPECT_FALSE(Exists());

  ZamLockfileRelease(invalid);
  ZamLockfileRelease(nullptr);
}

TEST_F(LockFileTest, IsTriedForAsOftenAsAllowedWithTheSleepBetween) {
  folder.Write("protected", "");
  fs::permissions(folder.Path() / "protected", fs::perms::owner_write, fs::perm_options::remove);
  constexpr int never = 0;
  struct {
    std::string name;
    int retries, waitTime, freedIn;  // the number of the sleep in which the lock is let go
    std::vector<long> sleeps;        // milliseconds
    bool taken;
  } const cases[] = {{"free", 3, 100, never, {}, true},
                     {"lock", 0, 100, never, {}, false},
                     {"lock", -1, 100, never, {}, false},
                     {"lock", INT_MIN, 100, never, {}, false},
                     {"lock", 1, 1, never, {1}, false},
                     {"lock", 3, 100, never, {100, 100, 100}, false},
                     {"lock", 3, 100, 3, {100, 100, 100}, true},
                     {"lock", INT_MAX, 2500, 2, {2500, 2500}, true},
                     {"lock", 1000, -1, never, {}, false},
                     {"protected", 2, 100, never, {100, 100}, false},  // access is denied
                     {".", 2, 100, never, {100, 100}, false},
                     {"missing/lock", 3, 100, never, {}, false},
                     {std::string(256, 'n'), 3, 100, never, {}, false},
                     {std::string(255, 'n'), 3, 100, never, {}, true}};
  for (auto const& test : cases) {
    void* held = Take();
    SleepLog log;
    log.instead = [&] {
      if (std::ssize(log.milliseconds) == test.freedIn) ZamLockfileRelease(std::exchange(held, invalid));
    };
    sleepLog = &log;
    void* const lock = ZamLockfileCreate(folder.Wide(test.name), test.waitTime, test.retries);
    sleepLog = nullptr;
    EXPECT_EQ(lock != invalid, test.taken) << test.name << test.retries;
    EXPECT_EQ(log.milliseconds, test.sleeps) << test.name << test.retries;
    ZamLockfileRelease(lock);
    ZamLockfileRelease(held);
  }
}

TEST_F(LockFileTest, IsntTakenNorAThreadStartedWhereTheSystemGivesNoMoreOfThem) {
  auto const start = [](void*) -> std::uint32_t { return 0; };
  int const code = Process([&](Process&) {
                     if (!Deny(SYS_clone, EAGAIN) || !Deny(SYS_clone3, EAGAIN)) return notPermitted;
                     SleepLog log;
                     sleepLog = &log;
                     bool const isTaken = Take(3) != invalid;
                     bool const isStarted = ZamCreateThread(0, start, nullptr) != nullptr;
                     return isTaken || isStarted || !log.milliseconds.empty() ? 1 : 0;
                   }).ExitCode();
  if (code == notPermitted) GTEST_SKIP() << "this user can't deny a call to itself";
  EXPECT_EQ(code, 0) << "nobody holds it, so no more attempts are made";
  EXPECT_TRUE(!Exists() && CanBeTaken());
}

TEST_F(LockFileTest, IsntTakenWhereSomethingElseStands) {
  folder.Write("victim", "mine");
  folder.Write("folder/file", "mine");
  fs::permissions(folder.Write("protected", "mine"), fs::perms::owner_write, fs::perm_options::remove);
  fs::create_symlink("victim", folder.Path() / "link");
  ASSERT_EQ(mkfifo((folder.Path() / "pipe").c_str(), 0600), 0);
  pollfd reader = {open((folder.Path() / "pipe").c_str(), O_RDONLY | O_NONBLOCK), POLLIN, 0};
  auto const entries = [this] {
    std::set<std::string> all;
    for (fs::path const& each : fs::recursive_directory_iterator(folder.Path())) {
      all.insert(each.string() + (fs::is_regular_file(each) ? folder.Bytes(each) : ""));
    }
    return all;
  };
  std::set<std::string> const before = entries();
  for (std::string const name : {"folder", "protected", "link", "pipe", "", ".", "folder/", "no/lock", "victim/lock"}) {
    EXPECT_EQ(ZamLockfileCreate(folder.Wide(name), 0, 1), invalid) << name;
  }
  EXPECT_EQ(ZamLockfileCreate(path + wstring(u"\0b", 2), 0, 1), invalid);
  EXPECT_EQ(entries(), before);
  EXPECT_EQ(poll(&reader, 1, 0), 0) << "the pipe had a writer for a while";
  close(reader.fd);
}

TEST_F(LockFileTest, LosesNoIncrementOfFiftyProcesses) {
  fs::path const counter = folder.Write("counter", "0");
  std::list<Process> processes;
  for (int i = 0; i < 50; ++i) {
    processes.emplace_back([&](Process&) {
      for (int round = 0; round < 40; ++round) {
        void* const lock = ZamLockfileCreate(path, 5, patience);
        int value = lock == invalid ? -100'000 : 0;
        std::ifstream(counter) >> value;
        std::ofstream(counter) << value + 1;
        ZamLockfileRelease(lock);
      }
      return 0;
    });
  }
  for (Process& process : processes) EXPECT_EQ(process.ExitCode(), 0);
  EXPECT_EQ(folder.Bytes("counter"), "2000");
}

TEST_F(LockFileTest, GoesWithAHolderThatIsKilledAtAnyMoment) {
  std::mt19937 random(1);
  for (int i = 0; i < 500; ++i) {
    wstring const own = folder.Wide("lock" + std::to_string(i));
    Process holder([&own](Process& self) -> int {
      self.Say();
      for (;;) ZamLockfileRelease(ZamLockfileCreate(own, 0, 0));
    });
    ASSERT_TRUE(holder.Listen());
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
  }
  for (int i = 0; i < patience && !fs::is_empty(folder.Path()); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_TRUE(fs::is_empty(folder.Path()));
}

TEST_F(LockFileTest, IsntInheritedByChildrenAndOtherPrograms) {
  int toHolder[2];
  int toChild[2];
  ASSERT_TRUE(pipe(toHolder) == 0 && pipe(toChild) == 0);
  for (bool const becomesAnotherProgram : {false, true}) {
    {
      Process holder([&](Process& self) {
        void* const lock = Take();
        close(toChild[1]);
        if (lock != invalid && fork() == 0) {
          setpgid(0, 0);
          ZamLockfileRelease(lock);
          self.Say();
          _exit(BytesFrom(toChild[0]));
        }
        BytesFrom(toHolder[0]);
        return execlp("sleep", "sleep", "1000", nullptr);
      });
      ASSERT_TRUE(holder.Listen());
      EXPECT_EQ(Take(), invalid) << "the child's release is none";
      if (becomesAnotherProgram) {
        ASSERT_EQ(write(toHolder[1], "!", 1), 1);
        EXPECT_TRUE(Vanishes());
      }
    }
    EXPECT_TRUE(Vanishes()) << "although the child lives";
  }
  for (int const end : {toHolder[0], toHolder[1], toChild[0], toChild[1]}) close(end);
}

/// Each process of this test holds and loses the lock in another situation.
TEST_F(LockFileTest, IsGuardedWhateverTheSystemAndTheHolderCanDo) {
  struct {
    char const* name;
    std::function<bool()> prepare;  // false where that isn't permitted
  } const situations[] = {
      {"all is there", [] { return true; }},
      {"no program to guard", [] { return Deny(SYS_execve, ENOENT); }},
      {"a holder that inherits orphans", [] { return prctl(PR_SET_CHILD_SUBREAPER, 1) == 0; }},
      {"no way to close many files", [] { return Deny(SYS_close_range, ENOSYS); }},
      {"the same without the program", [] { return Deny(SYS_close_range, ENOSYS) && Deny(SYS_execve, ENOENT); }},
      {"no files without a name, as without /proc", [] { return Deny(SYS_linkat, ENOENT); }},
      {"the same without the program", [] { return Deny(SYS_linkat, ENOENT) && Deny(SYS_execve, ENOENT); }},
  };
  for (auto const& [name, prepare] : situations) {
    Process holder([&, start = prepare](Process& self) {
      alarm(60);
      umask(0777);
      static int signals = 0;
      struct sigaction ofEnds = {};
      ofEnds.sa_handler = [](int) { ++signals; };
      ofEnds.sa_flags = SA_NOCLDSTOP;
      sigaction(SIGCHLD, &ofEnds, nullptr);
      int line[2];
      if (!start() || pipe(line) != 0) return notPermitted;
      int const second = fcntl(line[1], F_DUPFD, 500);
      auto const openFiles = test::FilesIn("/proc/self/fd");
      int failures = 0;
      // What is done to the guard changes nothing, nor does waiting for children see it.
      for (int const sent : {0, SIGTERM, SIGSTOP, SIGKILL}) {
        void* const lock = Take();
        pid_t guard = 0;
        while ((guard = Guard()) == 0) std::this_thread::yield();  // a forked one names itself late
        failures += kill(guard, sent) != 0;
        failures += waitpid(-1, nullptr, 0) != -1 || Take() != invalid;
        ZamLockfileRelease(lock);
        failures += Exists() || !CanBeTaken();
        if (sent == SIGSTOP) kill(guard, SIGCONT);
        while (Guard() != 0) std::this_thread::yield();
      }
      failures += waitpid(-1, nullptr, __WALL) != -1 || test::FilesIn("/proc/self/fd") != openFiles;
      failures += Take() == invalid;
      close(line[1]);
      close(second);
      failures += BytesFrom(line[0]) != 0;  // the guard isn't in the line
      if (failures + signals != 0) return 1;
      self.Say();
      return pause();
    });
    bool const isHeld = holder.Listen();
    if (!isHeld && holder.ExitCode() == notPermitted) continue;
    EXPECT_TRUE(isHeld && Take() == invalid) << name;
    holder.Kill();
    EXPECT_TRUE(Vanishes()) << name;
  }
}

TEST_F(LockFileTest, IsGuardedByAProgramThatIsNoChild) {
  void* const lock = Take();
  fs::path const guard = "/proc/" + std::to_string(Guard());
  EXPECT_NE(fs::read_symlink(guard / "exe"), fs::read_symlink("/proc/self/exe")) << "has none of the holder's memory";
  EXPECT_EQ(waitpid(-1, nullptr, __WALL), -1);
  ZamLockfileRelease(lock);
}

TEST_F(LockFileTest, IsLetGoByAHolderThatClosesAllItsFiles) {
  int const code = Process([this](Process&) {
                     auto const isOpen = [](int number) { return fcntl(number, F_GETFD) != -1; };
                     void* const lost = Take();
                     closefrom(3);
                     int failures = !Vanishes();
                     void* const lock = Take();
                     while (open("/dev/null", O_RDONLY) < 20) continue;
                     ZamLockfileRelease(lost);
                     for (int number = 3; number <= 20; ++number) failures += !isOpen(number);
                     failures += lock == invalid || Take() != invalid;
                     ZamLockfileRelease(lock);
                     return failures + Exists();
                   }).ExitCode();
  EXPECT_EQ(code, 0) << "numbers that are others' by now were closed";
}

TEST_F(LockFileTest, StartsNoProcessWhoseEndEndsANamespace) {
  int const code = Process([this](Process&) {
                     if (unshare(CLONE_NEWPID) != 0) return notPermitted;
                     void* const lock = Take();
                     bool const isHeld = lock != invalid && Exists() && Take() == invalid;
                     ZamLockfileRelease(lock);
                     Process first([](Process&) { return getpid(); });
                     return isHeld && !Exists() && first.ExitCode() == 1 ? 0 : 1;
                   }).ExitCode();
  if (code == notPermitted) GTEST_SKIP() << "this user can't make a namespace";
  EXPECT_EQ(code, 0);
}

TEST_F(LockFileTest, NeedsLittleOfTheCallersStack) {
  wstring name = path;
  auto const used = [&name](void* (*function)(void*)) {
    std::vector<char> stack(1 << 19, 'x');
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack.data(), stack.size());
    if (pthread_create(&thread, &attributes, function, &name) == 0) pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return stack.end() - std::find_if(stack.begin(), stack.end(), [](char byte) { return byte != 'x'; });
  };
  auto const nothing = [](void*) -> void* { return nullptr; };
  auto const takeAndRelease = [](void* lockName) -> void* {
    ZamLockfileRelease(ZamLockfileCreate(*static_cast<wstring*>(lockName), 0, 0));
    return nullptr;
  };
  EXPECT_LT(used(takeAndRelease) - used(nothing), 12'000);
}

TEST_F(LockFileThreads, ExcludeEachOther) {
  std::atomic<int> inside = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        void* const lock = Take(patience);
        EXPECT_TRUE(lock != invalid && ++inside == 1);
        --inside;
        ZamLockfileRelease(lock);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace ZaM

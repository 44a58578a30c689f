#include "zam/foundation/lock_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
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

#include "tests/support/temporary_folder.h"
#include "zam/foundation/thread.h"

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
    if (id > 0) kill(-id, SIGKILL);
    ExitCode();
    close(line[0]);
  }

  /// The process tells that it has come to a point; false if it has ended without.
  void Say() { static_cast<void>(!write(line[1], "!", 1)); }
  bool Listen() { return BytesFrom(line[0]) == 1; }

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

TEST_F(LockFileTest, IsntTakenNorAThreadStartedWhereTheSystemGivesNoMoreOfThem) {
  auto const start = [](void*) -> std::uint32_t { return 0; };
  int const code = Process([&](Process&) {
                     if (!Deny(SYS_clone, EAGAIN) || !Deny(SYS_clone3, EAGAIN)) return notPermitted;
                     return Take(3) == invalid && ZamCreateThread(0, start, nullptr) == nullptr ? 0 : 1;
                   }).ExitCode();
  if (code == notPermitted) GTEST_SKIP() << "this user can't deny a call to itself";
  EXPECT_EQ(code, 0);
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

TEST_F(LockFileTest, LosesNoIncrementOfEightProcesses) {
  fs::path const counter = folder.Write("counter", "0");
  std::list<Process> processes;
  for (int i = 0; i < 8; ++i) {
    processes.emplace_back([&](Process&) {
      for (int round = 0; round < 1000; ++round) {
        void* const lock = Take(patience);
        int value = lock == invalid ? -100'000 : 0;
        std::ifstream(counter) >> value;
        std::ofstream(counter) << value + 1;
        ZamLockfileRelease(lock);
      }
      return 0;
    });
  }
  for (Process& process : processes) EXPECT_EQ(process.ExitCode(), 0);
  EXPECT_EQ(folder.Bytes("counter"), "8000");
}

TEST_F(LockFileTest, GoesWithAHolderThatIsKilledAtAnyMoment) {
  std::mt19937 random(1);
  for (int i = 0; i < 100; ++i) {
    {
      Process holder([this](Process& self) -> int {
        self.Say();
        for (;;) ZamLockfileRelease(Take());
      });
      ASSERT_TRUE(holder.Listen());
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    }
    ASSERT_TRUE(i % 2 == 0 ? CanBeTaken() : Vanishes()) << i;
  }
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

TEST_F(LockFileTest, KeepsItsGuardOutOfTheHoldersSight) {
  auto const openFiles = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  auto const before = openFiles();
  static std::atomic<int> signals = 0;
  auto* const handler = signal(SIGCHLD, [](int) { ++signals; });
  void* const lock = Take();
  EXPECT_EQ(waitpid(-1, nullptr, 0), -1) << "it would wait for ever";

  // Somebody kills the guard.
  if (pid_t guard = 0; std::ifstream("/proc/thread-self/children") >> guard) {
    kill(guard, SIGKILL);
    waitid(P_PID, static_cast<id_t>(guard), nullptr, WEXITED | WNOWAIT | __WALL);
  }
  EXPECT_EQ(Take(), invalid);
  ZamLockfileRelease(lock);
  EXPECT_FALSE(Exists());
  EXPECT_EQ(waitpid(-1, nullptr, __WALL), -1) << "nothing is left to be waited for";
  EXPECT_EQ(openFiles(), before);
  EXPECT_EQ(signals, 0);
  signal(SIGCHLD, handler);
}

TEST_F(LockFileTest, WorksOnSystemsThatCanDoLess) {
  struct {
    char const* missing;
    unsigned int call;
    int error;
  } const cases[] = {{"no way to close many files", SYS_close_range, ENOSYS},
                     {"no files without a name, as without /proc", SYS_linkat, ENOENT}};
  for (auto const& [missing, call, error] : cases) {
    int const code = Process([this, denied = call, number = error](Process&) {
                       alarm(60);
                       umask(0777);
                       int line[2];
                       if (!Deny(denied, number) || pipe(line) != 0) return notPermitted;
                       int const second = fcntl(line[1], F_DUPFD, 500);
                       void* const lock = Take();
                       close(line[1]);
                       close(second);
                       bool const guardIsntInTheLine = BytesFrom(line[0]) == 0;
                       ZamLockfileRelease(lock);
                       return guardIsntInTheLine && CanBeTaken() ? 0 : 1;
                     }).ExitCode();
    if (code == notPermitted) GTEST_SKIP() << "this user can't deny a call to itself";
    EXPECT_EQ(code, 0) << missing;
  }
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

#include "zam/foundation/lock_file.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
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

/// A process that runs `work`, whose result is its exit code, and is killed if it hasn't ended by itself.
class Process {
 public:
  explicit Process(std::function<int(Process&)> const& work) {
    if (pipe(line) != 0 || (id = fork()) < 0) throw std::runtime_error("no process");
    if (id == 0) _exit(work(*this));
    close(line[1]);
  }
  Process(Process const&) = delete;
  ~Process() {
    if (id > 0) kill(id, SIGKILL);
    ExitCode();
    close(line[0]);
  }

  /// The process tells that it has come to a point; false if it has ended without.
  void Say() { static_cast<void>(!write(line[1], "!", 1)); }
  bool Listen() { return read(line[0], line, 1) == 1; }

  int ExitCode() {
    int status = 0;
    if (id <= 0 || waitpid(std::exchange(id, 0), &status, 0) < 0) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  int line[2];
  pid_t id = 0;  // 0 once it has been waited for
};

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
  fs::permissions(folder.Path(), fs::perms::all);
  auto const start = [](void*) -> std::uint32_t { return 0; };
  Process limited([&](Process&) {
    // The limit isn't for the administrator.
    if (getuid() == 0 && (setuid(65534) != 0 || prctl(PR_SET_DUMPABLE, 1) != 0)) return 2;
    rlimit before = {};
    if (getrlimit(RLIMIT_NPROC, &before) != 0) return 2;
    rlimit const none = {0, before.rlim_max};
    if (setrlimit(RLIMIT_NPROC, &none) != 0) return 2;
    bool const refused = Take(3) == invalid && !Exists() && ZamCreateThread(0, start, nullptr) == nullptr;
    setrlimit(RLIMIT_NPROC, &before);
    return refused && CanBeTaken() ? 0 : 1;
  });
  int const exitCode = limited.ExitCode();
  if (exitCode == 2) GTEST_SKIP() << "no limit can be set";
  EXPECT_EQ(exitCode, 0);
}

TEST_F(LockFileTest, IsntTakenWhereSomethingElseStands) {
  folder.Write("victim", "mine");
  folder.Write("folder/file", "mine");
  fs::permissions(folder.Write("protected", "mine"), fs::perms::owner_write, fs::perm_options::remove);
  fs::create_symlink("victim", folder.Path() / "link");
  ASSERT_EQ(mkfifo((folder.Path() / "pipe").c_str(), 0600), 0);
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
  int untilTheEnd[2];
  ASSERT_EQ(pipe(untilTheEnd), 0);
  {
    Process holder([&](Process& self) {
      void* const lock = Take();
      close(untilTheEnd[1]);
      if (lock != invalid && fork() == 0) {
        ZamLockfileRelease(lock);
        self.Say();
        _exit(static_cast<int>(read(untilTheEnd[0], untilTheEnd, 1)));
      }
      return pause();
    });
    ASSERT_TRUE(holder.Listen());
    EXPECT_EQ(Take(), invalid) << "the child's release is none";
  }
  EXPECT_TRUE(Vanishes()) << "although the child lives";
  for (int const end : untilTheEnd) close(end);

  Process holder([this](Process& self) {
    if (Take() != invalid) self.Say();
    return execlp("sleep", "sleep", "1000", nullptr);
  });
  ASSERT_TRUE(holder.Listen());
  EXPECT_TRUE(Vanishes());
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

TEST_F(LockFileTest, NeedsNoFilesWithoutNames) {
  constexpr int notPermitted = 2;
  int const code = Process([this](Process&) {
                     if (unshare(CLONE_NEWNS) != 0 || mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                         umount2("/proc", MNT_DETACH) != 0) {
                       return notPermitted;
                     }
                     return CanBeTaken() ? 0 : 1;
                   }).ExitCode();
  if (code == notPermitted) GTEST_SKIP() << "this user can't take /proc away";
  EXPECT_EQ(code, 0);
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

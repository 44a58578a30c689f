#include "zam/foundation/lock_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <fstream>
#include <list>
#include <random>
#include <thread>

#include "tests/support/files_in.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/thread.h"

namespace ZaM {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr int patience = 60'000;  // retries of a millisecond each, for what must succeed sooner or later
void* const invalid = reinterpret_cast<void*>(-1);
constexpr int notPermitted = 77;  // a process's exit code

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
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, line) != 0 || (id = fork()) < 0) std::abort();
    setpgid(id, id);
    if (id == 0) std::swap(line[0], line[1]);
    close(line[1]);
    if (id == 0) [&]() noexcept { _exit(work(*this)); }();
  }
  Process(Process const&) = delete;
  ~Process() {
    Kill();
    ExitCode();
    close(line[0]);
  }

  /// From one to the other; false if that has ended without a word.
  void Say() { send(line[0], "!", 1, MSG_NOSIGNAL); }
  bool Hear() { return BytesFrom(line[0]) == 1; }

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
 public:
  void* Take(int retries = 0) const { return ZamLockfileCreate(path, 1, retries); }
  bool Exists() const { return fs::exists(fs::symlink_status(file)); }

  /// Whether the folder's files go away with nobody's help, and the lock with its own.
  bool Vanishes() const {
    for (int i = 0; i < patience && !fs::is_empty(folder.Path()); ++i) std::this_thread::sleep_for(milliseconds(1));
    return fs::is_empty(folder.Path()) && CanBeTaken();
  }

  /// The process that guards the lock that is held; 0 before it has its name.
  pid_t Guard() const {
    std::error_code ignored;
    for (fs::path const& process : fs::directory_iterator("/proc")) {
      std::string name;
      if (!(std::ifstream(process / "comm") >> name) || name != "zam-lock-guard") continue;
      for (fs::path const& open : fs::directory_iterator(process / "fd", ignored)) {
        if (fs::equivalent(open, file, ignored)) return std::stoi(process.filename().string());
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

TEST_F(LockFileTest, IsAFileForAsLongAsOneHoldsIt) {
  folder.Write("lock", "left by somebody");
  EXPECT_TRUE(CanBeTaken());
  fs::path const before = fs::current_path();
  fs::current_path(folder.Path());
  void* const lock = ZamLockfileCreate(u"lock", 0, 0);
  fs::current_path(before);
  EXPECT_EQ(Process([this](Process&) { return Take() == invalid; }).ExitCode(), 1) << "in another folder";
  ZamLockfileRelease(lock);
  for (void* const none : {invalid, static_cast<void*>(nullptr)}) ZamLockfileRelease(none);
  EXPECT_TRUE(CanBeTaken());
}

TEST_F(LockFileTest, IsTriedForAsLongAsAllowedWhereItMayBecomeFree) {
  folder.Write("protected", "");
  fs::permissions(folder.Path() / "protected", fs::perms::owner_write, fs::perm_options::remove);
  constexpr int hopeless = 20'000;  // milliseconds that no correct case sleeps for
  struct {
    std::string name;
    int retries, waitTime, sleeps;  // milliseconds, the last one all together
    bool taken;
  } const cases[] = {{"free", 3, hopeless, 0, true},
                     {"lock", 0, hopeless, 0, false},
                     {"lock", INT_MIN, hopeless, 0, false},
                     {"lock", 100, -1, 0, false},
                     {"lock", 3, 20, 60, false},
                     {"protected", 2, 20, 40, false},  // access is denied
                     {".", 2, 20, 40, false},
                     {"missing/lock", 3, hopeless, 0, false},
                     {std::string(256, 'n'), 3, hopeless, 0, false},
                     {std::string(255, 'n'), 3, hopeless, 0, true}};
  void* const held = Take();
  for (auto const& [name, retries, waitTime, sleeps, taken] : cases) {
    auto const start = std::chrono::steady_clock::now();
    void* const lock = ZamLockfileCreate(folder.Wide(name), waitTime, retries);
    auto const time = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(lock != invalid, taken) << name << retries;
    EXPECT_TRUE(time >= milliseconds(sleeps) && time < milliseconds(hopeless)) << name << retries;
    ZamLockfileRelease(lock);
  }
  std::jthread const holder([held] { std::this_thread::sleep_for(milliseconds(20)), ZamLockfileRelease(held); });
  EXPECT_TRUE(CanBeTaken());
}

TEST_F(LockFileTest, IsntTakenWhereSomethingElseStands) {
  folder.Write("victim", "mine");
  folder.Write("folder/file", "mine");
  fs::permissions(folder.Write("protected", "mine"), fs::perms::owner_write, fs::perm_options::remove);
  fs::create_symlink("victim", folder.Path() / "link");
  ASSERT_EQ(mkfifo((folder.Path() / "pipe").c_str(), 0600), 0);
  pollfd reader = {open((folder.Path() / "pipe").c_str(), O_RDONLY | O_NONBLOCK), POLLIN, 0};
  std::string const before = folder.Shown();
  for (std::string const name : {"folder", "protected", "link", "pipe", "", ".", "folder/", "no/lock", "victim/lock"}) {
    EXPECT_EQ(ZamLockfileCreate(folder.Wide(name), 0, 1), invalid) << name;
  }
  EXPECT_EQ(ZamLockfileCreate(path + wstring(u"\0b", 2), 0, 1), invalid);
  EXPECT_EQ(folder.Shown(), before);
  EXPECT_EQ(poll(&reader, 1, 0), 0) << "the pipe had a writer for a while";
  close(reader.fd);
}

TEST_F(LockFileTest, LosesNoIncrementOfFiftyProcesses) {
  fs::path const counter = folder.Write("counter", "0");
  auto const count = [&](Process&) {
    for (int round = 0; round < 40; ++round) {
      void* const lock = ZamLockfileCreate(path, 5, patience);
      int value = lock == invalid ? -100'000 : 0;
      std::ifstream(counter) >> value;
      std::ofstream(counter) << value + 1;
      ZamLockfileRelease(lock);
    }
    return 0;
  };
  std::list<Process> processes;
  for (int i = 0; i < 50; ++i) processes.emplace_back(count);
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
    ASSERT_TRUE(holder.Hear());
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
  }
  EXPECT_TRUE(Vanishes());
}

/// In each situation a process takes the lock, somebody does something to the guard, and the holder ends.
TEST_F(LockFileTest, IsGuardedWhateverTheSystemAndTheHolderCanDo) {
  enum End { killed, becomesAnotherProgram };
  struct {
    char const* name;
    End end;
    bool byProgram;                 // which is no child, and has nothing of the holder's memory
    std::function<bool()> prepare;  // false where that isn't permitted
  } const situations[] = {
      {"another program", becomesAnotherProgram, true, [] { return true; }},
      {"no guard is installed", killed, false, [] { return Deny(SYS_execve, ENOENT); }},
      {"orphans become the holder's", becomesAnotherProgram, false,
       [] { return prctl(PR_SET_CHILD_SUBREAPER, 1) == 0; }},
      {"no close_range", killed, true, [] { return Deny(SYS_close_range, ENOSYS); }},
      {"no file without a name, as without /proc", killed, true, [] { return Deny(SYS_linkat, ENOENT); }},
  };
  int ofChildren[2];
  ASSERT_EQ(pipe(ofChildren), 0);
  for (auto const& [name, end, byProgram, prepare] : situations) {
    Process holder([&, hasProgram = byProgram, start = prepare](Process& self) {
      alarm(60);
      umask(0777);
      struct sigaction onEnd = {};
      onEnd.sa_handler = [](int) { _exit(1); };
      onEnd.sa_flags = SA_NOCLDSTOP;
      sigaction(SIGCHLD, &onEnd, nullptr);
      if (!start()) return notPermitted;
      auto const openFiles = test::FilesIn("/proc/self/fd");
      int failures = 0;
      for (int const sent : {0, SIGTERM, SIGSTOP, SIGKILL}) {
        void* const lock = Take();
        pid_t guard = 0;
        while ((guard = Guard()) == 0) std::this_thread::yield();
        fs::path const process = "/proc/" + std::to_string(guard);
        while (test::FilesIn(process / "fd") != 3) std::this_thread::yield();  // and keeps nothing else open
        failures += (fs::read_symlink(process / "exe") != fs::read_symlink("/proc/self/exe")) != hasProgram;
        failures += kill(guard, sent) != 0 || waitpid(-1, nullptr, 0) != -1 || Take() != invalid;
        failures += hasProgram && waitpid(-1, nullptr, __WALL) != -1;
        ZamLockfileRelease(lock);
        failures += Exists() || !CanBeTaken();
        if (sent == SIGSTOP) kill(guard, SIGCONT);
      }
      failures += waitpid(-1, nullptr, __WALL) != -1 || test::FilesIn("/proc/self/fd") != openFiles;

      void* const lock = Take();
      if (failures != 0 || lock == invalid) return 1;
      close(ofChildren[1]);
      if (fork() == 0) {
        setpgid(0, 0);
        ZamLockfileRelease(lock);
        self.Say();
        _exit(BytesFrom(ofChildren[0]));
      }
      self.Hear();
      return execlp("sleep", "sleep", "1000", nullptr);
    });
    bool const isHeld = holder.Hear();
    if (!isHeld && holder.ExitCode() == notPermitted) continue;
    EXPECT_TRUE(isHeld && Take() == invalid) << name << ": the child's release is none";
    if (end == killed) holder.Kill();
    holder.Say();
    EXPECT_TRUE(Vanishes()) << name << ": although the child lives";
  }
  for (int const end : ofChildren) close(end);
}

TEST_F(LockFileTest, HasHoldersThatDoStrangeThings) {
  std::function<int(Process&)> const strange[] = {
      // Takes it where the system gives no more processes, which is nobody's hold.
      [this](Process&) {
        if (!Deny(SYS_clone, EAGAIN) || !Deny(SYS_clone3, EAGAIN)) return notPermitted;
        alarm(10);
        auto const start = [](void*) -> std::uint32_t { return 0; };
        bool const isTaken = ZamLockfileCreate(path, 20'000, 3) != invalid;
        return isTaken + (ZamCreateThread(0, start, nullptr) != nullptr) + Exists();
      },
      // Closes all its files, and opens others under the numbers.
      [this](Process&) {
        void* const lost = Take();
        closefrom(3);
        int failures = !Vanishes();
        void* const lock = Take();
        while (open("/dev/null", O_RDONLY) < 20) continue;
        ZamLockfileRelease(lost);
        for (int number = 3; number <= 20; ++number) failures += fcntl(number, F_GETFD) == -1;
        failures += lock == invalid || Take() != invalid;
        ZamLockfileRelease(lock);
        return failures + Exists();
      }};
  for (auto const& run : strange) {
    int const code = Process(run).ExitCode();
    EXPECT_TRUE(code == 0 || code == notPermitted) << &run - strange << ": " << code;
    EXPECT_TRUE(CanBeTaken()) << &run - strange;
  }
}

}  // namespace
}  // namespace ZaM

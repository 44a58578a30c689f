// Threads, and what tells processes, machines and things apart.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/fsuid.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/system_identity.h"
#include "zam/foundation/thread.h"
#include "zam/foundation/uuid.h"

namespace ZaM {
namespace {

constexpr std::uint32_t endless = 0xFFFFFFFF;

/// A thread that calls `function`, a callable without arguments, which must outlive it.
template <class Function>
void* Start(Function& function, unsigned int stackSize = 0) {
  auto const call = [](void* argument) -> std::uint32_t {
    (*static_cast<Function*>(argument))();
    return 7;
  };
  return ZamCreateThread(stackSize, call, &function);
}

/// Runs `function` on a thread to its end; false if that couldn't be started.
template <class Function>
bool RunToEnd(Function function, unsigned int stackSize = 0) {
  void* const thread = Start(function, stackSize);
  bool const ended = thread != nullptr && ZamWaitThread(thread, endless);
  ZamCloseThreadHandle(thread);
  return ended;
}

/// Each thread of this program has one: more than a small stack.
thread_local char ownBytes[100'000];

TEST(Threads, AreWaitedForUntilTheyHaveEnded) {
  std::promise<void> go;
  auto wait = [future = go.get_future()] { future.wait(); };
  void* const thread = Start(wait);
  ASSERT_NE(thread, nullptr);
  EXPECT_FALSE(ZamWaitThread(thread, 0));
  EXPECT_FALSE(ZamWaitThread(thread, 1));

  std::atomic<int> answers = 0;
  std::vector<std::thread> others;
  // Multiplied by a million in 32 bits, the second one would be over at once.
  for (std::uint32_t const timeout : {endless, endless - 1, 4'294'968u}) {
    others.emplace_back([&answers, thread, timeout] { answers += ZamWaitThread(thread, timeout); });
  }
  EXPECT_FALSE(ZamWaitThread(thread, 1)) << "while others wait longer";
  go.set_value();
  for (std::thread& other : others) other.join();
  EXPECT_EQ(answers, 3);
  for (std::uint32_t const timeout : {0u, 1u, endless}) EXPECT_TRUE(ZamWaitThread(thread, timeout)) << "again";
  ZamCloseThreadHandle(thread);

  go = {};
  std::atomic<bool> done = false;
  auto waitAndTell = [&done, future = go.get_future()] { future.wait(), done = true; };
  ZamCloseThreadHandle(Start(waitAndTell));
  go.set_value();
  while (!done) std::this_thread::yield();
  EXPECT_FALSE(ZamWaitThread(nullptr, endless));
  ZamCloseThreadHandle(nullptr);
}

TEST(Threads, HaveEndedOnlyWhenTheirOwnVariablesHave) {
  static std::promise<void> begins;
  static std::promise<void> go;
  static bool ended;  // plain: ThreadSanitizer looks whether the end is seen in order
  static auto const end = [](void*) {
    begins.set_value();
    go.get_future().wait();
    ended = true;
  };
  struct Slow {
    ~Slow() { end(nullptr); }
  };
  static pthread_key_t key;  // its destructor comes after those of C++
  ASSERT_EQ(pthread_key_create(&key, end), 0);
  std::function<void()> works[] = {[] { static thread_local Slow const slow; },
                                   [] {
                                     static thread_local Slow const slow;
                                     pthread_exit(nullptr);
                                   },
                                   [] { pthread_setspecific(key, &key); }};
  for (auto& work : works) {
    begins = {};
    go = {};
    ended = false;
    void* const thread = Start(work);
    ASSERT_NE(thread, nullptr);
    begins.get_future().wait();
    for (std::uint32_t const timeout : {0u, 1u}) EXPECT_FALSE(ZamWaitThread(thread, timeout));
    go.set_value();
    EXPECT_TRUE(ZamWaitThread(thread, endless));
    EXPECT_TRUE(ended);
    ZamCloseThreadHandle(thread);
  }
  pthread_key_delete(key);
}

TEST(Threads, TakeStacksOfAnySize) {
  for (unsigned int const size : {0u, 1u, 4096u, 65'536u, 1'000'001u, 64u << 20}) {
    std::size_t found = 0;
    EXPECT_TRUE(RunToEnd(
        [&found] {
          std::memset(ownBytes, 1, sizeof ownBytes);
          pthread_attr_t attributes;
          ASSERT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
          pthread_attr_getstacksize(&attributes, &found);
          pthread_attr_destroy(&attributes);
        },
        size));
    EXPECT_GE(found, size);
    EXPECT_GE(found, 65'536u);
    EXPECT_TRUE(size == 0 || found <= (16u << 20) || size == 64u << 20) << "of " << size << ": " << found;
  }
}

TEST(Threads, RunUnderTheIdentityOfTheirCreator) {
  if (geteuid() != 0) GTEST_SKIP() << "this user can't take another identity";
  constexpr uid_t other = 4711;
  constexpr uid_t ask = static_cast<uid_t>(-1);
  auto const identity = [] { return std::pair(setfsuid(ask), setfsgid(ask)); };
  std::pair<int, int> found;
  auto const look = [&] { found = identity(); };
  std::thread([&] {
    setfsgid(other + 1);
    setfsuid(other);
    EXPECT_TRUE(RunToEnd(look));
  }).join();
  EXPECT_EQ(found, std::pair(int{other}, int{other + 1}));
  EXPECT_TRUE(RunToEnd(look));
  EXPECT_EQ(found, identity()) << "the process's";
}

using test::FailureId;

_ZAMGUID New() {
  _ZAMGUID uuid = {};
  ZaMUuidCreate(&uuid);
  return uuid;
}

TEST(Uuid, IsReadFromOneFormAndShownInLowerCase) {
  wstring const text = u"f81d4fae-7dec-11d0-a765-00a0c91e6bf6";
  std::vector<wstring> wrong = {u"not a uuid",      u"{" + text + u"}",   u"f81d4fae7dec11d0a76500a0c91e6bf6",
                                text.substr(0, 35), text + wstring(1, 0), wstring(36, u'-')};
  for (std::size_t i = 0; i < text.size(); ++i) {
    // Neighbours of the digits and the letters, and a character whose low byte is a digit.
    for (wchar const stray : {u'/', u':', u'@', u'G', u'`', u'g', u'x', u' ', u'\0', u'\u0130', u'\uFF11'}) {
      wrong.push_back(text);
      wrong.back()[i] = stray;
    }
  }
  constexpr _ZAMGUID known = {0xF81D4FAE, 0x7DEC, 0x11D0, {0xA7, 0x65, 0x00, 0xA0, 0xC9, 0x1E, 0x6B, 0xF6}};
  _ZAMGUID uuid = {};
  for (wstring const& right : {text, wstring(u"F81D4FAE-7DEC-11d0-A765-00A0C91E6BF6")}) {
    ZaMUuidFromString(right, &uuid);
    for (wstring const& each : wrong) EXPECT_EQ(FailureId([&] { ZaMUuidFromString(each, &uuid); }), 1);
    EXPECT_THROW(ZaMUuidFromString(u"", &uuid), std::out_of_range);
    EXPECT_TRUE(std::memcmp(&uuid, &known, sizeof known) == 0 && ZaMUuidToString(&uuid) == text);
  }
}

TEST(Uuid, HoldsTheTimeOfItsMaking) {
  using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
  auto const now = [] {
    constexpr Ticks from1582To1970{0x01B21DD213814000};
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()) + from1582To1970;
  };
  auto const before = now();
  _ZAMGUID const uuid = New();
  auto const after = now();
  EXPECT_EQ(uuid.data3 >> 12, 1) << "the version";
  EXPECT_EQ(uuid.data4[0] >> 6, 2) << "the variant";
  Ticks const time{(std::int64_t{uuid.data3} & 0xFFF) << 48 | std::int64_t{uuid.data2} << 32 | uuid.data1};
  EXPECT_GE(time, before - std::chrono::microseconds(1));
  EXPECT_LE(time, after + std::chrono::microseconds(2));
}

TEST(UuidThreads, GetDistinctOnes) {
  std::mutex mutex;
  std::set<wstring> times;  // the rest is random in each thread, and would hide that a time came twice
  auto const make = [&] {
    std::set<wstring> made;
    for (int i = 0; i < 25'000; ++i) {
      _ZAMGUID uuid = New();
      made.insert(ZaMUuidToString(&uuid).substr(0, 18));
    }
    std::lock_guard const lock(mutex);
    times.merge(made);
  };
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(make);
  }
  EXPECT_EQ(times.size(), 100'000u);
}

TEST(Uuid, HasAnotherClockSequenceInAForkedProcess) {
  auto const sequence = [] {
    _ZAMGUID const uuid = New();
    return uuid.data4[0] << 8 | uuid.data4[1];
  };
  int const own = sequence();
  pid_t const child = fork();
  if (child == 0) _exit(sequence() == own ? 1 : 0);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "it inherits what the generator remembers, and would give the same UUIDs";
}

/// In the characters of ASCII.
wstring Wide(std::string const& text) {
  return {text.begin(), text.end()};
}

TEST(SystemIdentity, IsWhatTheSystemSays) {
  wstring text = u"what was there";
  GetPID(text);
  EXPECT_TRUE(text == Wide(std::to_string(getpid())));

  utsname machine = {};
  ASSERT_EQ(uname(&machine), 0);
  ASSERT_TRUE(GetHostname(text));
  EXPECT_TRUE(text == Wide(machine.nodename));

  std::ifstream list("/proc/cpuinfo");
  auto processors = 0;
  for (std::string line; std::getline(list, line);) processors += line.starts_with("processor");
  if (processors == 0) GTEST_SKIP() << "this machine lists its processors in another form";
  EXPECT_EQ(ZamGetCPUCount(), processors);
}

TEST(SystemIdentity, HasHostNamesOfAnyForm) {
  std::string const longest(64, 'n');
  bool permitted = true;
  // The name is changed for one thread only.
  std::thread([&] {
    wstring name = u"what was there";
    auto const become = [](std::string const& text) { return sethostname(text.data(), text.size()) == 0; };
    permitted = unshare(CLONE_NEWUTS) == 0 && become(longest);
    if (!permitted) return;
    {
      test::FailingAllocation const failing(0);
      EXPECT_FALSE(GetHostname(name));
    }
    EXPECT_TRUE(name == u"what was there");
    EXPECT_TRUE(GetHostname(name) && name == wstring(64, u'n'));
    EXPECT_TRUE(become("B\xC3\xA4r\xFF") && GetHostname(name) && name == u"B\u00E4r\uFFFD");
    EXPECT_TRUE(become("") && GetHostname(name) && name.empty());
  }).join();
  if (!permitted) GTEST_SKIP() << "this user can't change the name";
}

}  // namespace
}  // namespace ZaM

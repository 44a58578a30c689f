// Threads, and what tells processes, machines and things apart.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <mutex>
#include <thread>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/system_identity.h"
#include "zam/foundation/text_encoding.h"
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
  void* const thread = ZamCreateThread(stackSize, call, &function);
  EXPECT_NE(thread, nullptr);
  return thread;
}

/// Runs `function` on a thread to its end.
template <class Function>
void RunToEnd(Function function, unsigned int stackSize = 0) {
  void* const thread = Start(function, stackSize);
  EXPECT_TRUE(ZamWaitThread(thread, endless));
  ZamCloseThreadHandle(thread);
}

/// Each thread of this program has one: more than a small stack.
thread_local char ownBytes[100'000];

TEST(Threads, AreWaitedForUntilTheirOwnVariablesHaveEnded) {
  static std::promise<void> begins, go;
  static bool ended = false;  // plain: ThreadSanitizer looks whether the end is seen in order
  static pthread_key_t key;   // its destructor comes after those of C++
  ASSERT_EQ(pthread_key_create(&key, [](void*) { begins.set_value(), go.get_future().wait(), ended = true; }), 0);
  auto leave = [] { pthread_setspecific(key, &key), pthread_exit(nullptr); };
  void* const thread = Start(leave);
  begins.get_future().wait();
  EXPECT_FALSE(ZamWaitThread(thread, 0));

  std::atomic<int> answers = 0;
  std::vector<std::thread> others;
  // Multiplied by a million in 32 bits, the second one would be over at once.
  for (std::uint32_t const timeout : {endless, endless - 1, 4'294'968u}) {
    others.emplace_back([&answers, thread, timeout] { answers += ZamWaitThread(thread, timeout) && ended; });
  }
  EXPECT_FALSE(ZamWaitThread(thread, 1)) << "while others wait longer";
  go.set_value();
  for (std::thread& other : others) other.join();
  EXPECT_EQ(answers, 3);
  for (std::uint32_t const timeout : {0u, 1u, endless}) EXPECT_TRUE(ZamWaitThread(thread, timeout)) << "again";
  ZamCloseThreadHandle(thread);
  auto nothing = [] {};
  ZamCloseThreadHandle(Start(nothing));  // ThreadSanitizer tells of a thread that nobody waits for nor lets go
  EXPECT_FALSE(ZamWaitThread(nullptr, endless));
  ZamCloseThreadHandle(nullptr);
  pthread_key_delete(key);
}

TEST(Threads, TakeStacksOfAnySize) {
  for (unsigned int const size : {0u, 1u, 65'536u, 1'000'001u, 64u << 20}) {
    std::size_t found = 0;
    auto const look = [&found] {
      std::memset(ownBytes, 1, sizeof ownBytes);
      pthread_attr_t attributes;
      ASSERT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
      pthread_attr_getstacksize(&attributes, &found);
      pthread_attr_destroy(&attributes);
    };
    RunToEnd(look, size);
    EXPECT_TRUE(found >= size && found >= 65'536u) << "of " << size << ": " << found;
    EXPECT_TRUE(size == 0 || found <= (16u << 20) || size == 64u << 20) << "of " << size << ": " << found;
  }
}

_ZAMGUID New() {
  _ZAMGUID uuid = {};
  ZaMUuidCreate(&uuid);
  return uuid;
}

TEST(Uuid, IsReadFromOneFormAndShownInLowerCase) {
  wstring const text = u"f81d4fae-7dec-11d0-a765-00a0c91e6bf6";
  constexpr _ZAMGUID known = {0xF81D4FAE, 0x7DEC, 0x11D0, {0xA7, 0x65, 0x00, 0xA0, 0xC9, 0x1E, 0x6B, 0xF6}};
  _ZAMGUID uuid = {};
  for (wstring const& right : {text, wstring(u"F81D4FAE-7DEC-11d0-A765-00A0C91E6BF6")}) {
    ZaMUuidFromString(right, &uuid);
    // Neighbours of the digits and the letters, and a character whose low byte is a digit.
    for (wchar const stray : {u'/', u':', u'@', u'G', u'`', u'g', u'-', u'\u0130'}) {
      for (std::size_t i = 0; i < text.size(); ++i) {
        wstring wrong = text;
        if (std::exchange(wrong[i], stray) == stray) wrong += u'\0';
        EXPECT_EQ(test::FailureId([&] { ZaMUuidFromString(wrong, &uuid); }), 1) << i;
      }
    }
    EXPECT_THROW(ZaMUuidFromString(u"", &uuid), std::out_of_range);
    EXPECT_TRUE(std::memcmp(&uuid, &known, sizeof known) == 0 && ZaMUuidToString(&uuid) == text);
  }
}

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

Ticks TimeOf(_ZAMGUID const& uuid) {
  return Ticks((std::int64_t{uuid.data3} & 0xFFF) << 48 | std::int64_t{uuid.data2} << 32 | uuid.data1);
}

TEST(UuidThreads, GetDistinctOnesThatHoldTheTimeOfTheirMaking) {
  auto const now = [] {
    constexpr Ticks from1582To1970{0x01B21DD213814000};
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()) + from1582To1970;
  };
  std::mutex mutex;
  std::set<Ticks> times;  // the rest is random in each thread, and would hide that a time came twice
  auto const make = [&] {
    std::vector<_ZAMGUID> made(25'000);
    for (_ZAMGUID& each : made) ZaMUuidCreate(&each);
    std::lock_guard const lock(mutex);
    for (_ZAMGUID const& each : made) times.insert(TimeOf(each));
  };
  auto const before = now();
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(make);
  }
  EXPECT_EQ(times.size(), 100'000u);
  EXPECT_TRUE(*times.begin() >= before - std::chrono::microseconds(1));
  EXPECT_TRUE(*times.rbegin() <= now() + std::chrono::microseconds(2));
}

TEST(Uuid, IsOfItsVersionAndHasAnotherClockSequenceInAForkedProcess) {
  _ZAMGUID const own = New();
  EXPECT_TRUE(own.data3 >> 12 == 1 && own.data4[0] >> 6 == 2) << "the version and the variant";
  pid_t const child = fork();
  if (child == 0) _exit(std::memcmp(New().data4, own.data4, 2) == 0 ? 1 : 0);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "it inherits what the generator remembers, and would give the same UUIDs";
}

TEST(SystemIdentity, IsWhatTheSystemSays) {
  wstring text = u"what was there";
  GetPID(text);
  EXPECT_EQ(ToUtf8(text), std::to_string(getpid()));
  EXPECT_EQ(ZamGetCPUCount(), static_cast<int>(std::thread::hardware_concurrency()));

  bool permitted = true;
  // The name is changed for one thread only.
  std::thread([&] {
    auto const become = [](std::string const& name) { return sethostname(name.data(), name.size()) == 0; };
    permitted = unshare(CLONE_NEWUTS) == 0;
    if (!permitted) return;
    EXPECT_TRUE(become(std::string(64, 'n')));
    auto const get = [&] { GetHostname(text) ? void() : throw BaseException(1); };
    EXPECT_GT(test::FailEachAllocation(get, [] {}, {.ids = {1}}), 0u);
    EXPECT_EQ(text, wstring(64, u'n'));
    EXPECT_TRUE(become("B\xC3\xA4r\xFF") && GetHostname(text) && text == u"B\u00E4r\uFFFD");
    EXPECT_TRUE(become("") && GetHostname(text) && text.empty());
  }).join();
  if (!permitted) GTEST_SKIP() << "this user can't change the machine's name";
}

}  // namespace
}  // namespace ZaM

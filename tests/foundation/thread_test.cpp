#include "zam/foundation/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <future>
#include <thread>
#include <vector>

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

}  // namespace
}  // namespace ZaM

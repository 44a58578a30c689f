// Threads that can be waited for any number of times, and be left to themselves.
#ifndef ZAM_PLATFORM_THREAD_H
#define ZAM_PLATFORM_THREAD_H

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

namespace ZaM::platform {

/// A handle of a thread. Its end doesn't stop the thread, and nothing of it is left behind when that has ended.
///
/// Threads: any number may wait at once.
class Thread {
 public:
  using Start = std::uint32_t (*)(void*);

  /// Starts a thread with a stack of about `stackSize` bytes, or of the system's usual size for 0; what is too small to
  /// start with is raised. Null where the system gives no thread or no memory. It runs under the identity of the
  /// calling thread, also where that differs from the other threads' one: the system hands it on.
  [[nodiscard]] static std::unique_ptr<Thread> Create(std::size_t stackSize, Start start, void* argument);

  Thread(Thread const&) = delete;
  ~Thread();

  /// Waits until the thread has ended, for at most `timeout`, or without a limit. False when the time is over.
  [[nodiscard]] bool Wait(std::optional<std::chrono::milliseconds> timeout);

 private:
  using Clock = std::chrono::steady_clock;

  Thread() = default;
  [[nodiscard]] bool Join(std::optional<Clock::time_point> deadline) const;

  pthread_t thread{};
  bool isJoinable = false;  // guarded by `lock`, as is the next
  bool isBeingJoined = false;
  std::mutex lock;
  std::condition_variable changed;
};

}  // namespace ZaM::platform

#endif

// Threads that can be waited for any number of times, and be left to themselves.
#ifndef ZAM_PLATFORM_THREAD_H
#define ZAM_PLATFORM_THREAD_H

#include <pthread.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
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
  struct Progress;

  explicit Thread(std::shared_ptr<Progress> shared) : progress(std::move(shared)) {}
  static void* Run(void* record);

  std::shared_ptr<Progress> progress;  // with the thread itself
  pthread_t thread{};
  bool joinable = false;  // started, and not joined yet; guarded by the lock in `progress`
};

}  // namespace ZaM::platform

#endif

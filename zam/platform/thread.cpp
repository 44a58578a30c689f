#include "zam/platform/thread.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <new>
#include <utility>

namespace ZaM::platform {

/// What a thread and its handle share. A join alone allows neither a second wait nor, on the clock that nobody sets,
/// one with a limit.
struct Thread::Progress {
  Start start;
  void* argument;
  std::mutex lock;
  std::condition_variable changed;
  bool finished = false;  // guarded by `lock`; nothing but the system's part of the end remains then
};

namespace {

/// Room for the first calls, for the system's own records and for the handler of a signal.
constexpr std::size_t smallestStack = 65536;

/// The attributes of a thread to be, with a stack of this size.
class Attributes {
 public:
  explicit Attributes(std::size_t stackSize) {
    valid = pthread_attr_init(&attributes) == 0;
    if (!valid || stackSize == 0) return;
    std::size_t const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::size_t const size = std::max(stackSize, smallestStack);
    pthread_attr_setstacksize(&attributes, (size + page - 1) / page * page);
  }
  Attributes(Attributes const&) = delete;
  ~Attributes() {
    if (valid) pthread_attr_destroy(&attributes);
  }

  [[nodiscard]] pthread_attr_t const* Get() const { return valid ? &attributes : nullptr; }

 private:
  pthread_attr_t attributes{};
  bool valid;
};

}  // namespace

std::unique_ptr<Thread> Thread::Create(std::size_t stackSize, Start start, void* argument) {
  try {
    auto shared = std::make_shared<Progress>();
    shared->start = start;
    shared->argument = argument;
    std::unique_ptr<Thread> handle(new Thread(shared));
    auto record = std::make_unique<std::shared_ptr<Progress>>(std::move(shared));

    Attributes const attributes(stackSize);
    int error = pthread_create(&handle->thread, attributes.Get(), &Run, record.get());
    // The variables of its own that every thread of this program has need more than was asked for.
    if (error == EINVAL) error = pthread_create(&handle->thread, nullptr, &Run, record.get());
    if (error != 0) return nullptr;
    handle->joinable = true;
    record.release();
    return handle;
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

void* Thread::Run(void* record) {
  // In the destructor of a variable of the thread's own, since a thread may also end in the midst of its function. The
  // first one is destroyed last: the others may wait for somebody who asks meanwhile whether the thread has ended.
  struct Finish {
    ~Finish() {
      std::lock_guard const guard(progress->lock);
      progress->finished = true;
      progress->changed.notify_all();
    }
    std::shared_ptr<Progress> progress;
  };
  std::unique_ptr<std::shared_ptr<Progress>> const shared(static_cast<std::shared_ptr<Progress>*>(record));
  static thread_local Finish const finish{std::move(*shared)};
  return reinterpret_cast<void*>(std::uintptr_t{finish.progress->start(finish.progress->argument)});
}

bool Thread::Wait(std::optional<std::chrono::milliseconds> timeout) {
  std::unique_lock guard(progress->lock);
  auto const finished = [this] { return progress->finished; };
  if (!timeout) {
    progress->changed.wait(guard, finished);
  } else if (!progress->changed.wait_for(guard, *timeout, finished)) {
    return false;
  }
  if (std::exchange(joinable, false)) pthread_join(thread, nullptr);
  return true;
}

Thread::~Thread() {
  if (joinable) pthread_detach(thread);
}

}  // namespace ZaM::platform

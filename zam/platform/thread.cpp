#include "zam/platform/thread.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <new>

namespace ZaM::platform {

namespace {

struct Call {
  Thread::Start start;
  void* argument;
};

void* Run(void* call) {
  auto const [start, argument] = *std::unique_ptr<Call>(static_cast<Call*>(call));
  return reinterpret_cast<void*>(std::uintptr_t{start(argument)});
}

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
    std::unique_ptr<Thread> handle(new Thread);
    auto call = std::make_unique<Call>(Call{start, argument});
    Attributes const attributes(stackSize);
    int error = pthread_create(&handle->thread, attributes.Get(), &Run, call.get());
    // The variables of its own that every thread of this program has need more than was asked for.
    if (error == EINVAL) error = pthread_create(&handle->thread, nullptr, &Run, call.get());
    if (error != 0) return nullptr;
    handle->isJoinable = true;
    static_cast<void>(call.release());  // is the thread's from now on
    return handle;
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

bool Thread::Wait(std::optional<std::chrono::milliseconds> timeout) {
  std::optional<Clock::time_point> deadline;
  if (timeout) deadline = Clock::now() + *timeout;
  std::unique_lock guard(lock);
  // The system lets one thread join at a time; when its time is over, it is another's turn.
  auto const hasEndedOrIsFree = [this] { return !isJoinable || !isBeingJoined; };
  if (!deadline) {
    changed.wait(guard, hasEndedOrIsFree);
  } else if (!changed.wait_until(guard, *deadline, hasEndedOrIsFree)) {
    return false;
  }
  if (!isJoinable) return true;
  isBeingJoined = true;
  guard.unlock();
  bool const hasEnded = Join(deadline);
  guard.lock();
  isBeingJoined = false;
  isJoinable = !hasEnded;
  changed.notify_all();
  return hasEnded;
}

bool Thread::Join(std::optional<Clock::time_point> deadline) const {
  if (!deadline) return pthread_join(thread, nullptr) == 0;
  auto const sinceBoot = deadline->time_since_epoch();
  auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(sinceBoot);
  std::chrono::nanoseconds const rest = sinceBoot - seconds;
  timespec const time = {seconds.count(), rest.count()};
  return pthread_clockjoin_np(thread, nullptr, CLOCK_MONOTONIC, &time) == 0;
}

Thread::~Thread() {
  if (isJoinable) pthread_detach(thread);
}

}  // namespace ZaM::platform

#include "zam/foundation/thread.h"

#include <chrono>
#include <optional>

#include "zam/platform/thread.h"

namespace ZaM {

using platform::Thread;

void* ZamCreateThread(unsigned int stackSize, std::uint32_t (*start)(void*), void* argument) {
  return Thread::Create(stackSize, start, argument).release();
}

bool ZamWaitThread(void* handle, std::uint32_t timeout) {
  constexpr std::uint32_t endless = 0xFFFFFFFF;
  if (handle == nullptr) return false;
  std::optional<std::chrono::milliseconds> limit;
  if (timeout != endless) limit = std::chrono::milliseconds(timeout);
  return static_cast<Thread*>(handle)->Wait(limit);
}

void ZamCloseThreadHandle(void* handle) {
  delete static_cast<Thread*>(handle);
}

}  // namespace ZaM

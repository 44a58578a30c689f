#include "zam/platform/stack.h"

#include <pthread.h>

#include <cstddef>
#include <cstdint>

namespace ZaM::platform {

namespace {

struct StackBounds {
  std::uintptr_t middle = 0;
  std::uintptr_t end = 0;  // all 0 if the system doesn't tell
};

StackBounds boundsOfThisThread() noexcept {
  StackBounds bounds;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return bounds;
  void* lowest = nullptr;
  std::size_t size = 0;
  if (pthread_attr_getstack(&attributes, &lowest, &size) == 0) {
    auto const first = reinterpret_cast<std::uintptr_t>(lowest);
    bounds = {first + size / 2, first + size};
  }
  pthread_attr_destroy(&attributes);
  return bounds;
}

// Asked once per thread: for the main thread the system reads a file to find out.
thread_local constinit bool asked = false;
thread_local constinit StackBounds bounds;

}  // namespace

bool StackIsLow() noexcept {
  if (!asked) {
    bounds = boundsOfThisThread();
    asked = true;
  }
  auto const here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  return here < bounds.middle || here >= bounds.end;
}

}  // namespace ZaM::platform

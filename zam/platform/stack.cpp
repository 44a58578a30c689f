#include "zam/platform/stack.h"

#include <pthread.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace ZaM::platform {

namespace {

thread_local constinit bool areBoundsKnown = false;  // asked for once per thread
thread_local constinit StackBounds bounds;

}  // namespace

StackBounds BoundsOfThisThread() noexcept {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return {};
  void* lowest = nullptr;
  std::size_t size = 0;
  std::size_t guard = 0;
  bool const told = pthread_attr_getstack(&attributes, &lowest, &size) == 0 &&
                    pthread_attr_getguardsize(&attributes, &guard) == 0 && size > guard;
  pthread_attr_destroy(&attributes);
  if (!told) return {};
  // Whether the guard pages are counted as part of the stack depends on the version of the C library.
  auto const page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  auto const first = reinterpret_cast<std::uintptr_t>(lowest);
  return {(first + guard + page - 1) / page * page, first + size};
}

bool StackIsLow() noexcept {
  if (!areBoundsKnown) {
    bounds = BoundsOfThisThread();
    areBoundsKnown = true;
  }
  auto const here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  std::uintptr_t const middle = bounds.low + (bounds.top - bounds.low) / 2;
  return here < middle || here >= bounds.top;
}

}  // namespace ZaM::platform

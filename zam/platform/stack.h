// Where a thread's stack lies, and how much of it is in use.
#ifndef ZAM_PLATFORM_STACK_H
#define ZAM_PLATFORM_STACK_H

#include <cstdint>

namespace ZaM::platform {

/// The addresses of a stack, which grows from `top` down to `low`; its guard pages lie below.
struct StackBounds {
  std::uintptr_t low = 0;
  std::uintptr_t top = 0;
};

/// Of this thread's own stack; all 0 where the system doesn't tell. For the main thread the system reads a file to find
/// out.
[[nodiscard]] StackBounds BoundsOfThisThread() noexcept;

/// Whether more than half of this thread's stack is in use. Also true where that can't be told: on a stack that isn't
/// the thread's own, or if the system doesn't say where that lies.
bool StackIsLow() noexcept;

}  // namespace ZaM::platform

#endif

// How much of its stack a thread has used.
#ifndef ZAM_PLATFORM_STACK_H
#define ZAM_PLATFORM_STACK_H

namespace ZaM::platform {

/// Whether more than half of this thread's stack is in use. Also true where that can't be told: on a stack that isn't
/// the thread's own, or if the system doesn't say where that lies.
bool StackIsLow() noexcept;

}  // namespace ZaM::platform

#endif

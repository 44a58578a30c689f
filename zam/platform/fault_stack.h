// The stack on which faults are handled, and the reserve that cleaning up after a stack overflow needs.
#ifndef ZAM_PLATFORM_FAULT_STACK_H
#define ZAM_PLATFORM_FAULT_STACK_H

#include <csignal>
#include <cstdint>

namespace ZaM::platform {

/// What a thread needs to survive the end of its stack. Plain data, since a signal handler reads it.
///
/// An overflow must not strike at the true end: the destructors that run while the exception passes need stack as well.
/// So the last part of the stack, its reserve, is locked at first. An overflow strikes at the lock, which then opens,
/// and closes again when the exception is gone. If the thread still stands on the reserve by then, as in a function
/// that swallows all exceptions, only what lies more than a page below it is locked: the next call may overflow too.
///
///     low         reserveEnd                      top
///     | reserve   | free for all         | in use |
///
/// Sequence: ProvideFaultStack WithdrawFaultStack, on the same thread.
struct FaultStack {
  std::uintptr_t low = 0;         // of the thread's stack, above its guard pages; 0 where that isn't known
  std::uintptr_t reserveEnd = 0;  // equal to `low` where the stack is too small for a reserve
  std::uintptr_t lockedEnd = 0;   // of the locked part of the reserve, which begins at `low`
  void* mapping = nullptr;        // of our own alternative stack; null if the thread had one that is large enough
  stack_t alternative = {};       // that signal handlers run on
  stack_t before = {};            // what our own took the place of
};

/// Gives this thread an alternative stack for signals and a reserve. Returns false, and changes nothing, if memory runs
/// out.
[[nodiscard]] bool ProvideFaultStack(FaultStack& stack) noexcept;

/// Takes both back.
void WithdrawFaultStack(FaultStack& stack) noexcept;

/// Whether `address` lies in the alternative stack.
[[nodiscard]] bool IsOnAlternativeStack(FaultStack const& stack, std::uintptr_t address) noexcept;

/// Whether access to `address`, with the stack filled down to `stackPointer`, failed because the stack has come to its
/// end.
[[nodiscard]] bool IsStackOverflow(FaultStack const& stack, std::uintptr_t address,
                                   std::uintptr_t stackPointer) noexcept;

/// Opens the reserve. Returns whether some of it was locked.
bool OpenReserve(FaultStack& stack) noexcept;

/// Locks the reserve, or if the calling thread stands on it, what of it lies more than a page below.
void LockReserve(FaultStack& stack) noexcept;

}  // namespace ZaM::platform

#endif

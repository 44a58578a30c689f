// The functions that were running when a fault struck, and whether an exception may pass through them.
//
// An exception can't always start where a fault strikes. The function may be one that never throws, or one of the C
// library that holds a lock. Then the thread is let go on until the function returns: AwaitReturn makes its return a
// fault of its own, and TakeAwaitedReturn recognises that fault.
#ifndef ZAM_PLATFORM_FAULT_CALLS_H
#define ZAM_PLATFORM_FAULT_CALLS_H

#include <ucontext.h>

#include <cstdint>

namespace ZaM::platform {

/// What is known of these functions.
struct FaultedCalls {
  /// One of them belongs to the heap. An exception would leave the heap locked and half changed.
  bool isInHeapFunction = false;
  /// An exception has been thrown and hasn't reached its handler.
  bool isInThrow = false;
  /// An exception may start at the fault. It may not if a function is at a place where its compiler knows of nothing
  /// that throws, if one belongs to the heap, or if the C library or the loader faulted, which may hold locks.
  bool mayThrow = true;
  /// If `mayThrow` is false: where the return address lies of the outermost call that has to end before an exception
  /// may start. Null if there is none.
  std::uintptr_t* returnAddress = nullptr;
};

/// Remembers where the C library and the loader lie in memory. CallsAt needs that; a signal handler may not call it.
void FindCLibrary() noexcept;

/// Takes one off std::uncaught_exceptions, for an exception that another one replaces before it reaches its handler.
void ForgetThrow() noexcept;

/// Looks at the innermost functions only, not at all of them up to the handler.
[[nodiscard]] FaultedCalls CallsAt(ucontext_t const& context) noexcept;

/// Makes the return of a call a fault. A thread awaits one return at a time.
void AwaitReturn(std::uintptr_t* returnAddress) noexcept;

/// Whether this fault is the awaited return. If so, the thread goes on where the call would have returned to. If not,
/// another fault came first, and the return is no longer awaited.
[[nodiscard]] bool TakeAwaitedReturn(ucontext_t& context) noexcept;

}  // namespace ZaM::platform

#endif

// The calls that a fault struck in: whether and where an exception may leave them.
#ifndef ZAM_PLATFORM_FAULT_CALLS_H
#define ZAM_PLATFORM_FAULT_CALLS_H

#include <ucontext.h>

#include <cstdint>

namespace ZaM::platform {

struct FaultedCalls {
  /// The heap's own functions are at work. What they have locked and half changed would stay so.
  bool isInHeapFunction = false;
  /// An exception has been thrown and not come to its handler yet.
  bool isInThrow = false;
  /// No function on the way forbids an exception: none is at a place where, as far as its compiler knows, nothing can
  /// throw, none is of the heap, and what faulted isn't the C library or the loader, which may hold locks.
  bool mayThrow = true;
  /// Otherwise, of the call behind whose return the outermost of those functions may allow it again: where it will find
  /// the place to return to. Null where there is no such call.
  std::uintptr_t* returnAddress = nullptr;
};

/// To be called before CallsAt, and not in a signal handler.
void FindCLibrary() noexcept;

/// Makes an exception that another one takes the place of, before it has come to its handler, count no more in
/// std::uncaught_exceptions.
void ForgetThrow() noexcept;

/// Looks at the functions around the fault, not at all up to the handler.
[[nodiscard]] FaultedCalls CallsAt(ucontext_t const& context) noexcept;

/// Makes the return of a call a fault, which TakeAwaitedReturn recognises. One at a time on each thread.
void AwaitReturn(std::uintptr_t* returnAddress) noexcept;

/// Whether this fault is the return that is waited for. If so, makes it go where it would have gone; its caller notices
/// nothing. If not, another fault came first, and the return isn't waited for any more.
[[nodiscard]] bool TakeAwaitedReturn(ucontext_t& context) noexcept;

}  // namespace ZaM::platform

#endif

// The function that a fault struck in, as the unwinder of exceptions sees it.
#ifndef ZAM_PLATFORM_FAULT_FRAME_H
#define ZAM_PLATFORM_FAULT_FRAME_H

#include <ucontext.h>

#include <cstdint>

namespace ZaM::platform {

/// The registers that the handling of faults looks at.
[[nodiscard]] std::uintptr_t InstructionPointer(ucontext_t const& context) noexcept;
[[nodiscard]] std::uintptr_t StackPointer(ucontext_t const& context) noexcept;

/// To be called first in a signal handler: lets its own code access memory at any address.
void AllowMisalignment() noexcept;

/// A call of the heap's own functions that a fault struck in. What they have locked and half changed would stay so if
/// they were left by an exception.
struct HeapCall {
  bool isThere = false;
  /// Where the call will find the place to return to; null unless it is one of `operator new`, which may throw.
  std::uintptr_t* returnAddress = nullptr;
};
[[nodiscard]] HeapCall HeapCallAt(ucontext_t const& context) noexcept;

/// Lets a call of `operator new` come to its end, after which `throwFailure` is called in the place of what follows it.
/// The new block is freed. `throwFailure` has to throw, and has to be called before the next call of this function on
/// this thread.
void ThrowBehind(HeapCall const& call, void (*throwFailure)()) noexcept;

/// Makes an exception that is thrown from the signal handler find its way, and the code behind it the same modes of
/// floating point:
///
/// - a call to an address without code becomes a fault of the calling function;
/// - a breakpoint, which is told with the instruction behind it, becomes a fault of its own instruction;
/// - where a function faults before the first place that its table of handlers knows of, as it does when the stack ends
///   while it is being entered, the fault becomes one of its caller. Nothing that has to be cleaned up is there yet,
///   but an exception in a place that the table doesn't know would end the process.
void PrepareToThrow(ucontext_t& context, bool isBadAddress, bool isBreakpoint) noexcept;

}  // namespace ZaM::platform

#endif

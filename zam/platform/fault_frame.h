// The function that a fault struck in, as the unwinder of exceptions sees it.
#ifndef ZAM_PLATFORM_FAULT_FRAME_H
#define ZAM_PLATFORM_FAULT_FRAME_H

#include <ucontext.h>
#include <unwind.h>

#include <cstdint>

namespace ZaM::platform {

/// The registers that the handling of faults needs.
[[nodiscard]] std::uintptr_t InstructionPointer(ucontext_t const& context) noexcept;
void SetInstructionPointer(ucontext_t& context, std::uintptr_t address) noexcept;
[[nodiscard]] std::uintptr_t StackPointer(ucontext_t const& context) noexcept;

/// Makes the thread stop after each instruction with a trace trap, or ends that.
void SetSingleStep(ucontext_t& context, bool isOn) noexcept;

/// Lets the code of a signal handler access memory at any address. Has to be its first call.
void AllowMisalignment() noexcept;

/// Calls `visit(frame, isExact)` in a signal handler: for the function that faulted, then for its caller, and so on
/// until `visit` returns false. `isExact` says that the frame's place is the instruction itself, not the one after a
/// call.
template <class Visit>
void VisitFrames(ucontext_t const& context, Visit visit) {
  struct Walk {
    std::uintptr_t fault;
    bool isBeyondHandler;
    Visit& visit;
  } walk = {InstructionPointer(context), false, visit};
  auto const step = [](_Unwind_Context* frame, void* data) {
    Walk& at = *static_cast<Walk*>(data);
    int isExact = 0;
    std::uintptr_t const instruction = _Unwind_GetIPInfo(frame, &isExact);
    at.isBeyondHandler = at.isBeyondHandler || (isExact != 0 && instruction == at.fault);
    return !at.isBeyondHandler || at.visit(frame, isExact != 0) ? _URC_NO_REASON : _URC_END_OF_STACK;
  };
  _Unwind_Backtrace(step, &walk);
}

/// Changes `context` so that the unwinder finds the way of an exception that the signal handler throws:
///
/// - A call to an address without code becomes a fault of the calling function.
/// - A breakpoint, which the system reports with the instruction after it, becomes a fault of its own instruction.
/// - A function may fault before the first place in its table of handlers, as when the stack ends while it is being
///   entered. Then the fault becomes one of its caller: the function has nothing to clean up yet, and an exception at a
///   place that the table doesn't list would end the process.
///
/// Also gives the thread the floating-point modes back that it had at the fault.
void PrepareToThrow(ucontext_t& context, bool isBadAddress, bool isBreakpoint) noexcept;

}  // namespace ZaM::platform

#endif

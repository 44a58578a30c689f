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

/// Has the thread stop behind each instruction with a trace trap, or not.
void SetSingleStep(ucontext_t& context, bool isOn) noexcept;

/// To be called first in a signal handler: lets its own code access memory at any address.
void AllowMisalignment() noexcept;

/// Calls `visit(frame, isExact)` for the function that faulted and those that called it, from the inside outwards,
/// until it returns false; to be called in the signal handler. `isExact` says that the frame's place is that of an
/// instruction, not the one behind a call.
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

#include "zam/platform/fault_frame.h"

#include "zam/platform/handler_table.h"

namespace ZaM::platform {

namespace {

#if defined(__x86_64__)

constexpr int savedByCallees[][2] = {{3, REG_RBX},  {6, REG_RBP},  {12, REG_R12},
                                     {13, REG_R13}, {14, REG_R14}, {15, REG_R15}};  // number for the unwinder, place

std::uintptr_t Register(ucontext_t const& context, int place) {
  return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[place]);
}
void SetRegister(ucontext_t& context, int place, std::uintptr_t value) {
  context.uc_mcontext.gregs[place] = static_cast<greg_t>(value);
}

/// Puts the function of `frame`, in the middle of a call, in the place of the one that faulted.
void Resume(ucontext_t& context, _Unwind_Context* frame) {
  for (auto const [number, place] : savedByCallees) SetRegister(context, place, _Unwind_GetGR(frame, number));
  SetRegister(context, REG_RSP, _Unwind_GetCFA(frame));
  // One back, so that it counts as a place inside of the call.
  SetRegister(context, REG_RIP, _Unwind_GetIP(frame) - 1);
}

/// A call has pushed its return address, and nothing else has happened since.
void ReturnFromBadCall(ucontext_t& context) {
  std::uintptr_t const stack = Register(context, REG_RSP);
  SetRegister(context, REG_RIP, *reinterpret_cast<std::uintptr_t const*>(stack) - 1);
  SetRegister(context, REG_RSP, stack + sizeof(std::uintptr_t));
}

void StepBackOntoBreakpoint(ucontext_t& context) {
  constexpr unsigned char breakpoint = 0xCC;
  std::uintptr_t const before = Register(context, REG_RIP) - 1;
  if (*reinterpret_cast<unsigned char const*>(before) == breakpoint) SetRegister(context, REG_RIP, before);
}

/// A signal handler begins with the modes that a new process has. The flags of what has happened so far are left out:
/// with traps on, they would strike again.
void RestoreFloatModes(ucontext_t const& context) {
  _libc_fpstate const& state = *context.uc_mcontext.fpregs;
  constexpr unsigned flags = 0x3F;
  __builtin_ia32_ldmxcsr(state.mxcsr & ~flags);
  unsigned short const control = state.cwd;
  asm volatile("fldcw %0" : : "m"(control));
}

#else

void Resume(ucontext_t&, _Unwind_Context*) {}
void ReturnFromBadCall(ucontext_t&) {}
void StepBackOntoBreakpoint(ucontext_t&) {}
void RestoreFloatModes(ucontext_t const&) {}

#endif

}  // namespace

void PrepareToThrow(ucontext_t& context, bool isBadAddress, bool isBreakpoint) noexcept {
  if (isBreakpoint) StepBackOntoBreakpoint(context);
  if (isBadAddress) ReturnFromBadCall(context);
  bool isEntered = false;
  VisitFrames(context, [&](_Unwind_Context* frame, bool isExact) {
    if (isEntered && !isExact) Resume(context, frame);
    std::uintptr_t const function = _Unwind_GetRegionStart(frame);
    HandlerTable const table(function, _Unwind_GetLanguageSpecificData(frame));
    isEntered = isExact && table.IsBeforeAll(_Unwind_GetIP(frame) - function);
    return isEntered;
  });
  RestoreFloatModes(context);
}

#if defined(__x86_64__)

std::uintptr_t InstructionPointer(ucontext_t const& context) noexcept {
  return Register(context, REG_RIP);
}
void SetInstructionPointer(ucontext_t& context, std::uintptr_t address) noexcept {
  SetRegister(context, REG_RIP, address);
}
std::uintptr_t StackPointer(ucontext_t const& context) noexcept {
  return Register(context, REG_RSP);
}
void SetSingleStep(ucontext_t& context, bool isOn) noexcept {
  constexpr std::uintptr_t trap = 1u << 8;
  std::uintptr_t const flags = Register(context, REG_EFL);
  SetRegister(context, REG_EFL, isOn ? flags | trap : flags & ~trap);
}
void AllowMisalignment() noexcept {
  constexpr unsigned long long alignmentCheck = 1u << 18;
  __builtin_ia32_writeeflags_u64(__builtin_ia32_readeflags_u64() & ~alignmentCheck);
}

#elif defined(__aarch64__)

std::uintptr_t InstructionPointer(ucontext_t const& context) noexcept {
  return context.uc_mcontext.pc;
}
void SetInstructionPointer(ucontext_t& context, std::uintptr_t address) noexcept {
  context.uc_mcontext.pc = address;
}
std::uintptr_t StackPointer(ucontext_t const& context) noexcept {
  return context.uc_mcontext.sp;
}
void SetSingleStep(ucontext_t&, bool) noexcept {}
void AllowMisalignment() noexcept {}

#endif

}  // namespace ZaM::platform

#include "zam/platform/fault_frame.h"

#include <unwind.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <new>
#include <utility>

namespace ZaM::platform {

namespace {

/// Reads an unsigned LEB128 number, as tables for debuggers and unwinders hold them.
std::uintptr_t ReadUleb128(unsigned char const*& from) {
  std::uintptr_t number = 0;
  for (unsigned shift = 0;; shift += 7) {
    unsigned char const byte = *from++;
    number |= static_cast<std::uintptr_t>(byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) return number;
  }
}

/// Where the first range of a function's table of handlers begins, counted from the function's start; beyond all code
/// if the table has none, and 0 for a table in a form that isn't read here. The form is that of the C++ ABI for
/// Itanium.
std::uintptr_t FirstRange(unsigned char const* table) {
  constexpr unsigned char omitted = 0xFF;
  constexpr unsigned char uleb128 = 0x01;
  if (*table++ != omitted) return 0;
  if (*table++ != omitted) ReadUleb128(table);
  if (*table++ != uleb128) return 0;
  std::uintptr_t const size = ReadUleb128(table);
  return size == 0 ? std::numeric_limits<std::uintptr_t>::max() : ReadUleb128(table);
}

template <std::size_t count>
bool Contains(std::uintptr_t const (&functions)[count], std::uintptr_t start) {
  return std::find(std::begin(functions), std::end(functions), start) != std::end(functions);
}
template <class Function>
std::uintptr_t AddressOf(Function* function) {
  return reinterpret_cast<std::uintptr_t>(function);
}

bool IsOperatorNew(std::uintptr_t start) {
  using Single = void*(std::size_t);
  return Contains({AddressOf<Single>(&::operator new), AddressOf<Single>(&::operator new[])}, start);
}
bool IsHeapFunction(std::uintptr_t start) {
  return Contains({AddressOf(&std::malloc), AddressOf(&std::calloc), AddressOf(&std::realloc), AddressOf(&std::free),
                   AddressOf(&std::aligned_alloc), AddressOf(&posix_memalign)},
                  start);
}

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
  _libc_fpstate const* const state = context.uc_mcontext.fpregs;
  if (state == nullptr) return;
  constexpr unsigned flags = 0x3F;
  __builtin_ia32_ldmxcsr(state->mxcsr & ~flags);
  unsigned short const control = state->cwd;
  asm volatile("fldcw %0" : : "m"(control));
}

// What ThrowBehind has left for this thread's call to come back to.
thread_local constinit std::uintptr_t returnAddressBehind = 0;
using ThrowFunction = void (*)();
thread_local constinit ThrowFunction throwBehind = nullptr;

}  // namespace

// For the lines in the language of the processor, which see neither namespaces nor what is local to this file.
extern "C" std::uintptr_t ZamReturnAddressBehind() {
  return returnAddressBehind;
}
extern "C" void ZamThrowBehind(void* block) {
  ::operator delete(block);
  throwBehind();
}
extern "C" void ZamReturnBehind();

// In the place that a call returns to: makes it as if, in place of that call, ZamThrowBehind had been called with its
// result, so that the exception passes through the caller.
asm(R"(
    .text
    .type ZamReturnBehind, @function
ZamReturnBehind:
    .cfi_startproc
    sub $8, %rsp
    push %rax
    call ZamReturnAddressBehind
    mov %rax, 8(%rsp)
    pop %rdi
    jmp ZamThrowBehind
    .cfi_endproc
    .size ZamReturnBehind, . - ZamReturnBehind
)");

namespace {

std::uintptr_t* ReturnAddressOf(_Unwind_Context* caller) {
  auto* const place = reinterpret_cast<std::uintptr_t*>(_Unwind_GetCFA(caller)) - 1;
  return *place == _Unwind_GetIP(caller) ? place : nullptr;
}

#else

std::uintptr_t* ReturnAddressOf(_Unwind_Context*) {
  return nullptr;
}
void Resume(ucontext_t&, _Unwind_Context*) {}
void ReturnFromBadCall(ucontext_t&) {}
void StepBackOntoBreakpoint(ucontext_t&) {}
void RestoreFloatModes(ucontext_t const&) {}

#endif

/// Calls `visit(frame, isExact)` for the function that faulted and those that called it, from the inside outwards,
/// until it returns false. `isExact` says that the frame's place is that of an instruction, not the one behind a call.
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

/// Whether the function of `frame` is at an instruction before all that its table of handlers knows of.
bool IsBeingEntered(_Unwind_Context* frame) {
  auto const* const table = static_cast<unsigned char const*>(_Unwind_GetLanguageSpecificData(frame));
  return table != nullptr && _Unwind_GetIP(frame) - _Unwind_GetRegionStart(frame) < FirstRange(table);
}

}  // namespace

HeapCall HeapCallAt(ucontext_t const& context) noexcept {
  // The heap's functions go this deep, with those of the sanitizers around them.
  constexpr int mostDepth = 16;
  HeapCall call;
  int depth = 0;
  bool isInOperatorNew = false;
  VisitFrames(context, [&](_Unwind_Context* frame, bool) {
    if (isInOperatorNew) call.returnAddress = ReturnAddressOf(frame);
    std::uintptr_t const function = _Unwind_GetRegionStart(frame);
    isInOperatorNew = IsOperatorNew(function);
    if (isInOperatorNew || IsHeapFunction(function)) {
      call = {.isThere = true};
    }
    return ++depth < mostDepth;
  });
  return call;
}

void PrepareToThrow(ucontext_t& context, bool isBadAddress, bool isBreakpoint) noexcept {
  if (isBreakpoint) StepBackOntoBreakpoint(context);
  if (isBadAddress) ReturnFromBadCall(context);
  bool isEntered = false;
  VisitFrames(context, [&](_Unwind_Context* frame, bool isExact) {
    if (isEntered && !isExact) Resume(context, frame);
    isEntered = isExact && IsBeingEntered(frame);
    return isEntered;
  });
  RestoreFloatModes(context);
}

#if defined(__x86_64__)

void ThrowBehind(HeapCall const& call, void (*throwFailure)()) noexcept {
  returnAddressBehind = std::exchange(*call.returnAddress, AddressOf(&ZamReturnBehind));
  throwBehind = throwFailure;
}

std::uintptr_t InstructionPointer(ucontext_t const& context) noexcept {
  return Register(context, REG_RIP);
}
std::uintptr_t StackPointer(ucontext_t const& context) noexcept {
  return Register(context, REG_RSP);
}
void AllowMisalignment() noexcept {
  constexpr unsigned long long alignmentCheck = 1u << 18;
  __builtin_ia32_writeeflags_u64(__builtin_ia32_readeflags_u64() & ~alignmentCheck);
}

#elif defined(__aarch64__)

void ThrowBehind(HeapCall const&, void (*)()) noexcept {}

std::uintptr_t InstructionPointer(ucontext_t const& context) noexcept {
  return context.uc_mcontext.pc;
}
std::uintptr_t StackPointer(ucontext_t const& context) noexcept {
  return context.uc_mcontext.sp;
}
void AllowMisalignment() noexcept {}

#endif

}  // namespace ZaM::platform

#include "zam/platform/fault_calls.h"

#include <unwind.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <new>
#include <utility>

#include "zam/platform/fault_frame.h"
#include "zam/platform/handler_table.h"

namespace ZaM::platform {

namespace {

template <class Function>
std::uintptr_t AddressOf(Function* function) {
  return reinterpret_cast<std::uintptr_t>(function);
}

bool IsOfHeap(std::uintptr_t function) {
  using New = void*(std::size_t);
  using Delete = void(void*);
  std::uintptr_t const functions[] = {AddressOf(&std::malloc),
                                      AddressOf(&std::calloc),
                                      AddressOf(&std::realloc),
                                      AddressOf(&std::free),
                                      AddressOf(&std::aligned_alloc),
                                      AddressOf(&posix_memalign),
                                      AddressOf<New>(&::operator new),
                                      AddressOf<New>(&::operator new[]),
                                      AddressOf<Delete>(&::operator delete),
                                      AddressOf<Delete>(&::operator delete[])};
  return std::find(std::begin(functions), std::end(functions), function) != std::end(functions);
}

// What AwaitReturn has changed, and what is to come of it.
struct AwaitedReturn {
  std::uintptr_t* place = nullptr;  // null if none is waited for
  std::uintptr_t address = 0;       // that was there
};
thread_local constinit AwaitedReturn awaited;

}  // namespace

#if defined(__x86_64__)

// An illegal instruction, for calls to return to. A signal handler gets all registers, and gives them all back.
extern "C" void ZamAwaitedReturn();
asm(R"(
    .text
    .type ZamAwaitedReturn, @function
ZamAwaitedReturn:
    ud2
    .size ZamAwaitedReturn, . - ZamAwaitedReturn
)");

namespace {

std::uintptr_t* ReturnAddressOf(_Unwind_Context* caller) {
  auto* const place = reinterpret_cast<std::uintptr_t*>(_Unwind_GetCFA(caller)) - 1;
  return *place == _Unwind_GetIP(caller) ? place : nullptr;
}

std::uintptr_t AddressOfAwaitedReturn() {
  return AddressOf(&ZamAwaitedReturn);
}

}  // namespace

#else

namespace {

std::uintptr_t* ReturnAddressOf(_Unwind_Context*) {
  return nullptr;
}
std::uintptr_t AddressOfAwaitedReturn() {
  return 0;
}

}  // namespace

#endif

FaultedCalls CallsAt(ucontext_t const& context) noexcept {
  // Deeper than what libraries put between a program's function and the fault. A function that forbids exceptions in
  // the outer part is taken for one of a recursion.
  constexpr int mostDepth = 64;
  constexpr int mostForbiddenDepth = 48;
  FaultedCalls calls;
  int depth = 0;
  bool isInsideOfHeap = false;  // the function before this one
  VisitFrames(context, [&](_Unwind_Context* frame, bool isExact) {
    std::uintptr_t const function = _Unwind_GetRegionStart(frame);
    std::uintptr_t const offset = _Unwind_GetIP(frame) - function;
    HandlerTable const table(function, _Unwind_GetLanguageSpecificData(frame));
    bool const isBeingEntered = isExact && table.IsBeforeAll(offset);
    bool const isForbidden = !isBeingEntered && !table.LetsThrow(isExact ? offset : offset - 1);
    bool const isOfHeap = IsOfHeap(function);
    if (isInsideOfHeap || isForbidden) calls.returnAddress = isExact ? nullptr : ReturnAddressOf(frame);
    if (isForbidden || isOfHeap) calls.mayThrow = false;
    if (isOfHeap) calls.isInHeapFunction = true;
    isInsideOfHeap = isOfHeap;
    calls.isHopeless = isForbidden && depth > mostForbiddenDepth;
    return ++depth < mostDepth && !calls.isHopeless;
  });
  return calls;
}

void AwaitReturn(std::uintptr_t* returnAddress) noexcept {
  awaited = {returnAddress, std::exchange(*returnAddress, AddressOfAwaitedReturn())};
}

bool TakeAwaitedReturn(ucontext_t& context) noexcept {
  AwaitedReturn const taken = std::exchange(awaited, AwaitedReturn());
  if (taken.place == nullptr) return false;
  if (InstructionPointer(context) == AddressOfAwaitedReturn()) {
    SetInstructionPointer(context, taken.address);
    return true;
  }
  // The call may have been left otherwise, by a jump for instance, and other things lie there now.
  if (*taken.place == AddressOfAwaitedReturn()) *taken.place = taken.address;
  return false;
}

}  // namespace ZaM::platform

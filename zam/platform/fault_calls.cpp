#include "zam/platform/fault_calls.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <gnu/libc-version.h>
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

/// Addresses of a loaded file.
struct LoadedFile {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;

  [[nodiscard]] bool Contains(std::uintptr_t address) const { return address - begin < end - begin; }
};
constinit LoadedFile cLibrary, loader;

/// Empty if this code is in the same file, as in a program that is linked statically.
LoadedFile FileWith(std::uintptr_t address) {
  dl_find_object found = {};
  if (_dl_find_object(reinterpret_cast<void*>(address), &found) != 0) return {};
  LoadedFile const file = {reinterpret_cast<std::uintptr_t>(found.dlfo_map_start),
                           reinterpret_cast<std::uintptr_t>(found.dlfo_map_end)};
  return file.Contains(AddressOf(&FindCLibrary)) ? LoadedFile() : file;
}

bool IsThrow(std::uintptr_t function) {
  return function == AddressOf(&abi::__cxa_throw) || function == AddressOf(&abi::__cxa_rethrow) ||
         function == AddressOf(&_Unwind_Resume);
}

// The return address that AwaitReturn has replaced.
struct AwaitedReturn {
  std::uintptr_t* place = nullptr;  // null if no return is awaited
  std::uintptr_t address = 0;       // what stood there
};
[[gnu::tls_model("initial-exec")]] thread_local constinit AwaitedReturn awaited;

}  // namespace

#if defined(__x86_64__)

// An illegal instruction, for calls to return to. A signal handler gets all registers, and gives them all back. An
// exception of the program's own that comes here ends the process: the unwinder looks at the byte before, which is of
// no function that it knows.
extern "C" void ZamAwaitedReturn();
asm(R"(
    .text
    nop
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

namespace {

bool IsOfSystem(std::uintptr_t function) {
  return cLibrary.Contains(function) || loader.Contains(function);
}

/// Whether the fault struck inside of the C library or the loader, where they may hold locks. Sorting and searching
/// hold none: they call functions of the program, which may have used up the stack and then never return.
bool IsInSystem(ucontext_t const& context) noexcept {
  bool isInside = false;
  bool callsBack = false;
  VisitFrames(context, [&](_Unwind_Context* frame, bool) {
    std::uintptr_t const function = _Unwind_GetRegionStart(frame);
    if (!IsOfSystem(function)) return false;
    isInside = true;
    callsBack = function == AddressOf(&qsort) || function == AddressOf(&qsort_r) || function == AddressOf(&bsearch);
    return !callsBack;
  });
  return isInside && !callsBack;
}

enum class Role { Program, Loader, CLibrary, Heap };

/// `isInSystem` says that this function and all those inside of it belong to the C library or the loader.
Role RoleOf(std::uintptr_t function, bool isInSystem) {
  if (IsOfHeap(function)) return Role::Heap;
  if (!isInSystem) return Role::Program;
  return cLibrary.Contains(function) ? Role::CLibrary : Role::Loader;
}

bool MayHoldLock(Role role) {
  return role == Role::CLibrary || role == Role::Heap;
}

/// Whether an exception may pass the function at this place. One that is still being entered lets it pass.
bool LetsThrow(_Unwind_Context* frame, bool isExact) {
  std::uintptr_t const function = _Unwind_GetRegionStart(frame);
  std::uintptr_t const offset = _Unwind_GetIP(frame) - function;
  HandlerTable const table(function, _Unwind_GetLanguageSpecificData(frame));
  if (isExact && table.IsBeforeAll(offset)) return true;
  return table.LetsThrow(isExact ? offset : offset - 1);
}

}  // namespace

void FindCLibrary() noexcept {
  cLibrary = FileWith(AddressOf(&gnu_get_libc_version));
  loader = FileWith(AddressOf(&_dl_find_object));
}

void ForgetThrow() noexcept {
  struct Globals {  // as the C++ ABI for Itanium has it
    void* caughtExceptions;
    unsigned int uncaughtExceptions;
  };
  auto& globals = *reinterpret_cast<Globals*>(abi::__cxa_get_globals());
  if (globals.uncaughtExceptions > 0) --globals.uncaughtExceptions;
}

FaultedCalls CallsAt(ucontext_t const& context) noexcept {
  constexpr int mostDepth = 64;  // more than what libraries put between a program's function and the fault
  FaultedCalls calls;
  int depth = 0;
  bool isInSystem = IsInSystem(context);
  Role callee = Role::Program;
  VisitFrames(context, [&](_Unwind_Context* frame, bool isExact) {
    std::uintptr_t const function = _Unwind_GetRegionStart(frame);
    isInSystem = isInSystem && IsOfSystem(function);
    Role const role = RoleOf(function, isInSystem);
    // The loader's outermost function holds no lock. Where it has bound a call, it returns after that call, which may
    // throw.
    bool const awaitsCallee = MayHoldLock(callee) || (callee == Role::Loader && isInSystem);
    bool const forbids = awaitsCallee || !LetsThrow(frame, isExact);
    if (forbids) calls.returnAddress = isExact ? nullptr : ReturnAddressOf(frame);
    if (forbids || MayHoldLock(role)) calls.mayThrow = false;
    if (role == Role::Heap) calls.isInHeapFunction = true;
    if (IsThrow(function)) calls.isInThrow = true;
    callee = role;
    return ++depth < mostDepth;
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

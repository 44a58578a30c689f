#include "zam/platform/fault_stack.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <ctime>

#include "zam/platform/stack.h"

namespace ZaM::platform {

namespace {

// The unwinder with all that it calls takes a few thousand bytes, the registers that a signal saves up to 11,000.
constexpr std::size_t alternativeSize = std::size_t{64} * 1024;
// Of a stack of the usual 8 MiB, 256 KiB.
constexpr std::uintptr_t stackPerReserve = 32;
constexpr std::uintptr_t leastReserve = std::uintptr_t{16} * 1024;
constexpr std::uintptr_t mostReserve = std::uintptr_t{256} * 1024;
// A main thread's stack of this size or more counts as one without an end.
constexpr std::uintptr_t mostStack = std::uintptr_t{1} << 30;

std::uintptr_t PageSize() {
  return static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
}

template <class Pointer>
std::uintptr_t Number(Pointer* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}
void* Pointer(std::uintptr_t address) {
  return reinterpret_cast<void*>(address);
}

/// Makes the main thread's stack, which the system extends as it is used, reach down to `low`. A system call may touch
/// what may turn out not to be there; nothing of what it writes is looked at.
void ExtendTo(std::uintptr_t low) noexcept {
  syscall(SYS_clock_gettime, CLOCK_MONOTONIC, Pointer(low));
}

void SetReserve(FaultStack& stack) noexcept {
  StackBounds const bounds = BoundsOfThisThread();
  stack.low = stack.reserveEnd = stack.lockedEnd = bounds.low;
  std::uintptr_t const here = Number(static_cast<char*>(__builtin_frame_address(0)));
  std::uintptr_t const size = bounds.top - bounds.low;
  std::uintptr_t const reserve = std::min(size / stackPerReserve, mostReserve) / PageSize() * PageSize();
  bool const isOwn = bounds.low < here && here < bounds.top;
  if (!isOwn || reserve < leastReserve || size >= mostStack || here - bounds.low < 2 * reserve) return;
  if (getpid() == gettid()) ExtendTo(bounds.low);
  if (mprotect(Pointer(bounds.low), reserve, PROT_NONE) == 0) stack.reserveEnd = stack.lockedEnd = bounds.low + reserve;
}

}  // namespace

bool ProvideFaultStack(FaultStack& stack) noexcept {
  if (sigaltstack(nullptr, &stack.before) != 0) return false;
  // One that the system disarms while it is in use would stay so, since an exception doesn't give it back.
  constexpr unsigned autoDisarm = 1u << 31;  // the C library doesn't name it
  constexpr unsigned unfit = SS_DISABLE | autoDisarm;
  bool const isEnough =
      (static_cast<unsigned>(stack.before.ss_flags) & unfit) == 0 && stack.before.ss_size >= alternativeSize;
  if (isEnough) {
    stack.alternative = stack.before;
  } else {
    std::uintptr_t const page = PageSize();
    // Below the stack a page that can't be touched, so that it doesn't run into somebody's memory itself.
    void* const mapping =
        mmap(nullptr, page + alternativeSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (mapping == MAP_FAILED) return false;
    stack.alternative.ss_sp = Pointer(Number(mapping) + page);
    stack.alternative.ss_size = alternativeSize;
    if (mprotect(stack.alternative.ss_sp, alternativeSize, PROT_READ | PROT_WRITE) != 0 ||
        sigaltstack(&stack.alternative, nullptr) != 0) {
      munmap(mapping, page + alternativeSize);
      return false;
    }
    stack.mapping = mapping;
  }
  SetReserve(stack);
  return true;
}

void WithdrawFaultStack(FaultStack& stack) noexcept {
  OpenReserve(stack);
  stack_t current = {};
  bool const isCurrent = sigaltstack(nullptr, &current) == 0 && current.ss_sp == stack.alternative.ss_sp;
  if (stack.mapping != nullptr && isCurrent) sigaltstack(&stack.before, nullptr);
  if (stack.mapping != nullptr) munmap(stack.mapping, PageSize() + alternativeSize);
  stack = {};
}

bool IsOnAlternativeStack(FaultStack const& stack, std::uintptr_t address) noexcept {
  return address - Number(static_cast<char*>(stack.alternative.ss_sp)) < stack.alternative.ss_size;
}

bool IsStackOverflow(FaultStack const& stack, std::uintptr_t address, std::uintptr_t stackPointer) noexcept {
  if (stack.low == 0) return false;
  // A large frame reaches beyond the end before it is touched; farther down there may be other stacks.
  constexpr std::uintptr_t mostFrame = std::uintptr_t{64} << 20;
  constexpr std::uintptr_t mostBelow = std::uintptr_t{64} * 1024;  // that is touched before it is taken
  bool const isOnStack = stackPointer + mostFrame >= stack.low;
  return isOnStack && address < stack.lockedEnd + PageSize() && address + mostBelow >= stackPointer;
}

bool OpenReserve(FaultStack& stack) noexcept {
  std::uintptr_t const size = stack.lockedEnd - stack.low;
  if (size == 0 || mprotect(Pointer(stack.low), size, PROT_READ | PROT_WRITE) != 0) return false;
  stack.lockedEnd = stack.low;
  return true;
}

void LockReserve(FaultStack& stack) noexcept {
  std::uintptr_t const here = Number(static_cast<char*>(__builtin_frame_address(0)));
  if (here < stack.low || IsOnAlternativeStack(stack, here)) return;
  // The next overflow mustn't come before this thread has left the functions that ended the last one.
  std::uintptr_t const end = std::min(stack.reserveEnd, (here - PageSize()) / PageSize() * PageSize());
  if (end <= stack.lockedEnd || mprotect(Pointer(stack.low), end - stack.low, PROT_NONE) != 0) return;
  stack.lockedEnd = end;
}

}  // namespace ZaM::platform

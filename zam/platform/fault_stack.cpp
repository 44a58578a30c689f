#include "zam/platform/fault_stack.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <ctime>

namespace ZaM::platform {

namespace {

// The unwinder with all that it calls takes a few thousand bytes, the registers that a signal saves up to 11,000.
constexpr std::size_t alternativeSize = 64 * 1024;
// Of a stack of the usual 8 MiB, 256 KiB.
constexpr std::uintptr_t stackPerReserve = 32;
constexpr std::uintptr_t leastReserve = 16 * 1024;
constexpr std::uintptr_t mostReserve = 256 * 1024;
// A main thread's stack of this size or more isn't held to be one that ends.
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

struct Bounds {
  std::uintptr_t low;
  std::uintptr_t top;
};

/// Of this thread's stack, without its guard pages; all 0 where the system doesn't tell.
Bounds StackBounds() noexcept {
  std::uintptr_t const page = PageSize();
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return {};
  void* lowest = nullptr;
  std::size_t size = 0;
  std::size_t guard = 0;
  bool const told = pthread_attr_getstack(&attributes, &lowest, &size) == 0 &&
                    pthread_attr_getguardsize(&attributes, &guard) == 0 && size > guard;
  pthread_attr_destroy(&attributes);
  if (!told) return {};
  // Whether the guard pages are counted as part of the stack depends on the version of the C library.
  std::uintptr_t const low = (Number(lowest) + guard + page - 1) / page * page;
  return {low, Number(lowest) + size};
}

/// Makes the main thread's stack, which the system extends as it is used, reach down to `low`. A system call may touch
/// what may turn out not to be there; nothing of what it writes is looked at.
void ExtendTo(std::uintptr_t low) noexcept {
  syscall(SYS_clock_gettime, CLOCK_MONOTONIC, Pointer(low));
}

void SetReserve(FaultStack& stack) noexcept {
  Bounds const bounds = StackBounds();
  stack.low = stack.reserveEnd = bounds.low;
  std::uintptr_t const here = Number(static_cast<char*>(__builtin_frame_address(0)));
  std::uintptr_t const size = bounds.top - bounds.low;
  std::uintptr_t const reserve = std::min(size / stackPerReserve, mostReserve) / PageSize() * PageSize();
  bool const isOwn = bounds.low < here && here < bounds.top;
  if (!isOwn || reserve < leastReserve || size >= mostStack || here - bounds.low < 2 * reserve) return;
  if (getpid() == gettid()) ExtendTo(bounds.low);
  stack.isLocked = mprotect(Pointer(bounds.low), reserve, PROT_NONE) == 0;
  if (stack.isLocked) stack.reserveEnd += reserve;
}

}  // namespace

bool ProvideFaultStack(FaultStack& stack) noexcept {
  if (sigaltstack(nullptr, &stack.before) != 0) return false;
  bool const isEnough = (stack.before.ss_flags & SS_DISABLE) == 0 && stack.before.ss_size >= alternativeSize;
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
  // A thread that ends inside of a signal handler still needs what it stands on.
  if (stack.mapping == nullptr || IsOnAlternativeStack(stack, Number(static_cast<char*>(__builtin_frame_address(0))))) {
    return;
  }
  stack_t current = {};
  if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == stack.alternative.ss_sp) {
    sigaltstack(&stack.before, nullptr);
  }
  munmap(stack.mapping, PageSize() + alternativeSize);
  stack = {};
}

bool IsOnAlternativeStack(FaultStack const& stack, std::uintptr_t address) noexcept {
  return address - Number(static_cast<char*>(stack.alternative.ss_sp)) < stack.alternative.ss_size;
}

bool IsStackOverflow(FaultStack const& stack, std::uintptr_t address, std::uintptr_t stackPointer) noexcept {
  if (stack.low == 0) return false;
  // A frame that is larger than this may step over the end of the stack unseen in any case.
  constexpr std::uintptr_t mostFrame = 64 * 1024;
  bool const isAtEnd =
      address + mostFrame >= stack.low && address < (stack.isLocked ? stack.reserveEnd : stack.low) + PageSize();
  return isAtEnd && address + mostFrame >= stackPointer;
}

bool OpenReserve(FaultStack& stack) noexcept {
  if (!stack.isLocked) return false;
  stack.isLocked = mprotect(Pointer(stack.low), stack.reserveEnd - stack.low, PROT_READ | PROT_WRITE) != 0;
  return !stack.isLocked;
}

void LockReserve(FaultStack& stack) noexcept {
  std::uintptr_t const here = Number(static_cast<char*>(__builtin_frame_address(0)));
  bool const isFree = here > stack.reserveEnd + PageSize() && !IsOnAlternativeStack(stack, here);
  bool const isThere = stack.reserveEnd != stack.low && !stack.isLocked;
  if (!isFree || !isThere) return;
  stack.isLocked = mprotect(Pointer(stack.low), stack.reserveEnd - stack.low, PROT_NONE) == 0;
}

}  // namespace ZaM::platform

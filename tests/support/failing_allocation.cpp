#include "tests/support/failing_allocation.h"

#include <cstdlib>
#include <new>

namespace {

// Negative when nothing is to fail. It stays at `failed` from the failure to the end of the FailingAllocation.
constexpr std::ptrdiff_t off = -1;
constexpr std::ptrdiff_t failed = -2;
thread_local constinit std::ptrdiff_t allocationsLeft = off;
thread_local constinit std::size_t allocatedBytes = 0;

void* allocate(std::size_t size) noexcept {
  allocatedBytes += size;
  if (allocationsLeft == 0) {
    allocationsLeft = failed;
    return nullptr;
  }
  if (allocationsLeft > 0) --allocationsLeft;
  return std::malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
  if (void* const memory = allocate(size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

// The whole program's; over-aligned objects keep the standard operators.
void* operator new(std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::nothrow_t const&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::nothrow_t const&) noexcept {
  std::free(memory);
}

namespace ZaM::test {

FailingAllocation::FailingAllocation(std::size_t n) {
  allocationsLeft = static_cast<std::ptrdiff_t>(n);
}

FailingAllocation::~FailingAllocation() {
  allocationsLeft = off;
}

bool FailingAllocation::HasFailed() const {
  return allocationsLeft == failed;
}

std::size_t AllocatedBytes() {
  return allocatedBytes;
}

}  // namespace ZaM::test

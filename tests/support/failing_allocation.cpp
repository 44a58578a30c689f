#include "tests/support/failing_allocation.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

// Negative when nothing is to fail. It stays at `failed` from the failure to the end of the FailingAllocation.
constexpr std::ptrdiff_t off = -1;
constexpr std::ptrdiff_t failed = -2;
thread_local constinit std::ptrdiff_t allocationsLeft = off;
thread_local constinit std::size_t allocatedBytes = 0;

void* allocate(std::size_t size, std::size_t alignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__) noexcept {
  allocatedBytes += size;
  if (allocationsLeft == 0) {
    allocationsLeft = failed;
    return nullptr;
  }
  if (allocationsLeft > 0) --allocationsLeft;
  std::size_t const least = std::max<std::size_t>(size, 1);
  if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) return std::malloc(least);
  return std::aligned_alloc(alignment, (least + alignment - 1) / alignment * alignment);
}

void* allocateOrThrow(std::size_t size, std::align_val_t alignment = {}) {
  auto const least = std::max(static_cast<std::size_t>(alignment), std::size_t{__STDCPP_DEFAULT_NEW_ALIGNMENT__});
  if (void* const memory = allocate(size, least)) return memory;
  throw std::bad_alloc();
}

}  // namespace

// The whole program's.
void* operator new(std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocateOrThrow(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocateOrThrow(size, alignment);
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
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
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

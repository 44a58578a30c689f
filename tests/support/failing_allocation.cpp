#include "tests/support/failing_allocation.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>

// What the C library, or the sanitizer in front of it, does for a program that has no allocator of its own.
#ifdef ZAM_SANITIZER_ALLOCATES
#define ZAM_ALLOCATOR(name) __interceptor_##name
#else
#define ZAM_ALLOCATOR(name) __libc_##name
#endif
extern "C" {
void* ZAM_ALLOCATOR(malloc)(std::size_t size);
void* ZAM_ALLOCATOR(calloc)(std::size_t count, std::size_t size);
void* ZAM_ALLOCATOR(realloc)(void* memory, std::size_t size);
[[gnu::weak]] void __lsan_ignore_object(void const* memory);
}

namespace {

using ZaM::test::Allocations;
using ZaM::test::Failures;

struct Injection {
  bool isOn = false;
  bool hasFailed = false;
  std::size_t left = 0;  // until the one that fails
  Failures failures = Failures::once;
  Allocations allocations = Allocations::ofNew;
};
thread_local constinit Injection injection;
thread_local constinit std::size_t allocatedBytes = 0;
thread_local constinit std::ptrdiff_t liveBlocks = 0;

bool isToFail() {
  if (!injection.isOn) return false;
  if (injection.hasFailed) return injection.failures == Failures::fromThenOn;
  injection.hasFailed = injection.left == 0;
  if (!injection.hasFailed) --injection.left;
  return injection.hasFailed;
}

bool isOnForC() {
  return injection.isOn && injection.allocations == Allocations::all;
}

bool isToFailInC() {
  if (!isOnForC() || !isToFail()) return false;
  errno = ENOMEM;
  return true;
}

/// libxml2 and iconv lose blocks of their own where the next ones fail: the leak checker is told to overlook all that C
/// libraries ask for meanwhile.
void* overlooked(void* memory) {
  if (isOnForC() && __lsan_ignore_object != nullptr) __lsan_ignore_object(memory);
  return memory;
}

void* allocate(std::size_t size, std::size_t alignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__) noexcept {
  allocatedBytes += size;
  if (isToFail()) return nullptr;
  ++liveBlocks;
  std::size_t const least = std::max<std::size_t>(size, 1);
  if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) return ZAM_ALLOCATOR(malloc)(least);
  return std::aligned_alloc(alignment, (least + alignment - 1) / alignment * alignment);
}

void* allocateOrThrow(std::size_t size, std::align_val_t alignment = {}) {
  auto const least = std::max(static_cast<std::size_t>(alignment), std::size_t{__STDCPP_DEFAULT_NEW_ALIGNMENT__});
  if (void* const memory = allocate(size, least)) return memory;
  throw std::bad_alloc();
}

void release(void* memory) noexcept {
  if (memory != nullptr) --liveBlocks;
  std::free(memory);
}

}  // namespace

// The whole program's, with the shared objects that it uses.
extern "C" {
void* malloc(std::size_t size) noexcept {
  return isToFailInC() ? nullptr : overlooked(ZAM_ALLOCATOR(malloc)(size));
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  return isToFailInC() ? nullptr : overlooked(ZAM_ALLOCATOR(calloc)(count, size));
}
void* realloc(void* memory, std::size_t size) noexcept {
  return isToFailInC() ? nullptr : overlooked(ZAM_ALLOCATOR(realloc)(memory, size));
}
}
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
  release(memory);
}
void operator delete[](void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  release(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(memory);
}
void operator delete(void* memory, std::nothrow_t const&) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::nothrow_t const&) noexcept {
  release(memory);
}

namespace ZaM::test {

FailingAllocation::FailingAllocation(std::size_t n, Failures failures, Allocations allocations) {
  injection = {true, false, n, failures, allocations};
}

FailingAllocation::~FailingAllocation() {
  injection.isOn = false;
}

void FailingAllocation::Stop() {
  injection.isOn = false;
}

bool FailingAllocation::HasFailed() const {
  return injection.hasFailed;
}

std::size_t AllocatedBytes() {
  return allocatedBytes;
}

std::ptrdiff_t LiveBlocks() {
  return liveBlocks;
}

}  // namespace ZaM::test

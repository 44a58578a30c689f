#include "zam/foundation/lock_file.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <thread>

#include "zam/foundation/library_texts.h"
#include "zam/platform/lock_file.h"

namespace ZaM {

using platform::LockFile;

namespace {

void* InvalidLock() {
  return reinterpret_cast<void*>(-1);
}

/// The program lies beside the library's satellites; none where the library's place isn't known.
wstring GuardProgram() {
  std::u16string_view const module = detail::LibraryModule()->GetPath();
  return wstring(module.substr(0, module.rfind(u'/') + 1)) + u"zam-lock-guard";
}

std::unique_ptr<LockFile> Take(wstring const& path, std::chrono::milliseconds waitTime, int retries) {
  wstring const guardProgram = GuardProgram();
  for (;; --retries) {
    auto [lock, mayBeRepeated] = LockFile::Take(path, guardProgram);
    if (lock || retries <= 0 || !mayBeRepeated) return std::move(lock);
    std::this_thread::sleep_for(waitTime);
  }
}

}  // namespace

void* ZamLockfileCreate(wstring const& path, int waitTime, int retries) {
  try {
    std::unique_ptr<LockFile> lock = Take(path, std::chrono::milliseconds(std::max(waitTime, 0)), retries);
    return lock ? lock.release() : InvalidLock();
  } catch (std::bad_alloc const&) {
    return InvalidLock();
  }
}

void ZamLockfileRelease(void* handle) {
  if (handle != InvalidLock()) delete static_cast<LockFile*>(handle);
}

}  // namespace ZaM

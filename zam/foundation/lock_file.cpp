#include "zam/foundation/lock_file.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <thread>

#include "zam/foundation/lock_attempts.h"
#include "zam/platform/lock_file.h"

namespace ZaM {

using platform::LockFile;

namespace {

void* invalidLock() {
  return reinterpret_cast<void*>(-1);
}

}  // namespace

void* ZamLockfileCreate(wstring const& path, int waitTime, int retries) {
  try {
    auto const attempt = [&path] { return LockFile::Take(path); };
    auto const sleep = [time = std::chrono::milliseconds(std::max(waitTime, 0))] { std::this_thread::sleep_for(time); };
    std::unique_ptr<LockFile> lock = detail::AttemptRepeatedly(retries, attempt, sleep);
    return lock ? lock.release() : invalidLock();
  } catch (std::bad_alloc const&) {
    return invalidLock();
  }
}

void ZamLockfileRelease(void* handle) {
  if (handle != invalidLock()) delete static_cast<LockFile*>(handle);
}

}  // namespace ZaM

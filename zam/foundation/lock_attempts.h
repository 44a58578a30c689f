// How often a lock is tried for.
#ifndef ZAM_FOUNDATION_LOCK_ATTEMPTS_H
#define ZAM_FOUNDATION_LOCK_ATTEMPTS_H

#include <memory>
#include <utility>

#include "zam/platform/lock_file.h"

namespace ZaM::detail {

/// Calls `attempt` up to `retries` + 1 times, with a `sleep` between one and the next; a negative number is like 0.
/// Null if the lock wasn't taken.
template <class Attempt, class Sleep>
std::unique_ptr<platform::LockFile> AttemptRepeatedly(int retries, Attempt attempt, Sleep sleep) {
  for (;; --retries) {
    platform::LockAttempt outcome = attempt();
    if (outcome.lock || retries <= 0 || !outcome.mayBeRepeated) return std::move(outcome.lock);
    sleep();
  }
}

}  // namespace ZaM::detail

#endif

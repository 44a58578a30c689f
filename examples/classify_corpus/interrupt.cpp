#include "interrupt.h"

#include <zam/zam.h>

#include <atomic>
#include <csignal>

namespace classify {

namespace {

std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal may come while another thread looks");

extern "C" void RememberInterrupt(int /*signal*/) {
  interrupted = true;
}

}  // namespace

void CatchInterrupt() {
  struct sigaction action = {};
  action.sa_handler = RememberInterrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (int const signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

bool IsInterrupted() {
  return interrupted;
}

void StopIfInterrupted(CancelId id) {
  if (IsInterrupted()) throw ZaM::UserCanceledException(static_cast<std::int32_t>(id));
}

}  // namespace classify

#include "interrupt.h"

#include <csignal>

namespace classify {

namespace {

std::sig_atomic_t volatile interrupted = 0;

extern "C" void RememberInterrupt(int /*signal*/) {
  interrupted = 1;
  std::signal(SIGINT, SIG_DFL);
}

}  // namespace

void CatchInterrupt() {
  std::signal(SIGINT, RememberInterrupt);
}

bool IsInterrupted() {
  return interrupted != 0;
}

}  // namespace classify

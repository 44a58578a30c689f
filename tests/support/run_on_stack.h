// Runs a function on a thread with a stack of a chosen size.
#ifndef TESTS_SUPPORT_RUN_ON_STACK_H
#define TESTS_SUPPORT_RUN_ON_STACK_H

#include <pthread.h>

#include <cstddef>
#include <functional>
#include <stdexcept>

namespace ZaM::test {

/// Runs `function`, which must not throw, on a stack of `bytes` bytes, and waits for its end. The program's
/// thread-local variables lie on it too; throws if they leave no room.
inline void RunOnStack(std::size_t bytes, std::function<void()> function) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, bytes);
  pthread_t thread;
  auto const run = [](void* called) -> void* {
    (*static_cast<std::function<void()>*>(called))();
    return nullptr;
  };
  bool const started = pthread_create(&thread, &attributes, run, &function) == 0;
  pthread_attr_destroy(&attributes);
  if (!started) throw std::runtime_error("no thread with a stack of this size");
  pthread_join(thread, nullptr);
}

}  // namespace ZaM::test

#endif

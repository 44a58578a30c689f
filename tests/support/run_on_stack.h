// Runs a function on a thread with a stack of a chosen size.
#ifndef TESTS_SUPPORT_RUN_ON_STACK_H
#define TESTS_SUPPORT_RUN_ON_STACK_H

#include <link.h>
#include <pthread.h>

#include <cstddef>
#include <functional>
#include <stdexcept>

namespace ZaM::test {

/// How much of each thread's stack the thread-local variables of the program and its libraries take.
inline std::size_t ThreadLocalBytes() {
  std::size_t bytes = 0;
  auto const add = [](dl_phdr_info* object, std::size_t, void* sum) {
    for (int i = 0; i < object->dlpi_phnum; ++i) {
      if (object->dlpi_phdr[i].p_type == PT_TLS) *static_cast<std::size_t*>(sum) += object->dlpi_phdr[i].p_memsz;
    }
    return 0;
  };
  dl_iterate_phdr(add, &bytes);
  return bytes;
}

/// Runs `function`, which must not throw, on a stack of `bytes` bytes for itself, and waits for its end.
inline void RunOnStack(std::size_t bytes, std::function<void()> function) {
  constexpr std::size_t page = 4096;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, (bytes + ThreadLocalBytes() + page - 1) / page * page);
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

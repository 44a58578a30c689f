// The leak check of the sanitizers passes over the blocks of the dynamic linker, but doesn't know them any more when
// they come from this program's own malloc (failing_allocation.cpp).
extern "C" [[gnu::visibility("default")]] char const* __lsan_default_suppressions();

// ThreadSanitizer doesn't know pthread_clockjoin_np, and takes threads that it joined for lost.
extern "C" [[gnu::visibility("default")]] char const* __tsan_default_suppressions();

char const* __lsan_default_suppressions() {
  return "leak:ld-linux\n";
}

char const* __tsan_default_suppressions() {
  return "thread:ZaM::platform::Thread::Create\n";
}

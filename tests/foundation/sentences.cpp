// A program that catches a failure of the library at every stage of a process and prints its sentence: one line each.
#include <stdlib.h>

#include <cstdio>

#include "zam/foundation/exceptions.h"
#include "zam/platform/unicode.h"

namespace {

void Say(char const* stage) {
  try {
    throw ZaM::BaseException(5);
  } catch (ZaM::BaseException const& failure) {
    std::printf("%s: %s\n", stage, ZaM::platform::Utf8FromUtf16(failure.GetErrorDescription()).c_str());
  }
}

/// Runs before the static objects of any shared library are built. What it leaves to on_exit belongs to no library, so
/// that it runs after all of them are destroyed.
void BeforeTheLibrary(int, char**, char**) {
  on_exit([](int, void*) { Say("after the library"); }, nullptr);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const first)(int, char**, char**) = BeforeTheLibrary;

struct StaticObject {
  StaticObject() { Say("construction"); }
  ~StaticObject() { Say("destruction"); }
} const object;

}  // namespace

int main() {
  Say("main");
}

// How a fuzz target says that something is wrong.
#ifndef FUZZ_REQUIRE_H
#define FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

/// Ends the process unless it holds; says which rule is broken, if it is named.
inline void Require(bool holds, char const* rule = nullptr) {
  if (holds) return;
  if (rule != nullptr) std::fprintf(stderr, "broken: %s\n", rule);
  std::abort();
}

#endif

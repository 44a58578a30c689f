// How a fuzz target says that something is wrong.
#ifndef FUZZ_REQUIRE_H
#define FUZZ_REQUIRE_H

#include <cstdlib>

/// Ends the process unless it holds.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

#endif

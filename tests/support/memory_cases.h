// Tables of operations that do all of their work or nothing of it where memory runs out.
#ifndef TESTS_SUPPORT_MEMORY_CASES_H
#define TESTS_SUPPORT_MEMORY_CASES_H

#include <functional>
#include <vector>

#include "tests/support/failing_allocation.h"

namespace ZaM::test {

struct MemoryCase {
  char const* name;
  std::function<void()> operation;
  Outcomes outcomes = {};
};

/// Runs FailEachAllocation on one operation after the other. `state()` describes all that they could leave changed, in
/// a form that can be compared and printed; it stays the same where they fail.
template <class State>
void ExpectAllOrNothing(std::vector<MemoryCase> const& cases, State state) {
  for (MemoryCase const& each : cases) {
    SCOPED_TRACE(each.name);
    auto const before = state();
    auto const run = [&each] { each.operation(); };  // a copy of the function would need memory
    EXPECT_GT(FailEachAllocation(
                  run, [&] { EXPECT_EQ(state(), before); }, each.outcomes),
              0U);
  }
}

}  // namespace ZaM::test

#endif

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

/// One operation on a Subject. It has to do all of its work or nothing of it where memory runs out.
template <class Subject>
struct OperationCase {
  char const* name;
  void (*operate)(Subject& subject);
  Outcomes outcomes = {};
};

/// Runs FailEachAllocation on each operation, with a Subject of its own. `Observe()` of a Subject describes all that
/// the operations could leave changed, in a form that can be compared and printed: it stays the same where they fail,
/// and is in the end what it is where nothing fails.
template <class Subject>
void ExpectAllOrNothing(std::vector<OperationCase<Subject>> const& cases) {
  for (OperationCase<Subject> const& each : cases) {
    SCOPED_TRACE(each.name);
    Subject undisturbed, subject;
    each.operate(undisturbed);
    auto const before = subject.Observe();
    EXPECT_GT(FailEachAllocation([&] { each.operate(subject); }, [&] { EXPECT_EQ(subject.Observe(), before); },
                                 each.outcomes),
              0U);
    EXPECT_EQ(subject.Observe(), undisturbed.Observe());
  }
}

}  // namespace ZaM::test

#endif

// Makes chosen allocations fail, to see what an operation leaves behind then.
#ifndef TESTS_SUPPORT_FAILING_ALLOCATION_H
#define TESTS_SUPPORT_FAILING_ALLOCATION_H

#include <gtest/gtest.h>

#include <cstddef>

#include "zam/foundation/exceptions.h"

namespace ZaM::test {

/// While it lives, allocation number `n` (from 0) of this thread through `operator new` fails; those before and after
/// it don't. Other threads are left alone. One at a time per thread.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t n);
  FailingAllocation(FailingAllocation const&) = delete;
  ~FailingAllocation();

  /// Whether it has come to allocation number `n`.
  bool HasFailed() const;
};

/// How many bytes this thread has asked `operator new` for so far.
std::size_t AllocatedBytes();

/// The id of the BaseException in which `operation` ends; 0 if it ends in none.
template <class Operation>
std::int32_t FailureId(Operation operation) {
  try {
    operation();
    return 0;
  } catch (BaseException const& failure) {
    return failure.GetErrorId();
  }
}

/// Runs `operation` with its first, its second, its third … allocation failing, up to the run that doesn't get as far.
/// The others must end in BaseException with id 5; `check` is called behind each of these. Returns their number, so
/// that a test can see that there were any.
template <class Operation, class Check>
std::size_t FailEachAllocation(Operation operation, Check check) {
  for (std::size_t n = 0;; ++n) {
    FailingAllocation const failing(n);
    std::int32_t const id = FailureId(operation);
    EXPECT_EQ(id, failing.HasFailed() ? 5 : 0) << "with allocation " << n << " failing";
    if (!failing.HasFailed()) return n;
    check();
  }
}

}  // namespace ZaM::test

#endif

// Makes chosen allocations fail, to see what an operation leaves behind then.
#ifndef TESTS_SUPPORT_FAILING_ALLOCATION_H
#define TESTS_SUPPORT_FAILING_ALLOCATION_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "zam/foundation/exceptions.h"

namespace ZaM::test {

enum class Failures { once, fromThenOn };

/// `all` counts what C libraries ask malloc, calloc and realloc for as well, libxml2 and zlib among them.
enum class Allocations { ofNew, all };

/// While it lives, allocation number `n` (from 0) of this thread fails, or that one and all after it. Other threads
/// are left alone. One at a time per thread.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t n, Failures failures = Failures::once,
                             Allocations allocations = Allocations::ofNew);
  FailingAllocation(FailingAllocation const&) = delete;
  ~FailingAllocation();

  /// From here on nothing fails any more.
  void Stop();

  /// Whether it has come to allocation number `n`.
  bool HasFailed() const;
};

/// How many bytes this thread has asked `operator new` for so far.
std::size_t AllocatedBytes();

/// How many blocks this thread has from `operator new` and hasn't given back: negative where it frees those of others.
std::ptrdiff_t LiveBlocks();

/// What FailureId gives for a std::bad_alloc, which no operation may let through.
inline constexpr std::int32_t badAlloc = -1;

/// The id of the BaseException in which `operation` ends; 0 if it ends in none.
template <class Operation>
std::int32_t FailureId(Operation&& operation) {
  try {
    operation();
    return 0;
  } catch (BaseException const& failure) {
    return failure.GetErrorId();
  } catch (std::bad_alloc const&) {
    return badAlloc;
  }
}

/// What an operation may do where an allocation fails.
struct Outcomes {
  /// The ids that it may end in; 0 for one that does without what it didn't get.
  std::vector<std::int32_t> ids = {5};
  /// For one that is documented to keep something for later, or to change its object before it fails.
  bool mayKeepMemory = false;
  Allocations allocations = Allocations::ofNew;
};

/// Runs `operation` with its first, its second, its third … allocation failing, each time together with all that come
/// after it and then alone, up to the run that doesn't get as far. The others must end as `outcomes` says and leave
/// nothing allocated; `check` is called after each of these, with the id it ended in if it takes one. Returns the
/// number of allocations, so that a test can see that there were any.
template <class Operation, class Check>
std::size_t FailEachAllocation(Operation operation, Check check, Outcomes const& outcomes = {}) {
  for (std::size_t n = 0;; ++n) {
    for (Failures const failures : {Failures::fromThenOn, Failures::once}) {
      std::ptrdiff_t const blocks = LiveBlocks();
      FailingAllocation failing(n, failures, outcomes.allocations);
      std::int32_t const id = FailureId(operation);
      failing.Stop();
      std::ptrdiff_t const left = LiveBlocks() - blocks;
      testing::ScopedTrace const trace(
          __FILE__, __LINE__,
          "with allocation " + std::to_string(n) + (failures == Failures::once ? "" : " and all later ones"));
      if (!failing.HasFailed()) {
        EXPECT_EQ(id, 0) << "though it isn't reached";
        return n;
      }
      EXPECT_EQ(std::count(outcomes.ids.begin(), outcomes.ids.end(), id), 1) << "for id " << id;
      EXPECT_TRUE(left <= 0 || outcomes.mayKeepMemory) << left << " blocks are left";
      if constexpr (std::is_invocable_v<Check, std::int32_t>) {
        check(id);
      } else {
        check();
      }
    }
  }
}

}  // namespace ZaM::test

#endif

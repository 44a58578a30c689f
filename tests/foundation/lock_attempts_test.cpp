#include "zam/foundation/lock_attempts.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "tests/support/temporary_folder.h"

namespace ZaM::detail {
namespace {

using platform::LockAttempt;
using platform::LockFile;

TEST(LockAttempts, AreAsManyAsAllowedWithASleepBetweenThem) {
  test::TemporaryFolder const folder;
  struct Case {
    int retries;
    std::string outcomes;  // h: held by another, f: another failure, t: taken; the last one stays
    std::string expected;  // a: attempt, s: sleep
  };
  Case const cases[] = {
      {0, "h", "a"},       {-1, "h", "a"},    {INT_MIN, "h", "a"}, {1, "h", "asa"}, {3, "h", "asasasa"},
      {3, "f", "a"},       {0, "f", "a"},     {3, "hhf", "asasa"}, {0, "t", "a"},   {INT_MAX, "hht", "asasa"},
      {2, "hht", "asasa"}, {1, "hht", "asa"},
  };
  for (Case const& test : cases) {
    std::string log;
    std::size_t next = 0;
    auto const lock = AttemptRepeatedly(
        test.retries,
        [&]() -> LockAttempt {
          log += 'a';
          char const outcome = test.outcomes[next < test.outcomes.size() ? next++ : next - 1];
          if (outcome == 't') return LockFile::Take(folder.Wide("lock"));
          return {nullptr, outcome == 'h'};
        },
        [&] { log += 's'; });
    EXPECT_EQ(log, test.expected) << test.retries << test.outcomes;
    EXPECT_EQ(lock != nullptr, next > 0 && test.outcomes[next - 1] == 't') << test.retries << test.outcomes;
  }
}

}  // namespace
}  // namespace ZaM::detail

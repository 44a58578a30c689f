#include "zam/foundation/uuid.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/exceptions.h"

namespace ZaM {
namespace {

using test::FailureId;

bool operator==(_ZAMGUID const& a, _ZAMGUID const& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

constexpr _ZAMGUID known = {0xF81D4FAE, 0x7DEC, 0x11D0, {0xA7, 0x65, 0x00, 0xA0, 0xC9, 0x1E, 0x6B, 0xF6}};

TEST(Uuid, IsReadFromEitherCaseAndShownInLowerCase) {
  for (wchar const* const text : {u"f81d4fae-7dec-11d0-a765-00a0c91e6bf6", u"F81D4FAE-7DEC-11d0-A765-00A0C91E6BF6"}) {
    _ZAMGUID uuid = {};
    ZaMUuidFromString(text, &uuid);
    EXPECT_TRUE(uuid == known);
    EXPECT_TRUE(ZaMUuidToString(&uuid) == u"f81d4fae-7dec-11d0-a765-00a0c91e6bf6");
  }
}

TEST(Uuid, IsReadFromNoOtherForm) {
  wstring const text = u"f81d4fae-7dec-11d0-a765-00a0c91e6bf6";
  std::vector<wstring> wrong = {u"not a uuid",      u"{" + text + u"}",   u"f81d4fae7dec11d0a76500a0c91e6bf6",
                                text.substr(0, 35), text + wstring(1, 0), wstring(36, u'-')};
  for (std::size_t i = 0; i < text.size(); ++i) {
    // Neighbours of the digits and the letters, and a character whose low byte is a digit.
    for (wchar const stray : {u'/', u':', u'@', u'G', u'`', u'g', u'x', u' ', u'\0', u'\u0130', u'\uFF11'}) {
      wrong.push_back(text);
      wrong.back()[i] = stray;
    }
  }
  _ZAMGUID uuid = known;
  for (wstring const& each : wrong) EXPECT_EQ(FailureId([&] { ZaMUuidFromString(each, &uuid); }), 1);
  EXPECT_THROW(ZaMUuidFromString(u"", &uuid), std::out_of_range);
  EXPECT_TRUE(uuid == known);
  try {
    ZaMUuidFromString(u"not a uuid", &uuid);
  } catch (BaseException const& failure) {
    EXPECT_TRUE(failure.GetErrorDescription() == u"Invalid argument: Invalid UUID passed to ZaMUuidFromString.");
  }
}

TEST(Uuid, HoldsTheTimeOfItsMaking) {
  using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
  auto const now = [] {
    constexpr Ticks from1582To1970{0x01B21DD213814000};
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()) + from1582To1970;
  };
  auto const before = now();
  _ZAMGUID uuid = {};
  ZaMUuidCreate(&uuid);
  auto const after = now();
  EXPECT_EQ(uuid.data3 >> 12, 1) << "the version";
  EXPECT_EQ(uuid.data4[0] >> 6, 2) << "the variant";
  Ticks const time{(std::int64_t{uuid.data3} & 0xFFF) << 48 | std::int64_t{uuid.data2} << 32 | uuid.data1};
  EXPECT_GE(time, before - std::chrono::microseconds(1));
  EXPECT_LE(time, after + std::chrono::microseconds(2));
}

TEST(UuidThreads, GetDistinctOnes) {
  std::vector<std::vector<wstring>> made(4);
  std::vector<std::thread> threads;
  for (auto& texts : made) {
    threads.emplace_back([&texts] {
      for (int i = 0; i < 25'000; ++i) {
        _ZAMGUID uuid;
        ZaMUuidCreate(&uuid);
        texts.push_back(ZaMUuidToString(&uuid));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<wstring> distinct;
  std::set<wstring> distinctTimes;  // the rest is random in each thread, and would hide that a time came twice
  for (auto const& texts : made) {
    for (wstring const& text : texts) {
      distinct.insert(text);
      distinctTimes.insert(text.substr(0, 18));
    }
  }
  EXPECT_EQ(distinct.size(), 100'000u);
  EXPECT_EQ(distinctTimes.size(), 100'000u);
}

TEST(Uuid, HasAnotherClockSequenceInAForkedProcess) {
  auto const sequence = [] {
    _ZAMGUID uuid = {};
    ZaMUuidCreate(&uuid);
    return uuid.data4[0] << 8 | uuid.data4[1];
  };
  int const own = sequence();
  pid_t const child = fork();
  if (child == 0) _exit(sequence() == own ? 1 : 0);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "it inherits what the generator remembers, and would give the same UUIDs";
}

}  // namespace
}  // namespace ZaM

#include "zam/foundation/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>

#include "tests/support/run_on_stack.h"

namespace ZaM {
namespace {

using Pointers = std::vector<void const*>;

/// What a sort may see: keys looked up by number, since the elements are numbers in disguise; and what it compared.
struct Log {
  std::vector<int> keys;
  std::vector<std::pair<void const*, void const*>> pairs;
  bool isKept = true;
  std::size_t throwsAt = std::numeric_limits<std::size_t>::max();
  unsigned int lieIn = 0;  // one in so many comparisons
  std::mt19937 random;
};

void const* Element(std::size_t number) {
  return reinterpret_cast<void const*>(number);
}

int Compare(void const* left, void const* right, void const* context) {
  auto& log = *static_cast<Log*>(const_cast<void*>(context));
  if (log.pairs.size() == log.throwsAt) throw log.throwsAt;
  if (log.isKept) log.pairs.emplace_back(left, right);
  auto const key = [&](void const* element) { return log.keys.at(reinterpret_cast<std::size_t>(element)); };
  bool const lies = log.lieIn != 0 && log.random() % log.lieIn == 0;
  int const order = lies ? static_cast<int>(log.random() % 3) - 1 : (key(left) > key(right)) - (key(left) < key(right));
  return order < 0 ? std::numeric_limits<int>::min() : order;  // which can't be negated
}

enum Shape { random, fewKeys, equal, sorted, reversed, organPipe };
constexpr Shape shapes[] = {random, fewKeys, equal, sorted, reversed, organPipe};

Log Make(Shape shape, int count) {
  Log log;
  for (int i = 0; i < count; ++i) {
    auto const number = static_cast<int>(log.random() >> 1);
    int const keys[] = {number, number % 4, 7, i, -i, std::min(i, count - i)};
    log.keys.push_back(keys[shape]);
  }
  return log;
}

Pointers AllOf(Log const& log) {
  Pointers pointers;
  for (std::size_t i = 0; i < log.keys.size(); ++i) pointers.push_back(Element(i));
  return pointers;
}

/// FNV-1a over the numbers of elements.
struct Checksum {
  std::uint64_t value = 0xCBF29CE484222325;
  void Add(void const* element) { value = (value ^ reinterpret_cast<std::uintptr_t>(element)) * 0x100000001B3; }
  void Add(Log const& log) {
    for (auto const& [left, right] : log.pairs) Add(left), Add(right);
  }
};

// A sort written down step by step compared the same pairs when these sums were taken. Where one differs, programs see
// another order of comparisons, and of equal elements, than they were written for.
TEST(Sort, ComparesInTheOrderThatIsLaidDown) {
  auto const sumOf = [](auto sort) {
    Checksum sum;
    for (Shape const shape : shapes) {
      for (int const count : {0, 1, 2, 16, 17, 18, 19, 40, 101, 900}) {
        Log log = Make(shape, count);
        Pointers pointers = AllOf(log);
        sort(pointers.data(), count, &log);
        sum.Add(log);
        for (void const* const element : pointers) sum.Add(element);
      }
    }
    return sum.value;
  };
  auto const whole = [&](auto sort) { return sumOf([=](auto a, int n, Log* log) { sort(a, n, log, Compare); }); };
  auto const part = [&](auto sort) {
    return sumOf([=](auto a, int n, Log* log) { sort(a, n / 5, n - 2, log, Compare); });
  };
  EXPECT_EQ(whole(insort), 0x44BE435B91496AFBU);
  EXPECT_EQ(whole(q3sort), 0x394565B4CACDB1E5U);
  EXPECT_EQ(whole(q3sortb), 0x56A7C1D44135D6B5U);
  EXPECT_EQ(part(Q3sort), 0x628AF955CD7F9C17U);
  EXPECT_EQ(part(Q3sortb), 0xD73119620933941BU);
}

TEST(Sort, LooksAtNothingInAnEmptyOrInvertedRange) {
  constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min(), highest = ~lowest;
  for (std::int32_t const count : {0, -1, lowest}) {
    for (auto* const sort : {insort, q3sort, q3sortb}) sort(nullptr, count, nullptr, nullptr);
  }
  for (auto* const sort : {Q3sort, Q3sortb}) {
    sort(nullptr, highest, lowest, nullptr, nullptr);
    sort(nullptr, highest - 15, highest, nullptr, nullptr);
  }
}

TEST(Sort, NeedsLittleStackForALotOfElements) {
  for (auto* const sort : {q3sort, q3sortb}) {
    for (Shape const shape : shapes) {
      bool const isQuadratic = sort == q3sort ? shape >= sorted : shape == organPipe;
      Log log = Make(shape, isQuadratic ? 5'000 : 500'000);
      log.isKept = false;
      Pointers pointers = AllOf(log);
      auto const count = static_cast<std::int32_t>(pointers.size());
      test::RunOnStack(256 * 1024, [&] { sort(pointers.data(), count, &log, Compare); });
      auto const isBelow = [&](void const* a, void const* b) { return Compare(a, b, &log) < 0; };
      EXPECT_TRUE(std::is_sorted(pointers.begin(), pointers.end(), isBelow)) << shape;
      std::sort(pointers.begin(), pointers.end());
      EXPECT_TRUE(pointers == AllOf(log)) << shape;
    }
  }
}

TEST(Sort, KeepsEveryElementWhateverComparisonsDo) {
  for (auto* sort : {insort, q3sort, q3sortb}) {
    for (unsigned int round = 0; round < 6'000; ++round) {
      Log log = Make(shapes[round % 6], 100);
      log.throwsAt = round % 39;
      Pointers pointers = AllOf(log);
      EXPECT_THROW(sort(pointers.data() + 30, 40, &log, Compare), std::size_t) << round;
      log.throwsAt = std::numeric_limits<std::size_t>::max();
      log.lieIn = 1 + round % 20;
      log.random.seed(round);
      sort(pointers.data() + 30, 40, &log, Compare);
      std::sort(pointers.begin() + 30, pointers.begin() + 70);
      EXPECT_TRUE(pointers == AllOf(log)) << round;
      auto const isInside = [](auto const& pair) {
        return std::max(pair.first, pair.second) < Element(70) && std::min(pair.first, pair.second) >= Element(30);
      };
      EXPECT_TRUE(std::all_of(log.pairs.begin(), log.pairs.end(), isInside)) << round;
    }
  }
}

/// The first or last of the elements from `first` to `last` that equal `wanted`, or the place where it would stand, as
/// a search tells it.
std::int32_t Expected(std::vector<int> const& keys, int wanted, int first, int last, bool isFirst) {
  if (first > last || first < 0) return -2;
  auto const begin = keys.begin();
  auto const range = std::equal_range(begin + first, begin + last + 1, wanted);
  if (range.second == begin + first) return -3;
  if (range.first == begin + last + 1) return -4;
  auto const at = static_cast<std::int32_t>((isFirst ? range.first : range.second - 1) - begin);
  return range.first != range.second ? at : -5 - at;
}

TEST(Search, FindsTheEndsOfEqualElementsOrTheirPlace) {
  std::mt19937 random(1);
  Checksum compared;
  for (int round = 0; round < 5'000; ++round) {
    Log log;
    log.keys.resize(1 + random() % 12);
    for (int& key : log.keys) key = static_cast<int>(random() % 8);
    std::sort(log.keys.begin(), log.keys.end());
    Pointers pointers = AllOf(log);
    auto const count = static_cast<int>(log.keys.size());
    int const first = static_cast<int>(random()) % 3 - 1, last = count - 1 - static_cast<int>(random() % 3);
    log.keys.push_back(static_cast<int>(random() % 8));  // what is wanted, which is none of the elements
    void const* const wanted = Element(pointers.size());
    for (bool const isFirst : {true, false}) {
      auto* const find = isFirst ? binsearchL : binsearchU;
      EXPECT_EQ(find(pointers.data(), first, last, wanted, &log, Compare),
                Expected(log.keys, log.keys.back(), first, last, isFirst));
    }
    compared.Add(log);
  }
  EXPECT_EQ(compared.value, 18427636078434307897U) << "what is compared, in this order, is laid down";
}

}  // namespace
}  // namespace ZaM

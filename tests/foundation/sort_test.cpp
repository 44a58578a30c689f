#include "zam/foundation/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

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

/// The sorts, written down step by step.
struct Plain {
  Pointers& a;
  Log& log;

  int compare(void const* left, void const* right) { return Compare(left, right, &log); }
  void swap(int i, int j) { std::swap(a[static_cast<std::size_t>(i)], a[static_cast<std::size_t>(j)]); }
  void const*& at(int i) { return a[static_cast<std::size_t>(i)]; }

  void insertion() {
    for (int i = 1; i < static_cast<int>(a.size()); ++i) {
      void const* const v = at(i);
      int j = i;
      for (; j > 0 && compare(at(j - 1), v) > 0; --j) at(j) = at(j - 1);
      at(j) = v;
    }
  }

  void threeWay(int l, int r) {
    if (r - l <= 15) return;
    int i = l - 1, j = r, p = l - 1, q = r;
    while (true) {
      i = i + 1;
      while (i < r && compare(at(i), at(r)) < 0) i = i + 1;
      j = j - 1;
      while (compare(at(r), at(j)) < 0) {
        j = j - 1;
        if (j == l) break;
      }
      if (i >= j) break;
      swap(i, j);
      if (compare(at(i), at(r)) == 0) swap(p = p + 1, i);
      if (compare(at(j), at(r)) == 0) swap(q = q - 1, j);
    }
    swap(i, r);
    j = i - 1;
    i = i + 1;
    for (int k = l; k < p; k++, j--) swap(k, j);
    for (int k = r - 1; k > q; k--, i++) swap(i, k);
    threeWay(l, j);
    threeWay(i, r);
  }

  void twoWay(int l, int r) {
    if (r - l <= 15) return;
    swap(l, (l + r) >> 1);
    void const* const v = at(l);
    int i = l, j = r + 1;
    while (true) {
      do i = i + 1;
      while (i < r && compare(at(i), v) < 0);
      do j = j - 1;
      while (j != l && compare(v, at(j)) < 0);
      if (i >= j) break;
      swap(i, j);
    }
    swap(l, j);
    twoWay(l, j);
    twoWay(i, r);
  }
};

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

TEST(Sort, ComparesInTheOrderThatIsLaidDown) {
  struct {
    char const* name;
    void (*ours)(void const**, int, Log*);
    void (*plain)(Plain, int);
  } const sorts[] = {
      {"insort", [](auto a, int n, Log* log) { insort(a, n, log, Compare); }, [](Plain s, int) { s.insertion(); }},
      {"q3sort", [](auto a, int n, Log* log) { q3sort(a, n, log, Compare); },
       [](Plain s, int n) { s.threeWay(0, n - 1), s.insertion(); }},
      {"q3sortb", [](auto a, int n, Log* log) { q3sortb(a, n, log, Compare); },
       [](Plain s, int n) { s.twoWay(0, n - 1), s.insertion(); }},
      {"Q3sort of a part", [](auto a, int n, Log* log) { Q3sort(a, n / 5, n - 2, log, Compare); },
       [](Plain s, int n) { s.threeWay(n / 5, n - 2); }},
      {"Q3sortb of a part", [](auto a, int n, Log* log) { Q3sortb(a, n / 5, n - 2, log, Compare); },
       [](Plain s, int n) { s.twoWay(n / 5, n - 2); }},
  };
  for (auto const& sort : sorts) {
    for (Shape const shape : shapes) {
      for (int const count : {0, 1, 2, 16, 17, 18, 19, 40, 101, 900}) {
        Log log = Make(shape, count);
        Log expectedLog = log;
        Pointers pointers = AllOf(log);
        Pointers expected = pointers;
        sort.ours(pointers.data(), count, &log);
        sort.plain(Plain{expected, expectedLog}, count);
        EXPECT_TRUE(log.pairs == expectedLog.pairs) << sort.name << ", " << shape << ", " << count;
        EXPECT_TRUE(pointers == expected) << sort.name << ", " << shape << ", " << count;
      }
    }
  }
}

TEST(Sort, LooksAtNothingInAnEmptyOrInvertedRange) {
  constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
  constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
  for (std::int32_t const count : {0, -1, lowest}) {
    for (auto* const sort : {insort, q3sort, q3sortb}) sort(nullptr, count, nullptr, nullptr);
  }
  for (auto* const sort : {Q3sort, Q3sortb}) {
    sort(nullptr, highest, lowest, nullptr, nullptr);
    sort(nullptr, highest - 15, highest, nullptr, nullptr);
  }
}

TEST(Sort, NeedsLittleStackForALotOfElements) {
  struct {
    void (*sort)(void const**, std::int32_t, void const*, Comparison);
    Shape shape;
    int count;
  } const cases[] = {{q3sort, random, 1'000'000},    {q3sort, fewKeys, 1'000'000}, {q3sort, equal, 1'000'000},
                     {q3sort, sorted, 5'000},        {q3sortb, random, 1'000'000}, {q3sortb, equal, 1'000'000},
                     {q3sortb, reversed, 1'000'000}, {q3sortb, organPipe, 5'000}};
  for (auto const& c : cases) {
    Log log = Make(c.shape, c.count);
    log.isKept = false;
    Pointers pointers = AllOf(log);
    test::RunOnStack(256 * 1024, [&] { c.sort(pointers.data(), c.count, &log, Compare); });
    auto const isBelow = [&](void const* a, void const* b) { return Compare(a, b, &log) < 0; };
    EXPECT_TRUE(std::is_sorted(pointers.begin(), pointers.end(), isBelow)) << c.shape;
    std::sort(pointers.begin(), pointers.end());
    EXPECT_TRUE(pointers == AllOf(log)) << c.shape;
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

/// A key is of another kind than elements: it says what it is, and every comparison is noted as "k0" or "0k".
struct Search {
  std::vector<int> keys;
  int wanted;
  mutable std::string trace;
};

int CompareWithKey(void const* left, void const* right, void const* context) {
  auto const& search = *static_cast<Search const*>(context);
  bool const keyIsLeft = left == context;
  auto const element = reinterpret_cast<std::size_t>(keyIsLeft ? right : left);
  search.trace += keyIsLeft ? " k" + std::to_string(element) : " " + std::to_string(element) + "k";
  int const order = search.wanted - search.keys[element];
  return keyIsLeft ? order : -order;
}

TEST(Search, FindsTheEndsOfEqualElementsOrTheirPlace) {
  struct {
    std::vector<int> keys;
    std::int32_t first;
    std::int32_t last;
    int wanted;
    std::int32_t lowest;
    char const* lowestTrace;
    std::int32_t highest;
    char const* highestTrace;
  } const cases[] = {
      {{10, 20, 30, 40}, 0, 3, 25, -7, " k0 k3 1k 2k 2k", -6, " k3 k0 2k 1k 1k"},
      {{10, 20, 30, 40}, 0, 3, 5, -3, " k0", -3, " k3 k0"},
      {{10, 20, 30, 40}, 0, 3, 45, -4, " k0 k3", -4, " k3"},
      {{10, 20, 30, 40}, 3, 2, 25, -2, "", -2, ""},
      {{10, 20, 30, 40}, -1, 3, 25, -2, "", -2, ""},
      {{1, 2, 2, 2, 3}, 0, 4, 2, 1, " k0 k4 1k 0k 1k", 3, " k4 k0 2k 3k 4k 3k"},
      {{7}, 0, 0, 7, 0, " k0", 0, " k0"},
      {{7}, 0, 0, 6, -3, " k0", -3, " k0 k0"},
      {{7}, 0, 0, 8, -4, " k0 k0", -4, " k0"},
      {{0, 1, 3, 9}, 1, 2, 2, -7, " k1 k2 1k 2k", -6, " k2 k1 2k 1k"},
      {{2, 2, 2}, 1, 2, 2, 1, " k1", 2, " k2"},
  };
  for (auto const& c : cases) {
    Search const search{c.keys, c.wanted, {}};
    Pointers pointers;
    for (std::size_t i = 0; i < c.keys.size(); ++i) pointers.push_back(Element(i));
    EXPECT_EQ(binsearchL(pointers.data(), c.first, c.last, &search, &search, CompareWithKey), c.lowest) << c.wanted;
    EXPECT_EQ(search.trace, c.lowestTrace) << c.wanted;
    search.trace.clear();
    EXPECT_EQ(binsearchU(pointers.data(), c.first, c.last, &search, &search, CompareWithKey), c.highest) << c.wanted;
    EXPECT_EQ(search.trace, c.highestTrace) << c.wanted;
  }
}

}  // namespace
}  // namespace ZaM

// Sorting a million pointers by keys behind them, against the sorts of the two standard libraries with the same
// comparison.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "zam/foundation/sort.h"

namespace {

constexpr std::int32_t elementCount = 1'000'000;

/// As large as a short string. Smaller ones fit caches better, where less is gained by asking for them early.
struct Record {
  std::uint32_t key;
  char payload[28];
};

using Records = std::vector<Record>;
using Pointers = std::vector<void const*>;

int ByKey(void const* left, void const* right, void const*) {
  auto const a = static_cast<Record const*>(left)->key;
  auto const b = static_cast<Record const*>(right)->key;
  return a < b ? -1 : a > b ? 1 : 0;
}

/// Called through a pointer that might change, as from code that doesn't know the order.
ZaM::Comparison volatile order = ByKey;

struct ZamThreeWay {
  static void Sort(Pointers& pointers) { ZaM::q3sort(pointers.data(), elementCount, nullptr, order); }
};

struct ZamTwoWay {
  static void Sort(Pointers& pointers) { ZaM::q3sortb(pointers.data(), elementCount, nullptr, order); }
};

struct StdSort {
  static void Sort(Pointers& pointers) {
    std::sort(pointers.begin(), pointers.end(),
              [compare = order](void const* left, void const* right) { return compare(left, right, nullptr) < 0; });
  }
};

struct QsortR {
  static void Sort(Pointers& pointers) {
    auto const compare = [](void const* left, void const* right, void* called) {
      auto const dereference = [](void const* place) { return *static_cast<void const* const*>(place); };
      return (*static_cast<ZaM::Comparison*>(called))(dereference(left), dereference(right), nullptr);
    };
    ZaM::Comparison called = order;
    qsort_r(pointers.data(), pointers.size(), sizeof(void*), compare, &called);
  }
};

/// Keys 0 to `distinct` - 1, each as often as the others.
Records SortedRecords(std::int32_t distinct) {
  Records records(elementCount);
  for (std::int64_t i = 0; i < elementCount; ++i) {
    records[static_cast<std::size_t>(i)].key = static_cast<std::uint32_t>(i * distinct / elementCount);
  }
  return records;
}

Records RandomRecords(std::int32_t distinct) {
  Records records = SortedRecords(distinct);
  std::shuffle(records.begin(), records.end(), std::mt19937(1));
  return records;
}

template <class Variant>
void Run(benchmark::State& state, Records const& records) {
  Pointers unsorted;
  for (auto const& record : records) unsorted.push_back(&record);
  Pointers pointers;
  for (auto _ : state) {
    state.PauseTiming();
    pointers = unsorted;
    state.ResumeTiming();
    Variant::Sort(pointers);
    benchmark::DoNotOptimize(pointers.data());
  }
  if (!std::is_sorted(pointers.begin(), pointers.end(),
                      [](void const* left, void const* right) { return ByKey(left, right, nullptr) < 0; })) {
    state.SkipWithError("not sorted");
  }
}

template <class Variant>
void Random(benchmark::State& state) {
  Run<Variant>(state, RandomRecords(elementCount));
}

template <class Variant>
void FewKeys(benchmark::State& state) {
  Run<Variant>(state, RandomRecords(10));
}

template <class Variant>
void Sorted(benchmark::State& state) {
  Run<Variant>(state, SortedRecords(elementCount));
}

BENCHMARK(Random<ZamTwoWay>)->Name("sort_random/zam")->Unit(benchmark::kMillisecond);
BENCHMARK(Random<ZamThreeWay>)->Name("sort_random/zam_three_way")->Unit(benchmark::kMillisecond);
BENCHMARK(Random<StdSort>)->Name("sort_random/std_sort")->Unit(benchmark::kMillisecond);
BENCHMARK(Random<QsortR>)->Name("sort_random/qsort_r")->Unit(benchmark::kMillisecond);

BENCHMARK(FewKeys<ZamThreeWay>)->Name("sort_few_keys/zam")->Unit(benchmark::kMillisecond);
BENCHMARK(FewKeys<ZamTwoWay>)->Name("sort_few_keys/zam_two_way")->Unit(benchmark::kMillisecond);
BENCHMARK(FewKeys<StdSort>)->Name("sort_few_keys/std_sort")->Unit(benchmark::kMillisecond);
BENCHMARK(FewKeys<QsortR>)->Name("sort_few_keys/qsort_r")->Unit(benchmark::kMillisecond);

BENCHMARK(Sorted<ZamTwoWay>)->Name("sort_sorted/zam")->Unit(benchmark::kMillisecond);
BENCHMARK(Sorted<StdSort>)->Name("sort_sorted/std_sort")->Unit(benchmark::kMillisecond);
BENCHMARK(Sorted<QsortR>)->Name("sort_sorted/qsort_r")->Unit(benchmark::kMillisecond);

}  // namespace

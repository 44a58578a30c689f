// The string hash on words and on a long text, against the loop that multiplies each number by its weight, and against
// xxHash's two forms of the day.
#include <benchmark/benchmark.h>
#include <xxhash.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "benchmarks/sample_text.h"
#include "zam/foundation/stringhash.h"
#include "zam/foundation/stringhash_table.h"

namespace {

using Strings = std::vector<std::string>;

std::string const& Text() {
  static std::string const text = sample::ToLatin1(sample::Writer().Write({sample::english}, 1'000'000));
  return text;
}

Strings const& Words() {
  static Strings const words = [] {
    std::istringstream stream(Text());
    Strings found;
    for (std::string word; stream >> word;) found.push_back(word);
    return found;
  }();
  return words;
}

Strings const& Pages() {
  static Strings const pages = [] {
    constexpr std::size_t size = 4096;
    Strings found;
    for (std::size_t i = 0; i + size <= Text().size(); i += size) found.push_back(Text().substr(i, size));
    return found;
  }();
  return pages;
}

Strings const& LongText() {
  static Strings const texts(1, Text());
  return texts;
}

struct Ours {
  std::uint64_t operator()(std::string const& text) const { return ZaM::stringhash().GetStringHash(text); }
};

std::uint32_t HashInPlainLoop(std::string const& text) {
  std::uint32_t hash = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    hash += static_cast<std::uint32_t>(2 * i + 1) * ZaM::detail::stringHashTable[static_cast<unsigned char>(text[i])];
  }
  return hash;
}

/// Called through a pointer that might change, as the functions of shared libraries are.
struct PlainLoop {
  std::uint64_t operator()(std::string const& text) const {
    static auto* volatile hash = HashInPlainLoop;
    return hash(text);
  }
};

/// Without multiplications, and from the end: what the library runs on processors without the instructions it likes.
std::uint32_t HashByAdditions(std::string const& text) {
  std::uint32_t sum = 0;
  std::uint32_t weighted = 0;
  for (std::size_t i = text.size(); i-- > 0;) {
    weighted += sum;
    sum += ZaM::detail::stringHashTable[static_cast<unsigned char>(text[i])];
  }
  return 2 * weighted + sum;
}

struct Additions {
  std::uint64_t operator()(std::string const& text) const {
    static auto* volatile hash = HashByAdditions;
    return hash(text);
  }
};

struct XxHash32 {
  std::uint64_t operator()(std::string const& text) const { return XXH32(text.data(), text.size(), 0); }
};

struct XxHash3 {
  std::uint64_t operator()(std::string const& text) const { return XXH3_64bits(text.data(), text.size()); }
};

template <class Hash>
void Measure(benchmark::State& state, Strings const& strings) {
  std::int64_t bytes = 0;
  for (auto const& text : strings) bytes += static_cast<std::int64_t>(text.size());
  for (auto _ : state) {
    for (auto const& text : strings) benchmark::DoNotOptimize(Hash()(text));
  }
  state.SetBytesProcessed(bytes * static_cast<std::int64_t>(state.iterations()));
}

template <class Hash>
void Short(benchmark::State& state) {
  Measure<Hash>(state, Words());
}

template <class Hash>
void Page(benchmark::State& state) {
  Measure<Hash>(state, Pages());
}

template <class Hash>
void Long(benchmark::State& state) {
  Measure<Hash>(state, LongText());
}

BENCHMARK(Short<Ours>)->Name("stringhash_short/zam");
BENCHMARK(Short<PlainLoop>)->Name("stringhash_short/plain_loop");
BENCHMARK(Short<Additions>)->Name("stringhash_short/additions");
BENCHMARK(Short<XxHash32>)->Name("stringhash_short/xxh32");
BENCHMARK(Short<XxHash3>)->Name("stringhash_short/xxh3");

BENCHMARK(Page<Ours>)->Name("stringhash_4096/zam");
BENCHMARK(Page<PlainLoop>)->Name("stringhash_4096/plain_loop");
BENCHMARK(Page<Additions>)->Name("stringhash_4096/additions");
BENCHMARK(Page<XxHash32>)->Name("stringhash_4096/xxh32");
BENCHMARK(Page<XxHash3>)->Name("stringhash_4096/xxh3");

BENCHMARK(Long<Ours>)->Name("stringhash_long/zam");
BENCHMARK(Long<PlainLoop>)->Name("stringhash_long/plain_loop");
BENCHMARK(Long<Additions>)->Name("stringhash_long/additions");
BENCHMARK(Long<XxHash32>)->Name("stringhash_long/xxh32");
BENCHMARK(Long<XxHash3>)->Name("stringhash_long/xxh3");

}  // namespace

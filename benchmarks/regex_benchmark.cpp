// Finding all matches in 1 MB of text, against the bare engine over its native wide characters: the same text, pattern
// and steps, with what the engine itself knows about case and letters. Both compile the pattern and keep all places.
#include <benchmark/benchmark.h>

#include <boost/regex.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/sample_text.h"
#include "zam/foundation/regex.h"

namespace {

struct Job {
  std::u16string pattern;
  bool ignoreCase;
};

std::u16string const& Text() {
  static std::u16string const text = sample::Writer().Write({sample::english, sample::german}, 1'000'000);
  return text;
}

void Ours(benchmark::State& state, Job const& job) {
  auto const& text = Text();
  for (auto _ : state) {
    ZaM::Regex regex(job.pattern, job.ignoreCase);
    benchmark::DoNotOptimize(regex.Match(text));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void Bare(benchmark::State& state, Job const& job) {
  std::wstring const text(Text().begin(), Text().end());
  std::wstring const pattern(job.pattern.begin(), job.pattern.end());
  using boost::regex_constants::match_not_initial_null;
  for (auto _ : state) {
    auto const flags = job.ignoreCase ? boost::regex::icase : boost::regex::normal;
    boost::wregex const expression(pattern, flags);
    std::vector<std::pair<std::ptrdiff_t, std::ptrdiff_t>> places;
    auto start = text.data();
    auto const end = start + text.size();
    for (boost::wcmatch what; boost::regex_search(start, end, what, expression, match_not_initial_null);
         start = what[0].second) {
      places.emplace_back(what[0].first - text.data(), what[0].length());
    }
    benchmark::DoNotOptimize(places.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

#define ZAM_REGEX_JOB(name, ...)                                                \
  BENCHMARK_CAPTURE(Ours, name, Job{__VA_ARGS__})->Name("regex_" #name "/zam"); \
  BENCHMARK_CAPTURE(Bare, name, Job{__VA_ARGS__})->Name("regex_" #name "/wregex")

ZAM_REGEX_JOB(literal, u"then", false);
ZAM_REGEX_JOB(literal_ignoring_case, u"then", true);
ZAM_REGEX_JOB(words, u"\\w+", false);
ZAM_REGEX_JOB(capitals, u"\\b[[:upper:]]\\w*", false);
ZAM_REGEX_JOB(numbers, u"\\d{2,}", false);
ZAM_REGEX_JOB(alternatives_ignoring_case, u"(?:the|and|ein|der)[a-z]*", true);
ZAM_REGEX_JOB(each_unit, u".", false);

}  // namespace

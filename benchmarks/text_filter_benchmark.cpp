// The text filter, on 10 MB of text and on many short texts, against three peers: a loop that only looks each unit up,
// which is as fast as any code that takes units one by one; the filter's rules followed step by step; and ICU's word
// break iterator on text with its case folded. `zam` is the filter as a program gets it, the `kernel_` variants are
// what this machine could have chosen.
#include <benchmark/benchmark.h>
#include <unicode/ubrk.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/sample_text.h"
#include "zam/foundation/ref.h"
#include "zam/text/ascii_text_filter.h"
#include "zam/text/block_kernel.h"
#include "zam/text/symbol_tables.h"

namespace {

using ZaM::AsciiTextFilter;
using ZaM::Ref;
using ZaM::detail::BlockKernel;
using Positions = std::vector<std::int32_t>;

constexpr std::size_t sampleBytes = 10'000'000;
constexpr std::size_t sampleUnits = sampleBytes / sizeof(char16_t);
constexpr unsigned char minWordLen = 2;

std::vector<unsigned char> const& SymbolTable() {
  static std::vector<unsigned char> const table = [] {
    std::vector<unsigned char> filled(65536);
    ZaM::detail::FillSymbolTable(true, filled.data());
    return filled;
  }();
  return table;
}

/// Texts, and room for whatever comes of one.
template <class Unit>
struct Sample {
  Sample(std::basic_string<Unit> units, std::size_t lengthOfTexts)
      : whole(std::move(units)), pieceLength(std::min(lengthOfTexts, whole.size())), out(4 * pieceLength + 3) {}

  unsigned int Length() const { return static_cast<unsigned int>(text.size()); }

  std::basic_string<Unit> const whole;
  std::size_t const pieceLength;
  std::basic_string_view<Unit> text;  // the one that is to be filtered
  std::vector<char> out;
  Positions positions;
};

std::size_t Index(char unit) {
  return static_cast<unsigned char>(unit);
}
std::size_t Index(char16_t unit) {
  return unit;
}

/// 16-bit text as ICU takes it; bytes have to be widened first.
std::u16string_view Widened(std::u16string_view text) {
  return text;
}
std::u16string Widened(std::string_view text) {
  std::u16string wide(text.size(), u'\0');
  std::transform(text.begin(), text.end(), wide.begin(), [](char unit) { return static_cast<char16_t>(Index(unit)); });
  return wide;
}

template <class Unit>
unsigned int TranslateOnly(Sample<Unit>& sample) {
  auto const* const symbols = SymbolTable().data();
  auto const* const text = sample.text.data();
  auto const length = sample.text.size();
  auto* const out = sample.out.data();
  for (std::size_t i = 0; i < length; ++i) out[i] = static_cast<char>(symbols[Index(text[i])]);
  return static_cast<unsigned int>(length);
}

/// The rules as they are told: skip separators, measure the word, copy it if it is long enough.
template <class Unit, bool withPositions>
unsigned int StepByStep(Sample<Unit>& sample) {
  auto const* const symbols = SymbolTable().data();
  auto const* const text = sample.text.data();
  auto const length = sample.text.size();
  auto* const out = sample.out.data();
  auto const outSize = sample.out.size();
  constexpr bool wide = sizeof(Unit) > 1;
  std::size_t i = 0;
  std::size_t o = 0;
  bool full = false;
  auto const note = [&] {
    if constexpr (withPositions) sample.positions.push_back(static_cast<std::int32_t>(i));
  };
  if constexpr (withPositions) sample.positions.clear();
  out[o++] = 0;
  note();
  while (i < length && !full && o < outSize - 2) {
    while (i < length && symbols[Index(text[i])] == 0) ++i;
    bool hasIdeograph = false;
    auto j = i;
    for (; j < length; ++j) {
      auto const symbol = symbols[Index(text[j])];
      if (symbol == 0) break;
      if (wide && symbol == 241) {
        hasIdeograph = true;
        break;
      }
    }
    if (j - i < minWordLen && !hasIdeograph) {
      i = j;
      continue;
    }
    for (unsigned char symbol = 1; i < length && symbol != 0; ++i) {
      symbol = symbols[Index(text[i])];
      if (wide && symbol == 241) {
        if (o < outSize - 5) {
          auto const value = static_cast<unsigned int>(Index(text[i])) - 0x2E80;
          bool const open = text[i] >= 0xD800 && text[i] <= 0xDBFF;
          char const encoded[] = {static_cast<char>(value / 1600 + 26), static_cast<char>(value / 40 % 40 + 26),
                                  static_cast<char>(value % 40 + 26), 0};
          for (int k = 0; k < (open ? 3 : 4); ++k) {
            out[o++] = encoded[k];
            note();
          }
        } else {
          full = true;
        }
        symbol = static_cast<unsigned char>(out[o - 1]);
      } else if (symbol != 1 && o < outSize - 1) {
        out[o++] = static_cast<char>(symbol);
        note();
      }
    }
  }
  if (out[o - 1] != 0) {
    out[o++] = 0;
    note();
  }
  if constexpr (withPositions) {
    if (sample.positions.size() > 2 && sample.positions[1] > 0) sample.positions[0] = sample.positions[1] - 1;
  }
  return static_cast<unsigned int>(o);
}

void Check(UErrorCode status) {
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

/// What a program would do with ICU: fold the text's case, iterate over its words, and keep each with a 0 after it.
class IcuWords {
 public:
  explicit IcuWords(std::size_t length) : folded(2 * length + 16), out(folded.size()) {
    UErrorCode status = U_ZERO_ERROR;
    iterator.reset(ubrk_open(UBRK_WORD, "en", nullptr, 0, &status));
    Check(status);
  }

  unsigned int operator()(std::u16string_view source, Positions* positions) {
    UErrorCode status = U_ZERO_ERROR;
    auto const length = u_strFoldCase(folded.data(), static_cast<std::int32_t>(folded.size()), source.data(),
                                      static_cast<std::int32_t>(source.size()), U_FOLD_CASE_DEFAULT, &status);
    ubrk_setText(iterator.get(), folded.data(), length, &status);
    Check(status);
    std::size_t o = 0;
    if (positions) positions->clear();
    auto start = ubrk_first(iterator.get());
    for (auto end = ubrk_next(iterator.get()); end != UBRK_DONE; start = end, end = ubrk_next(iterator.get())) {
      if (ubrk_getRuleStatus(iterator.get()) < UBRK_WORD_NONE_LIMIT || end - start < minWordLen) continue;
      for (auto i = start; i < end; ++i) {
        out[o++] = folded[static_cast<std::size_t>(i)];
        if (positions) positions->push_back(i);
      }
      out[o++] = 0;
      if (positions) positions->push_back(end);
    }
    return static_cast<unsigned int>(o);
  }

 private:
  struct Close {
    void operator()(UBreakIterator* open) const { ubrk_close(open); }
  };
  std::vector<char16_t> folded;
  std::vector<char16_t> out;
  std::unique_ptr<UBreakIterator, Close> iterator;
};

unsigned int Filter(AsciiTextFilter& filter, Sample<char>& sample, bool withPositions) {
  auto const size = static_cast<unsigned int>(sample.out.size());
  return withPositions
             ? filter.FilterTextA(sample.text.data(), sample.Length(), sample.out.data(), size, sample.positions)
             : filter.FilterTextA(sample.text.data(), sample.Length(), sample.out.data(), size);
}

unsigned int Filter(AsciiTextFilter& filter, Sample<char16_t>& sample, bool withPositions) {
  auto const size = static_cast<unsigned int>(sample.out.size());
  return withPositions
             ? filter.FilterTextW(sample.text.data(), sample.Length(), sample.out.data(), size, sample.positions)
             : filter.FilterTextW(sample.text.data(), sample.Length(), sample.out.data(), size);
}

/// Runs a job again and again; rates are those of the text's bytes.
template <class Unit, class Run>
void Measure(benchmark::State& state, Sample<Unit>& sample, Run run) {
  std::basic_string_view<Unit> const whole = sample.whole;
  for (auto _ : state) {
    for (std::size_t i = 0; i < whole.size(); i += sample.pieceLength) {
      sample.text = whole.substr(i, sample.pieceLength);
      benchmark::DoNotOptimize(run(sample));
      benchmark::ClobberMemory();
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(whole.size() * sizeof(Unit)) *
                          static_cast<std::int64_t>(state.iterations()));
}

template <class Unit>
void RegisterFamilies(std::string const& name, std::basic_string<Unit> text, std::size_t lengthOfTexts) {
  auto const sample = std::make_shared<Sample<Unit>>(std::move(text), lengthOfTexts);
  auto const words = std::make_shared<IcuWords>(sample->pieceLength);
  for (bool const withPositions : {false, true}) {
    auto const family = name + (withPositions ? "_positions/" : "/");
    auto const add = [&](std::string const& variant, auto run) {
      auto const measure = [sample, run](benchmark::State& state) { Measure(state, *sample, run); };
      benchmark::RegisterBenchmark((family + variant).c_str(), measure)->Unit(benchmark::kMillisecond);
    };
    auto const addFilter = [&](std::string const& variant, BlockKernel const* kernel) {
      Ref<AsciiTextFilter> filter(AsciiTextFilter::Create(minWordLen, true));
      ZaM::detail::TextFilterAccess::SetKernel(*filter, kernel);
      add(variant, [filter, withPositions](Sample<Unit>& from) { return Filter(*filter, from, withPositions); });
    };
    addFilter("zam", ZaM::detail::BestKernel());
    addFilter("kernel_none", nullptr);
    addFilter("kernel_portable", &ZaM::detail::portableKernel);
    for (auto const* const vector : {ZaM::detail::Vector256Kernel(), ZaM::detail::Vector512Kernel()}) {
      if (vector) addFilter(std::string("kernel_") + vector->name, vector);
    }
    add("table_lookup_only", TranslateOnly<Unit>);
    add("step_by_step", withPositions ? StepByStep<Unit, true> : StepByStep<Unit, false>);
    add("icu_words", [words, withPositions](Sample<Unit>& from) {
      return (*words)(Widened(from.text), withPositions ? &from.positions : nullptr);
    });
  }
}

bool const registered = [] {
  using namespace sample;
  Writer writer;
  auto const narrow = ToLatin1(writer.Write({english, english, german}, sampleBytes));
  auto const wide = writer.Write({english, english, german, russian, greek}, sampleUnits);
  RegisterFamilies("filter_narrow", narrow, sampleBytes);
  RegisterFamilies("filter_wide", wide, sampleUnits);
  RegisterFamilies("filter_ideographs", writer.WriteIdeographs(sampleUnits), sampleUnits);
  constexpr std::size_t lengths[] = {16, 31, 63, 200};
  for (auto const length : lengths) {
    RegisterFamilies("filter_narrow_" + std::to_string(length), narrow.substr(0, 400'000), length);
    RegisterFamilies("filter_wide_" + std::to_string(length), wide.substr(0, 400'000), length);
  }
  return true;
}();

}  // namespace

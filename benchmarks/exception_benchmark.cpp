// Making a failure and saying it in words, against the standard library's failure with a text, a path and a code.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <system_error>

#include "zam/foundation/exceptions.h"

namespace {

template <class Make>
void Describe(benchmark::State& state, Make make) {
  for (auto _ : state) benchmark::DoNotOptimize(make().GetErrorDescription());
}

void Standard(benchmark::State& state) {
  std::filesystem::path const path = "letters/inbox.xml";
  auto const code = std::make_error_code(std::errc::no_such_file_or_directory);
  for (auto _ : state) {
    std::filesystem::filesystem_error const failure("cannot open file", path, code);
    benchmark::DoNotOptimize(failure.what());
  }
}

ZaM::wstring const path = u"letters/inbox.xml";

BENCHMARK_CAPTURE(Describe, index, [] {
  return ZaM::OutOfBoundsException(ZaM::ErrorId::IndexOutOfRange, 7, 5);
})->Name("describe_index/zam");
BENCHMARK(Standard)->Name("describe_index/filesystem_error");
BENCHMARK_CAPTURE(Describe, file, [] {
  return ZaM::FileIOException(ZaM::ErrorId::FileOpen, path);
})->Name("describe_file/zam");
BENCHMARK(Standard)->Name("describe_file/filesystem_error");

}  // namespace

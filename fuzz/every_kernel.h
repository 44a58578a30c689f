// Runs a filter on every kernel, and compares what comes of it with the plainly told rules.
#ifndef FUZZ_EVERY_KERNEL_H
#define FUZZ_EVERY_KERNEL_H

#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include "fuzz/plain_filter.h"
#include "fuzz/vector_model.h"
#include "zam/text/ascii_text_filter.h"
#include "zam/text/block_kernel.h"

#define ZAM_VECTOR_FILTER inline
#include "zam/text/vector_filter.h"

namespace ZaM::test {

template <class Vector>
inline constexpr detail::BlockKernel modelKernel{"", detail::FilterByVectors<unsigned char, Vector>,
                                                 detail::FilterByVectors<char16_t, Vector>};

/// A way to filter. This machine may lack what one needs; the models stand in for it.
struct Kernel {
  char const* name;
  detail::BlockKernel const* kernel;
  bool runs;
};

inline std::vector<Kernel> Kernels() {
  auto const* const vector512 = detail::Vector512Kernel();
  auto const* const vector256 = detail::Vector256Kernel();
  return {{"StepByStep", nullptr, true},
          {"Portable", &detail::portableKernel, true},
          {"ModelOfAvx512", &modelKernel<VectorModel<64, 0, 64>>, true},
          {"ModelOfAvx2", &modelKernel<VectorModel<32, 8, 8>>, true},
          {"Avx512", vector512, vector512 != nullptr},
          {"Avx2", vector256, vector256 != nullptr}};
}

/// What differs between a filter on a kernel and the plain rules, with and without positions; empty if nothing does.
/// Text and buffer are allocated to the byte, for AddressSanitizer.
template <class Unit>
std::string Difference(AsciiTextFilter& filter, Kernel const& kernel, std::basic_string<Unit> const& units,
                       Settings settings, Stream const& expected) {
  detail::TextFilterAccess::SetKernel(filter, kernel.kernel);
  std::vector<Unit> const text(units.begin(), units.end());
  auto const run = [&](auto&&... rest) {
    auto const length = static_cast<unsigned int>(text.size());
    if constexpr (std::is_same_v<Unit, char>)
      return filter.FilterTextA(text.data(), length, rest...);
    else
      return filter.FilterTextW(text.data(), length, rest...);
  };
  for (bool const withPositions : {false, true}) {
    std::vector<char> out(static_cast<std::size_t>(settings.outSize), '#');
    auto const outSize = static_cast<unsigned int>(out.size());
    std::vector<std::int32_t> positions(3);
    auto const size = withPositions ? run(out.data(), outSize, positions) : run(out.data(), outSize);
    if (std::vector<unsigned char>(out.begin(), out.begin() + size) != expected.bytes) return "the stream";
    if (withPositions && positions != expected.positions) return "the positions";
    if (std::count(out.begin() + size, out.end(), '#') != out.end() - out.begin() - size) return "a trace";
  }
  return {};
}

}  // namespace ZaM::test

#endif

// Runs a filter in every way that this machine has, and compares what comes of it with the plainly told rules.
#ifndef TESTS_TEXT_EVERY_KERNEL_H
#define TESTS_TEXT_EVERY_KERNEL_H

#include <algorithm>
#include <string>
#include <vector>

#include "tests/text/plain_filter.h"
#include "zam/text/ascii_text_filter.h"
#include "zam/text/block_kernel.h"

namespace ZaM::test {

inline unsigned int Run(AsciiTextFilter& filter, std::vector<char> const& text, std::vector<char>& out,
                        std::vector<std::int32_t>* positions) {
  auto const length = static_cast<unsigned int>(text.size());
  auto const outSize = static_cast<unsigned int>(out.size());
  return positions ? filter.FilterTextA(text.data(), length, out.data(), outSize, *positions)
                   : filter.FilterTextA(text.data(), length, out.data(), outSize);
}

inline unsigned int Run(AsciiTextFilter& filter, std::vector<wchar> const& text, std::vector<char>& out,
                        std::vector<std::int32_t>* positions) {
  auto const length = static_cast<unsigned int>(text.size());
  auto const outSize = static_cast<unsigned int>(out.size());
  return positions ? filter.FilterTextW(text.data(), length, out.data(), outSize, *positions)
                   : filter.FilterTextW(text.data(), length, out.data(), outSize);
}

/// What differs between a filter of these settings and the plain rules, with and without positions, step by step and on
/// every kernel; empty if nothing does. Text and buffer are allocated to the byte, for AddressSanitizer.
template <class Unit>
std::string DifferenceFromPlainRules(AsciiTextFilter& filter, std::basic_string<Unit> const& units, Settings settings) {
  auto const expected = FilterPlainly(std::basic_string_view<Unit>(units), settings);
  std::vector<Unit> const text(units.begin(), units.end());
  std::vector<detail::BlockKernel const*> kernels{nullptr, &detail::portableKernel};
  if (auto const* const vector = detail::VectorKernel()) kernels.push_back(vector);
  for (auto const* const kernel : kernels) {
    detail::TextFilterAccess::SetKernel(filter, kernel);
    std::string const name = kernel ? kernel->name : "no kernel";
    for (bool const withPositions : {false, true}) {
      std::vector<char> out(static_cast<std::size_t>(settings.outSize), '#');
      std::vector<std::int32_t> positions(3);
      auto const size = Run(filter, text, out, withPositions ? &positions : nullptr);
      if (std::vector<unsigned char>(out.begin(), out.begin() + size) != expected.bytes) return name + ": the stream";
      if (withPositions && positions != expected.positions) return name + ": the positions";
      if (std::count(out.begin() + size, out.end(), '#') != out.end() - out.begin() - size) return name + ": a trace";
    }
  }
  return {};
}

}  // namespace ZaM::test

#endif

#include "zam/foundation/stringhash.h"

#include "zam/foundation/stringhash_kernel.h"
#include "zam/foundation/stringhash_table.h"

namespace ZaM {
namespace {

std::uint32_t NumberOf(char character) {
  return detail::stringHashTable[static_cast<unsigned char>(character)];
}

std::uint32_t NumberOf(wchar character) {
  return detail::stringHashTable[character & 0x3FF];
}

/// Adds up with the weights 1, 3, 5 … but without a multiplication per character, which took longer on long strings in
/// benchmarks/stringhash_benchmark: from the end to the start, the sum so far is added to `weighted` before each
/// character, so that the i-th number is added i times.
template <class Character>
std::uint32_t Hash(std::size_t length, Character const* text) {
  std::uint32_t sum = 0;
  std::uint32_t weighted = 0;
  for (std::size_t i = length; i-- > 0;) {
    weighted += sum;
    sum += NumberOf(text[i]);
  }
  return 2 * weighted + sum;
}

detail::StringHashKernel const& BestKernel() {
  static auto const* const vector = detail::Vector512StringHash();
  return vector ? *vector : detail::portableStringHash;
}

}  // namespace

detail::StringHashKernel const detail::portableStringHash{Hash<char>, Hash<wchar>};

std::uint32_t stringhash::GetStringHash(std::string const& text) const {
  return BestKernel().narrow(text.size(), text.data());
}

std::uint32_t stringhash::GetStringHash(std::uint32_t length, char const* text) const {
  return BestKernel().narrow(length, text);
}

std::uint32_t stringhash::GetStringHashW(wstring const& text) const {
  return BestKernel().wide(text.size(), text.data());
}

std::uint32_t stringhash::GetStringHashW(std::uint32_t length, wchar const* text) const {
  return BestKernel().wide(length, text);
}

}  // namespace ZaM

// The instructions of vector kernels, told once more byte by byte, so that what the kernels make of them can be tested
// on any machine. Whatever an instruction may touch beyond what it stores, the model spoils.
#ifndef FUZZ_VECTOR_MODEL_H
#define FUZZ_VECTOR_MODEL_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <valarray>

namespace ZaM::test {

template <unsigned int bytes, unsigned int bytesAfter, unsigned int numbersAfter>
struct VectorModel {
  static constexpr unsigned int width = bytes;
  static constexpr unsigned int spill = bytesAfter;
  using Register = std::array<unsigned char, width>;
  using Numbers = std::valarray<std::uint32_t>;
  using Table = unsigned char const*;
  using LatinTable = Table;
  struct SplitUnits {
    Register low, high;
  };

  // Not inlined, since GCC 12 would see reads past the end of a small buffer on ways that aren't taken.
  [[gnu::noinline]] static Register LoadFirst(void const* from, std::size_t count) {
    Register loaded{};
    std::copy_n(static_cast<unsigned char const*>(from), count, loaded.begin());
    return loaded;
  }
  static Register Load(void const* from) { return LoadFirst(from, width); }
  static void Store(Register const& stored, void* to) {
    std::copy(stored.begin(), stored.end(), static_cast<unsigned char*>(to));
  }
  static SplitUnits LoadUnits(char16_t const* from) {
    SplitUnits units;
    for (unsigned int i = 0; i < width; ++i) {
      units.low[i] = static_cast<unsigned char>(from[i]);
      units.high[i] = static_cast<unsigned char>(from[i] >> 8);
    }
    return units;
  }
  static Table LoadTable(unsigned char const* table) { return table; }
  static Table LoadLatinTable(unsigned char const* table) { return table; }
  static Register LookUp(Table table, Register at) {
    for (auto& byte : at) byte = table[byte];
    return at;
  }
  static std::uint64_t Between(Register const& in, unsigned char first, unsigned char last) {
    std::uint64_t mask = 0;
    for (unsigned int i = 0; i < width; ++i) mask |= std::uint64_t{in[i] >= first && in[i] <= last} << i;
    return mask;
  }
  static std::uint64_t Equal(Register const& in, unsigned char value) { return Between(in, value, value); }
  static Register Choose(std::uint64_t mask, Register const& chosen, Register others) {
    for (unsigned int i = 0; i < width; ++i) others[i] = mask >> i & 1 ? chosen[i] : others[i];
    return others;
  }
  static void StoreKept(std::uint64_t keep, Register const& in, void* to) {
    auto* next = static_cast<unsigned char*>(to);
    for (unsigned int i = 0; i < width; ++i) {
      if (keep >> i & 1) *next++ = in[i];
    }
    std::fill_n(next, spill, static_cast<unsigned char>(0xEE));
  }
  template <unsigned int shift>
  static void StorePlaces(std::uint64_t keep, unsigned int count, std::uint32_t first, std::int32_t* to) {
    auto* const end = to + numbersAfter;
    for (unsigned int i = 0; i < std::min(count, width); ++i) {
      if (keep >> i & 1) *to++ = static_cast<std::int32_t>(first + (i >> shift));
    }
    std::fill(to, std::max(to, end), -1);
  }
  static std::uint64_t SpreadBits(std::uint64_t bits) {
    std::uint64_t spread = 0;
    for (unsigned int i = 0; i < width / 4; ++i) spread |= (bits >> i & 1) << 4 * i;
    return spread;
  }
  template <class Unit>
  static Numbers LoadNumbers(Unit const* from) {
    Numbers numbers(width / 4);
    std::copy_n(from, width / 4, std::begin(numbers));
    return numbers;
  }
  static Register AsBytes(Numbers const& numbers) {
    Register stored;
    for (unsigned int i = 0; i < width; ++i) stored[i] = static_cast<unsigned char>(numbers[i / 4] >> 8 * (i % 4));
    return stored;
  }
};

}  // namespace ZaM::test

#endif

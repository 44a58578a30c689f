// 64 bytes at once, on x86-64 processors with AVX-512 VBMI2. Only code that asked `Available` may run any of it.
//
// Functions that use these carry ZAM_VECTOR512 themselves, so that all of it becomes one piece of code for those
// processors, while the rest of the library runs on any.
#ifndef ZAM_PLATFORM_VECTOR512_H
#define ZAM_PLATFORM_VECTOR512_H

#include <immintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>

#define ZAM_VECTOR512 \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2,avx512vnni,bmi,bmi2,popcnt")))
#define ZAM_VECTOR512_INLINE ZAM_VECTOR512 __attribute__((always_inline)) inline

namespace ZaM::platform {

namespace detail {

/// The numbers from 0 to 63, each divided by a power of two.
struct CountTo64 {
  alignas(64) unsigned char at[64];

  explicit constexpr CountTo64(unsigned int shift) : at() {
    for (unsigned int i = 0; i < 64; ++i) at[i] = static_cast<unsigned char>(i >> shift);
  }
};

template <unsigned int shift>
inline constexpr CountTo64 countTo64{shift};

}  // namespace detail

/// Each function is an instruction or a few. Masks have one bit per byte of a register, the lowest for the first.
struct Vector512 {
  using Register = __m512i;
  static constexpr unsigned int width = 64;  ///< bytes in a register
  static constexpr unsigned int spill = 0;   ///< bytes that StoreKept touches after those that it stores

  /// 16 numbers, with arithmetic that wraps around.
  using Numbers __attribute__((vector_size(64))) = std::uint32_t;

  /// The low and the high bytes of 64 units of 16 bits.
  struct SplitUnits {
    Register low;
    Register high;
  };

  /// A table of 256 bytes, held in registers.
  struct Table {
    Register quarters[4];
  };

  using LatinTable = Table;

  /// Whether this processor, and the system on it, can.
  static bool Available() {
    __builtin_cpu_init();  // a static object may ask before the compiler's own initialisation has run
    return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
           __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
           __builtin_cpu_supports("popcnt");
  }

  ZAM_VECTOR512_INLINE static Register Load(void const* from) { return _mm512_loadu_si512(from); }

  ZAM_VECTOR512_INLINE static void Store(Register bytes, void* to) { _mm512_storeu_si512(to, bytes); }

  /// Loads the first `count` bytes, 0 to 64, and touches nothing else; zeros after them.
  ZAM_VECTOR512_INLINE static Register LoadFirst(void const* from, std::size_t count) {
    return _mm512_maskz_loadu_epi8(FirstBits(count), from);
  }

  ZAM_VECTOR512_INLINE static SplitUnits LoadUnits(char16_t const* from) {
    return SplitUnitsOf(Load(from), Load(from + 32));
  }

  /// The bytes of 32 units each.
  ZAM_VECTOR512_INLINE static SplitUnits SplitUnitsOf(Register first, Register second) {
    auto const count = Load(detail::countTo64<0>.at);
    auto const even = _mm512_add_epi8(count, count);
    auto const odd = _mm512_add_epi8(even, _mm512_set1_epi8(1));
    return {_mm512_permutex2var_epi8(first, even, second), _mm512_permutex2var_epi8(first, odd, second)};
  }

  ZAM_VECTOR512_INLINE static Table LoadTable(unsigned char const* table) {
    return {{Load(table), Load(table + 64), Load(table + 128), Load(table + 192)}};
  }

  /// For the symbols of single bytes; other machines make use of what these are.
  ZAM_VECTOR512_INLINE static LatinTable LoadLatinTable(unsigned char const* table) { return LoadTable(table); }

  /// The table's entry for each byte.
  ZAM_VECTOR512_INLINE static Register LookUp(Table const& table, Register bytes) {
    auto const lower = _mm512_permutex2var_epi8(table.quarters[0], bytes, table.quarters[1]);
    auto const upper = _mm512_permutex2var_epi8(table.quarters[2], bytes, table.quarters[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(bytes), lower, upper);
  }

  /// One bit for each byte, set where the byte is `value`.
  ZAM_VECTOR512_INLINE static std::uint64_t Equal(Register bytes, unsigned char value) {
    return ForArithmetic(_mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(static_cast<char>(value))));
  }

  /// One bit for each byte, set where those of its bits that are set in `bits` are `value`.
  ZAM_VECTOR512_INLINE static std::uint64_t EqualLowBits(Register bytes, unsigned char bits, unsigned char value) {
    return Equal(_mm512_and_si512(bytes, _mm512_set1_epi8(static_cast<char>(bits))), value);
  }

  /// One bit for each byte, set where the byte lies from `first` to `last`.
  ZAM_VECTOR512_INLINE static std::uint64_t Between(Register bytes, unsigned char first, unsigned char last) {
    return _mm512_cmpge_epu8_mask(bytes, _mm512_set1_epi8(static_cast<char>(first))) &
           _mm512_cmple_epu8_mask(bytes, _mm512_set1_epi8(static_cast<char>(last)));
  }

  /// The bytes of `chosen` where `mask` is set, else those of `others`.
  ZAM_VECTOR512_INLINE static Register Choose(std::uint64_t mask, Register chosen, Register others) {
    return _mm512_mask_blend_epi8(mask, others, chosen);
  }

  /// The bytes where `mask` is set; zeros elsewhere.
  ZAM_VECTOR512_INLINE static Register Keep(std::uint64_t mask, Register bytes) {
    return _mm512_maskz_mov_epi8(mask, bytes);
  }

  /// The first `count` bits, 0 to 64.
  ZAM_VECTOR512_INLINE static std::uint64_t FirstBits(std::size_t count) {
    return _bzhi_u64(~std::uint64_t{0}, static_cast<unsigned int>(count));
  }

  /// Stores the bytes where `keep` is set, moved together, and touches nothing else.
  ZAM_VECTOR512_INLINE static void StoreKept(std::uint64_t keep, Register bytes, void* to) {
    auto const count = static_cast<unsigned int>(std::popcount(keep));
    _mm512_mask_storeu_epi8(to, FirstBits(count), _mm512_maskz_compress_epi8(keep, bytes));
  }

  /// Stores the places of the bytes where `keep` is set, divided by 2 to the power of `shift`, plus `first`. Bits of
  /// `keep` are set among the first `count` alone; touches up to 64 numbers.
  template <unsigned int shift>
  ZAM_VECTOR512_INLINE static void StorePlaces(std::uint64_t keep, unsigned int count, std::uint32_t first,
                                               std::int32_t* to) {
    auto const places = _mm512_maskz_compress_epi8(keep, Load(detail::countTo64<shift>.at));
    Store(AsBytes(Quarter<0>(places) + first), to);
    if (count > 16) Store(AsBytes(Quarter<1>(places) + first), to + 16);
    if (count <= 32) return;
    Store(AsBytes(Quarter<2>(places) + first), to + 32);
    Store(AsBytes(Quarter<3>(places) + first), to + 48);
  }

  /// Bit n of the low 16 becomes bit 4n.
  ZAM_VECTOR512_INLINE static std::uint64_t SpreadBits(std::uint64_t bits) {
    return _pdep_u64(bits, 0x1111111111111111);
  }

  ZAM_VECTOR512_INLINE static Register AsBytes(Numbers numbers) { return reinterpret_cast<Register>(numbers); }

  /// Adds to each number four bytes, each times a weight below 128.
  ZAM_VECTOR512_INLINE static Numbers AddProducts(Numbers sums, Register bytes, Register weights) {
    return reinterpret_cast<Numbers>(_mm512_dpbusd_epi32(AsBytes(sums), bytes, weights));
  }

  /// The first eight bytes as a number.
  ZAM_VECTOR512_INLINE static std::uint64_t FirstNumber(Register bytes) { return static_cast<std::uint64_t>(bytes[0]); }

  ZAM_VECTOR512_INLINE static std::uint32_t Total(Numbers numbers) {
    auto const half = _mm256_add_epi32(__builtin_shufflevector(AsBytes(numbers), AsBytes(numbers), 0, 1, 2, 3),
                                       __builtin_shufflevector(AsBytes(numbers), AsBytes(numbers), 4, 5, 6, 7));
    auto const quarter = _mm_add_epi32(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
    auto const pair = _mm_add_epi32(quarter, _mm_unpackhi_epi64(quarter, quarter));
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(pair)) + static_cast<std::uint32_t>(_mm_extract_epi32(pair, 1));
  }

  // GCC 12 warns of an uninitialised variable inside the plain form of the instructions here. With a mask of all ones,
  // the zeroing form does the same.

  ZAM_VECTOR512_INLINE static Numbers LoadNumbers(unsigned char const* from) {
    return Widened(_mm_loadu_si128(reinterpret_cast<__m128i const*>(from)));
  }

  ZAM_VECTOR512_INLINE static Numbers LoadNumbers(char16_t const* from) {
    auto const units = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from));
    return reinterpret_cast<Numbers>(_mm512_maskz_cvtepu16_epi32(0xFFFF, units));
  }

 private:
  ZAM_VECTOR512_INLINE static Numbers Widened(__m128i bytes) {
    return reinterpret_cast<Numbers>(_mm512_maskz_cvtepu8_epi32(0xFFFF, bytes));
  }

  /// 16 of the bytes.
  template <unsigned int quarter>
  ZAM_VECTOR512_INLINE static Numbers Quarter(Register bytes) {
    return Widened(__builtin_shufflevector(bytes, bytes, 2 * quarter, 2 * quarter + 1));
  }

  /// Says that a mask will be counted with: GCC 12 moves it back and forth between the kinds of registers else.
  ZAM_VECTOR512_INLINE static std::uint64_t ForArithmetic(std::uint64_t mask) {
    asm("" : "+r"(mask));
    return mask;
  }
};

}  // namespace ZaM::platform

#endif

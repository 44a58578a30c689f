// 64 bytes at once, on x86-64 processors with AVX-512 VBMI2. Only code that asked HasVector512 may run any of it.
//
// Functions that use these carry ZAM_VECTOR512 themselves, so that all of it becomes one piece of code for those
// processors, while the rest of the library runs on any.
#ifndef ZAM_PLATFORM_VECTOR512_H
#define ZAM_PLATFORM_VECTOR512_H

#include <immintrin.h>

#include <cstdint>

#define ZAM_VECTOR512 __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,bmi,bmi2,lzcnt,popcnt")))
#define ZAM_VECTOR512_INLINE ZAM_VECTOR512 __attribute__((always_inline)) inline

namespace ZaM::platform {

/// Whether this processor, and the system on it, can.
[[nodiscard]] inline bool HasVector512() {
  __builtin_cpu_init();  // a static object may ask before the compiler's own initialisation has run
  return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi") &&
         __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
}

using Bytes64 = __m512i;

/// 16 numbers, with arithmetic that wraps around.
using Numbers16 __attribute__((vector_size(64))) = std::uint32_t;

/// The low and the high bytes of 64 units of 16 bits.
struct SplitUnits {
  Bytes64 low;
  Bytes64 high;
};

/// A table of 256 bytes, held in registers.
struct ByteTable {
  Bytes64 quarters[4];
};

alignas(64) inline constexpr unsigned char countTo64[] = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
    22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43,
    44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 63};

ZAM_VECTOR512_INLINE Bytes64 Load64(void const* from) {
  return _mm512_loadu_si512(from);
}

ZAM_VECTOR512_INLINE void Store64(Bytes64 bytes, void* to) {
  _mm512_storeu_si512(to, bytes);
}

ZAM_VECTOR512_INLINE SplitUnits LoadUnits64(char16_t const* from) {
  auto const even = _mm512_add_epi8(Load64(countTo64), Load64(countTo64));
  auto const odd = _mm512_add_epi8(even, _mm512_set1_epi8(1));
  auto const first = Load64(from);
  auto const second = Load64(from + 32);
  return {_mm512_permutex2var_epi8(first, even, second), _mm512_permutex2var_epi8(first, odd, second)};
}

ZAM_VECTOR512_INLINE ByteTable LoadTable(unsigned char const* table) {
  return {{Load64(table), Load64(table + 64), Load64(table + 128), Load64(table + 192)}};
}

/// The table's entry for each of 64 bytes.
ZAM_VECTOR512_INLINE Bytes64 LookUp(ByteTable const& table, Bytes64 bytes) {
  auto const lower = _mm512_permutex2var_epi8(table.quarters[0], bytes, table.quarters[1]);
  auto const upper = _mm512_permutex2var_epi8(table.quarters[2], bytes, table.quarters[3]);
  return _mm512_mask_blend_epi8(_mm512_movepi8_mask(bytes), lower, upper);
}

/// One bit for each byte, set where the byte is `value`.
ZAM_VECTOR512_INLINE std::uint64_t EqualBytes(Bytes64 bytes, unsigned char value) {
  return _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(static_cast<char>(value)));
}

/// One bit for each byte, set where the byte lies from `first` to `last`.
ZAM_VECTOR512_INLINE std::uint64_t BytesBetween(Bytes64 bytes, unsigned char first, unsigned char last) {
  return _mm512_cmpge_epu8_mask(bytes, _mm512_set1_epi8(static_cast<char>(first))) &
         _mm512_cmple_epu8_mask(bytes, _mm512_set1_epi8(static_cast<char>(last)));
}

/// The bytes of `chosen` where `mask` is set, else those of `others`.
ZAM_VECTOR512_INLINE Bytes64 Choose(std::uint64_t mask, Bytes64 chosen, Bytes64 others) {
  return _mm512_mask_blend_epi8(mask, others, chosen);
}

/// The bytes where `mask` is set, moved together; zeros behind them.
ZAM_VECTOR512_INLINE Bytes64 Compact(std::uint64_t mask, Bytes64 bytes) {
  return _mm512_maskz_compress_epi8(mask, bytes);
}

/// Bit n of the low 16 becomes bit 4n.
ZAM_VECTOR512_INLINE std::uint64_t SpreadBits(std::uint64_t bits) {
  return _pdep_u64(bits, 0x1111111111111111);
}

/// Stores the first `count` bytes, 0 to 64, and touches nothing else.
ZAM_VECTOR512_INLINE void StoreFirst(Bytes64 bytes, unsigned int count, void* to) {
  _mm512_mask_storeu_epi8(to, _bzhi_u64(~std::uint64_t{0}, count), bytes);
}

ZAM_VECTOR512_INLINE Bytes64 AsBytes(Numbers16 numbers) {
  return reinterpret_cast<Bytes64>(numbers);
}

// GCC 12 warns of an uninitialised variable inside the plain form of the instructions here. With a mask of all ones,
// the zeroing form does the same.

ZAM_VECTOR512_INLINE Numbers16 LoadNumbers16(unsigned char const* from) {
  auto const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from));
  return reinterpret_cast<Numbers16>(_mm512_maskz_cvtepu8_epi32(0xFFFF, bytes));
}

ZAM_VECTOR512_INLINE Numbers16 LoadNumbers16(char16_t const* from) {
  auto const units = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from));
  return reinterpret_cast<Numbers16>(_mm512_maskz_cvtepu16_epi32(0xFFFF, units));
}

}  // namespace ZaM::platform

#endif

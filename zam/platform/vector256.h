// 32 bytes at once, on x86-64 processors with AVX2. Only code that asked `Available` may run any of it.
//
// Functions that use these carry ZAM_VECTOR256 themselves; see vector512.h, whose interface this is.
#ifndef ZAM_PLATFORM_VECTOR256_H
#define ZAM_PLATFORM_VECTOR256_H

#include <immintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#define ZAM_VECTOR256 __attribute__((target("avx2,bmi,bmi2,popcnt")))
#define ZAM_VECTOR256_INLINE ZAM_VECTOR256 __attribute__((always_inline)) inline

namespace ZaM::platform {

namespace detail {

/// For each mask of eight bits the places of the bits that are set, the lowest first, one per byte.
struct PlacesOfBits {
  std::uint64_t of[256];

  constexpr PlacesOfBits() : of() {
    for (unsigned int mask = 0; mask < 256; ++mask) {
      for (unsigned int bit = 0, count = 0; bit < 8; ++bit) {
        if (mask >> bit & 1) of[mask] |= std::uint64_t{bit} << 8 * count++;
      }
    }
  }
};

inline constexpr PlacesOfBits placesOfBits;

/// The places of 16 bytes, and then as many that a shuffle gives 0 for.
inline constexpr signed char places16AndNone[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                                  -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

}  // namespace detail

/// Each function is a few instructions. Masks have one bit per byte of a register, the lowest for the first.
struct Vector256 {
  using Register = __m256i;
  static constexpr unsigned int width = 32;  ///< bytes in a register
  static constexpr unsigned int spill = 8;   ///< bytes that StoreKept may touch after those that it stores

  /// Eight numbers, with arithmetic that wraps around.
  using Numbers __attribute__((vector_size(32))) = std::uint32_t;

  /// The low and the high bytes of 32 units of 16 bits.
  struct SplitUnits {
    Register low;
    Register high;
  };

  /// A table of 256 bytes, in 16 rows.
  struct Table {
    unsigned char const* entries;
  };

  /// The rows of the table of single bytes that aren't all 0, each as what changes in it against the row before.
  struct LatinTable {
    Register row3, row4, row5, row6, row7, row12, row13, row14, row15;
  };

  /// Whether this processor, and the system on it, can.
  static bool Available() {
    __builtin_cpu_init();  // a static object may ask before the compiler's own initialisation has run
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
           __builtin_cpu_supports("popcnt");
  }

  ZAM_VECTOR256_INLINE static Register Load(void const* from) {
    return _mm256_loadu_si256(static_cast<Register const*>(from));
  }

  ZAM_VECTOR256_INLINE static void Store(Register bytes, void* to) {
    _mm256_storeu_si256(static_cast<Register*>(to), bytes);
  }

  /// Loads the first `count` bytes, 0 to 32, and touches nothing else; zeros after them.
  ZAM_VECTOR256_INLINE static Register LoadFirst(void const* from, std::size_t count) {
    auto const* const bytes = static_cast<unsigned char const*>(from);
    if (count < 16) return _mm256_zextsi128_si256(LoadFirst16(bytes, count));
    auto const lower = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes));
    return _mm256_set_m128i(LoadLast16(bytes + count, count - 16), lower);
  }

  ZAM_VECTOR256_INLINE static SplitUnits LoadUnits(char16_t const* from) {
    auto const first = Load(from);
    auto const second = Load(from + 16);
    auto const lowBytes = _mm256_set1_epi16(0xFF);
    return {InOrder(_mm256_packus_epi16(_mm256_and_si256(first, lowBytes), _mm256_and_si256(second, lowBytes))),
            InOrder(_mm256_packus_epi16(_mm256_srli_epi16(first, 8), _mm256_srli_epi16(second, 8)))};
  }

  ZAM_VECTOR256_INLINE static Table LoadTable(unsigned char const* table) { return {table}; }

  ZAM_VECTOR256_INLINE static LatinTable LoadLatinTable(unsigned char const* table) {
    return {Changes(table, 3),  Changes(table, 4),  Changes(table, 5),  Changes(table, 6), Changes(table, 7),
            Changes(table, 12), Changes(table, 13), Changes(table, 14), Changes(table, 15)};
  }

  /// The table's entry for each byte: the low half of a byte finds it in every row, the high half the row.
  ZAM_VECTOR256_INLINE static Register LookUp(Table const& table, Register bytes) {
    auto const places = _mm256_and_si256(bytes, _mm256_set1_epi8(0xF));
    return LookUpRows<16>(table.entries, places, bytes);
  }

  /// The same with fewer steps, and without memory.
  ZAM_VECTOR256_INLINE static Register LookUp(LatinTable const& table, Register bytes) {
    // From row to row 16 less, so that a byte is negative in the rows after its own. There a shuffle gives 0; before,
    // the changes add up to its entry.
    auto const rowSize = _mm256_set1_epi8(16);
    auto const place3 = _mm256_subs_epi8(bytes, _mm256_set1_epi8(3 * 16));
    auto const place4 = _mm256_subs_epi8(place3, rowSize);
    auto const place5 = _mm256_subs_epi8(place4, rowSize);
    auto const place6 = _mm256_subs_epi8(place5, rowSize);
    auto const place7 = _mm256_subs_epi8(place6, rowSize);
    auto const place12 = _mm256_subs_epi8(_mm256_xor_si256(bytes, _mm256_set1_epi8(-128)), _mm256_set1_epi8(4 * 16));
    auto const place13 = _mm256_subs_epi8(place12, rowSize);
    auto const place14 = _mm256_subs_epi8(place13, rowSize);
    auto const place15 = _mm256_subs_epi8(place14, rowSize);
    auto const found = _mm256_xor_si256(
        _mm256_xor_si256(_mm256_shuffle_epi8(table.row3, place3), _mm256_shuffle_epi8(table.row4, place4)),
        _mm256_xor_si256(_mm256_shuffle_epi8(table.row5, place5), _mm256_shuffle_epi8(table.row6, place6)));
    auto const foundAbove = _mm256_xor_si256(
        _mm256_xor_si256(_mm256_shuffle_epi8(table.row12, place12), _mm256_shuffle_epi8(table.row13, place13)),
        _mm256_xor_si256(_mm256_shuffle_epi8(table.row14, place14), _mm256_shuffle_epi8(table.row15, place15)));
    return _mm256_xor_si256(_mm256_xor_si256(found, foundAbove), _mm256_shuffle_epi8(table.row7, place7));
  }

  /// One bit for each byte, set where the byte is `value`.
  ZAM_VECTOR256_INLINE static std::uint64_t Equal(Register bytes, unsigned char value) {
    return MaskOf(_mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(static_cast<char>(value))));
  }

  /// One bit for each byte, set where the byte lies from `first` to `last`.
  ZAM_VECTOR256_INLINE static std::uint64_t Between(Register bytes, unsigned char first, unsigned char last) {
    auto const atLeast = _mm256_max_epu8(bytes, _mm256_set1_epi8(static_cast<char>(first)));
    auto const clamped = _mm256_min_epu8(atLeast, _mm256_set1_epi8(static_cast<char>(last)));
    return MaskOf(_mm256_cmpeq_epi8(clamped, bytes));
  }

  /// The bytes of `chosen` where `mask` is set, else those of `others`.
  ZAM_VECTOR256_INLINE static Register Choose(std::uint64_t mask, Register chosen, Register others) {
    return _mm256_blendv_epi8(others, chosen, BytesOf(mask));
  }

  /// Stores the bytes where `keep` is set, moved together, and touches up to eight bytes after them.
  ZAM_VECTOR256_INLINE static void StoreKept(std::uint64_t keep, Register bytes, void* to) {
    auto* const target = static_cast<unsigned char*>(to);
    StoreKept16(keep, _mm256_castsi256_si128(bytes), target);
    StoreKept16(keep >> 16, _mm256_extracti128_si256(bytes, 1), target + std::popcount(keep & 0xFFFF));
  }

  /// Stores the places of the bytes where `keep` is set, divided by 2 to the power of `shift`, plus `first`. Bits of
  /// `keep` are set among the first `count` alone; touches up to eight numbers after those that it stores.
  template <unsigned int shift>
  ZAM_VECTOR256_INLINE static void StorePlaces(std::uint64_t keep, unsigned int count, std::uint32_t first,
                                               std::int32_t* to) {
    for (unsigned int i = 0; i < width && i < count; i += 8, keep >>= 8) {
      auto const places = LoadNumbers(reinterpret_cast<unsigned char const*>(&detail::placesOfBits.of[keep & 0xFF]));
      Store(AsBytes(((places + i) >> shift) + first), to);
      to += std::popcount(keep & 0xFF);
    }
  }

  /// Bit n of the low eight becomes bit 4n.
  ZAM_VECTOR256_INLINE static std::uint64_t SpreadBits(std::uint64_t bits) {
    bits &= 0xFF;
    bits = (bits | bits << 12) & 0x000F000F;
    bits = (bits | bits << 6) & 0x03030303;
    return (bits | bits << 3) & 0x11111111;
  }

  ZAM_VECTOR256_INLINE static Register AsBytes(Numbers numbers) { return reinterpret_cast<Register>(numbers); }

  ZAM_VECTOR256_INLINE static Numbers LoadNumbers(unsigned char const* from) {
    auto const bytes = _mm_loadl_epi64(reinterpret_cast<__m128i const*>(from));
    return reinterpret_cast<Numbers>(_mm256_cvtepu8_epi32(bytes));
  }

  ZAM_VECTOR256_INLINE static Numbers LoadNumbers(char16_t const* from) {
    auto const units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from));
    return reinterpret_cast<Numbers>(_mm256_cvtepu16_epi32(units));
  }

 private:
  ZAM_VECTOR256_INLINE static Register LoadRow(unsigned char const* entries) {
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<__m128i const*>(entries)));
  }

  ZAM_VECTOR256_INLINE static Register Changes(unsigned char const* table, std::size_t row) {
    return _mm256_xor_si256(LoadRow(table + 16 * row), LoadRow(table + 16 * row - 16));
  }

  template <unsigned int rows>
  ZAM_VECTOR256_INLINE static Register LookUpRows(unsigned char const* entries, Register places, Register bytes) {
    if constexpr (rows == 1) {
      return _mm256_shuffle_epi8(LoadRow(entries), places);
    } else {
      // Moves the bit that chooses between the halves to the top of each byte.
      auto const half = _mm256_slli_epi16(bytes, 4 - std::countr_zero(rows));
      return _mm256_blendv_epi8(LookUpRows<rows / 2>(entries, places, bytes),
                                LookUpRows<rows / 2>(entries + std::size_t{8} * rows, places, bytes), half);
    }
  }

  template <class Number>
  ZAM_VECTOR256_INLINE static std::uint64_t LoadNumber(unsigned char const* from) {
    Number number;
    std::memcpy(&number, from, sizeof number);
    return number;
  }

  /// The `count` bytes before `end`, at most 16, of at least 16 that there are; zeros after them.
  ZAM_VECTOR256_INLINE static __m128i LoadLast16(unsigned char const* end, std::size_t count) {
    // A window slides over the numbers from 0 to 15 and, for zeros, on to negative ones.
    auto const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const*>(end - 16));
    auto const* const places = detail::places16AndNone + 16 - count;
    return _mm_shuffle_epi8(bytes, _mm_loadu_si128(reinterpret_cast<__m128i const*>(places)));
  }

  /// The first `count` bytes, fewer than 16: two numbers that overlap, as wide as there are bytes for.
  ZAM_VECTOR256_INLINE static __m128i LoadFirst16(unsigned char const* from, std::size_t count) {
    std::uint64_t lower = 0;
    std::uint64_t upper = 0;
    if (count > 8) {
      lower = LoadNumber<std::uint64_t>(from);
      upper = LoadNumber<std::uint64_t>(from + count - 8) >> 8 * (16 - count);
    } else if (count >= 4) {
      lower = LoadNumber<std::uint32_t>(from) | LoadNumber<std::uint32_t>(from + count - 4) << 8 * (count - 4);
    } else if (count > 0) {
      lower = LoadNumber<unsigned char>(from) | LoadNumber<unsigned char>(from + count / 2) << 8 * (count / 2) |
              LoadNumber<unsigned char>(from + count - 1) << 8 * (count - 1);
    }
    return _mm_set_epi64x(static_cast<std::int64_t>(upper), static_cast<std::int64_t>(lower));
  }

  /// Packing works within each half of a register; this puts the quarters where they belong.
  ZAM_VECTOR256_INLINE static Register InOrder(Register packed) { return _mm256_permute4x64_epi64(packed, 0xD8); }

  ZAM_VECTOR256_INLINE static std::uint64_t MaskOf(Register bytes) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(bytes));
  }

  /// All bits of each byte whose bit is set.
  ZAM_VECTOR256_INLINE static Register BytesOf(std::uint64_t mask) {
    auto const spread = _mm256_setr_epi64x(0, 0x0101010101010101, 0x0202020202020202, 0x0303030303030303);
    auto const bits = _mm256_set1_epi64x(static_cast<std::int64_t>(0x8040201008040201));
    auto const masks = _mm256_shuffle_epi8(_mm256_set1_epi32(static_cast<int>(mask)), spread);
    return _mm256_cmpeq_epi8(_mm256_and_si256(masks, bits), bits);
  }

  ZAM_VECTOR256_INLINE static void StoreKept16(std::uint64_t keep, __m128i bytes, unsigned char* to) {
    auto const first = detail::placesOfBits.of[keep & 0xFF];
    auto const second = detail::placesOfBits.of[keep >> 8 & 0xFF];
    auto const both = _mm_set_epi64x(static_cast<std::int64_t>(second), static_cast<std::int64_t>(first));
    auto const inHalves = _mm_add_epi8(both, _mm_set_epi64x(0x0808080808080808, 0));
    auto const kept = _mm_shuffle_epi8(bytes, inHalves);
    std::int64_t const halves[] = {kept[0], kept[1]};
    std::memcpy(to, &halves[0], sizeof halves[0]);
    std::memcpy(to + std::popcount(keep & 0xFF), &halves[1], sizeof halves[1]);
  }
};

}  // namespace ZaM::platform

#endif

// 16 bytes at once, where every processor of the kind can; on others one after the other.
#ifndef ZAM_PLATFORM_VECTOR128_H
#define ZAM_PLATFORM_VECTOR128_H

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ZaM::platform {

/// A bit for each of the 16 bytes from `bytes` on, the lowest for the first: whether it isn't a printable character of
/// ASCII or DEL, or is one of `marks`, which are such characters.
template <class... Marks>
[[nodiscard]] inline unsigned int SpecialBytes(char const* bytes, Marks... marks) {
#if defined(__SSE2__)
  __m128i const block = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes));
  // As signed numbers, those beyond ASCII are below the blank, too.
  __m128i special = _mm_cmplt_epi8(block, _mm_set1_epi8(' '));
  ((special = _mm_or_si128(special, _mm_cmpeq_epi8(block, _mm_set1_epi8(marks)))), ...);
  return static_cast<unsigned int>(_mm_movemask_epi8(special));
#else
  unsigned int special = 0;
  for (unsigned int i = 0; i < 16; ++i) {
    bool const isSpecial = static_cast<signed char>(bytes[i]) < ' ' || ((bytes[i] == marks) || ...);
    special |= static_cast<unsigned int>(isSpecial) << i;
  }
  return special;
#endif
}

}  // namespace ZaM::platform

#endif

// 16 bytes at once, where every processor of the kind can; on others one after the other.
#ifndef ZAM_PLATFORM_VECTOR128_H
#define ZAM_PLATFORM_VECTOR128_H

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ZaM::platform {

#if defined(__SSE2__)

/// 16 bytes in a register. A mask has a bit for each, the lowest for the first.
class Vector128 {
 public:
  explicit Vector128(char const* bytes) : block(_mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes))) {}

  [[nodiscard]] unsigned int BeyondAscii() const { return Mask(block); }
  [[nodiscard]] unsigned int Equal(unsigned char byte) const { return Mask(_mm_cmpeq_epi8(block, All(byte))); }
  [[nodiscard]] unsigned int Equal(Vector128 other) const { return Mask(_mm_cmpeq_epi8(block, other.block)); }

  /// Those from 0x80 on to before `bound`, which is of these.
  [[nodiscard]] unsigned int BeyondAsciiBelow(unsigned char bound) const {
    return Mask(_mm_cmplt_epi8(block, All(bound)));
  }

  /// Those that aren't a printable character of ASCII or DEL, or are one of `marks`.
  template <class... Marks>
  [[nodiscard]] unsigned int Special(Marks... marks) const {
    // As signed numbers, those beyond ASCII are below the blank, too.
    __m128i special = _mm_cmplt_epi8(block, All(' '));
    ((special = _mm_or_si128(special, _mm_cmpeq_epi8(block, _mm_set1_epi8(marks)))), ...);
    return Mask(special);
  }

  /// The same, but for tabs and line feeds.
  template <class... Marks>
  [[nodiscard]] unsigned int SpecialInText(Marks... marks) const {
    __m128i const passed = _mm_or_si128(_mm_cmpeq_epi8(block, All('\t')), _mm_cmpeq_epi8(block, All('\n')));
    __m128i special = _mm_andnot_si128(passed, _mm_cmplt_epi8(block, All(' ')));
    ((special = _mm_or_si128(special, _mm_cmpeq_epi8(block, _mm_set1_epi8(marks)))), ...);
    return Mask(special);
  }

 private:
  static __m128i All(unsigned char byte) { return _mm_set1_epi8(static_cast<char>(byte)); }
  static unsigned int Mask(__m128i truths) { return static_cast<unsigned int>(_mm_movemask_epi8(truths)); }

  __m128i block;
};

#else

class Vector128 {
 public:
  explicit Vector128(char const* first) : bytes(first) {}

  [[nodiscard]] unsigned int BeyondAscii() const { return BeyondAsciiBelow(0xFF) | Equal(0xFF); }
  [[nodiscard]] unsigned int Equal(unsigned char byte) const {
    return Mask([=](unsigned char one) { return one == byte; });
  }
  [[nodiscard]] unsigned int Equal(Vector128 other) const {
    char const* next = other.bytes;
    return Mask([&](unsigned char one) { return one == static_cast<unsigned char>(*next++); });
  }
  [[nodiscard]] unsigned int BeyondAsciiBelow(unsigned char bound) const {
    return Mask([=](unsigned char one) { return one >= 0x80 && one < bound; });
  }
  template <class... Marks>
  [[nodiscard]] unsigned int Special(Marks... marks) const {
    return Mask([=](unsigned char one) { return one < ' ' || one >= 0x80 || ((one == marks) || ...); });
  }
  template <class... Marks>
  [[nodiscard]] unsigned int SpecialInText(Marks... marks) const {
    return Special(marks...) & ~Equal('\t') & ~Equal('\n');
  }

 private:
  template <class Test>
  unsigned int Mask(Test test) const {
    unsigned int mask = 0;
    for (unsigned int i = 0; i < 16; ++i) mask |= (test(static_cast<unsigned char>(bytes[i])) ? 1U : 0U) << i;
    return mask;
  }

  char const* bytes;
};

#endif

}  // namespace ZaM::platform

#endif

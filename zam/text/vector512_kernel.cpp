// The block kernel for x86-64 processors with AVX-512 VBMI2.
#include "zam/platform/vector512.h"

#define ZAM_VECTOR_FILTER ZAM_VECTOR512_INLINE
#include "zam/text/vector_filter.h"

namespace ZaM::detail {
namespace {

template <class Unit>
ZAM_VECTOR512 Progress Filter(Stretch<Unit> const& stretch) {
  return FilterByVectors<Unit, platform::Vector512>(stretch);
}

constexpr BlockKernel kernel{"avx512", Filter<unsigned char>, Filter<char16_t>};

}  // namespace

BlockKernel const* Vector512Kernel() {
  return platform::Vector512::Available() ? &kernel : nullptr;
}

}  // namespace ZaM::detail

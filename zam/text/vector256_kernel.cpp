// The block kernel for x86-64 processors with AVX2.
#include "zam/platform/vector256.h"

#define ZAM_VECTOR_FILTER ZAM_VECTOR256_INLINE
#include "zam/text/vector_filter.h"

namespace ZaM::detail {
namespace {

template <class Unit>
ZAM_VECTOR256 Progress Filter(Stretch<Unit> const& stretch) {
  return FilterByVectors<Unit, platform::Vector256>(stretch);
}

constexpr BlockKernel kernel{"avx2", Filter<unsigned char>, Filter<char16_t>};

}  // namespace

BlockKernel const* Vector256Kernel() {
  return platform::Vector256::Available() ? &kernel : nullptr;
}

}  // namespace ZaM::detail

#include "zam/platform/character_class.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>

#include <iterator>

namespace ZaM::platform {

namespace {

std::uint32_t ClassesOfCategory(std::uint32_t category) {
  std::uint32_t classes = 0;
  if (category & U_GC_L_MASK) classes |= AlphaClass;
  if (category & U_GC_LL_MASK) classes |= LowerClass;
  if (category & U_GC_LU_MASK) classes |= UpperClass;
  if (category & U_GC_ND_MASK) classes |= DigitClass;
  if (category & (U_GC_P_MASK | U_GC_S_MASK)) classes |= PunctClass;
  if (category & U_GC_CC_MASK) classes |= CntrlClass;
  if (category & U_GC_ZS_MASK) classes |= BlankClass;
  if (category & (U_GC_ZL_MASK | U_GC_ZP_MASK)) classes |= VerticalSpaceClass;
  if (!(category & (U_GC_CC_MASK | U_GC_CS_MASK | U_GC_CN_MASK | U_GC_Z_MASK))) classes |= GraphClass;
  return classes;
}

/// What single units are beside their category.
std::uint32_t ClassesOfUnit(char16_t unit) {
  if (unit >= 0x100) return BeyondLatin1Class;
  if (unit == u'\t') return TabulatorClass;
  if ((unit >= u'\n' && unit <= u'\r') || unit == 0x85) return VerticalSpaceClass;
  if (unit == u'_') return UnderscoreClass;
  bool const isHexDigit =
      (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'F') || (unit >= u'a' && unit <= u'f');
  return isHexDigit ? HexDigitClass : 0u;
}

}  // namespace

std::uint32_t ClassesOf(char16_t unit) {
  return ClassesOfCategory(U_GET_GC_MASK(unit)) | ClassesOfUnit(unit);
}

char16_t BaseLetter(char16_t unit) {
  UErrorCode error = U_ZERO_ERROR;
  UNormalizer2 const* const normalizer = unorm2_getNFDInstance(&error);
  if (U_FAILURE(error)) return unit;
  char16_t decomposed[8];  // no single unit becomes more than four
  auto const length = unorm2_getDecomposition(normalizer, unit, decomposed, std::size(decomposed), &error);
  return U_SUCCESS(error) && length > 0 ? decomposed[0] : unit;
}

}  // namespace ZaM::platform

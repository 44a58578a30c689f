// The case of single 16-bit units, the same in every process and under every locale.
#ifndef ZAM_PLATFORM_CASE_MAPPING_H
#define ZAM_PLATFORM_CASE_MAPPING_H

namespace ZaM::platform {

/// The other case of a unit, by the simple mappings of Unicode: one unit becomes one unit, so that U+00DF has no
/// capital here. No language's own rules: the capital of i is I. Surrogates, and whatever has no other case, stay as
/// they are.
[[nodiscard]] char16_t LowerCase(char16_t unit);
[[nodiscard]] char16_t UpperCase(char16_t unit);

}  // namespace ZaM::platform

#endif

#include "zam/platform/error_text.h"

#include <clocale>
#include <cstring>
#include <memory>
#include <type_traits>

#include "zam/platform/unicode.h"

namespace ZaM::platform {

namespace {

struct FreeLocale {
  void operator()(locale_t locale) const { freelocale(locale); }
};
using Locale = std::unique_ptr<std::remove_pointer_t<locale_t>, FreeLocale>;

/// This thread's locale, but for texts in UTF-8 whatever its own encoding is; null where that can't be had.
Locale LocaleInUtf8() {
  Locale own(duplocale(uselocale(nullptr)));
  if (!own) return nullptr;
  locale_t const changed = newlocale(LC_CTYPE_MASK, "C.UTF-8", own.get());
  if (changed == nullptr) return nullptr;
  static_cast<void>(own.release());  // newlocale has taken it over
  return Locale(changed);
}

}  // namespace

std::u16string ErrorText(std::uint32_t error) {
  int const number = static_cast<int>(error);
  char const* const untranslated = strerrordesc_np(number);
  if (untranslated == nullptr) return {};
  Locale const locale = LocaleInUtf8();
  return Utf16FromUtf8(locale ? strerror_l(number, locale.get()) : untranslated);
}

}  // namespace ZaM::platform

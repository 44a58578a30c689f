#include "zam/foundation/language.h"

#include <algorithm>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/library_texts.h"

namespace ZaM {

bool SetLanguage(wstring const& language) {
  return ReportOutOfMemory([&] {
    wstring name = language;
    std::ranges::replace(name, u'_', u'-');
    return detail::LibraryTexts::Choose(name);
  });
}

wstring GetLanguage() {
  return ReportOutOfMemory([] {
    ResMgr texts = detail::LibraryTexts::Get();
    return wstring(texts.GetLanguage());
  });
}

}  // namespace ZaM

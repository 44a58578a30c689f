// The library's own texts, as its exceptions ask for them.
#ifndef ZAM_FOUNDATION_LIBRARY_TEXTS_H
#define ZAM_FOUNDATION_LIBRARY_TEXTS_H

#include "zam/foundation/res_mgr.h"

namespace ZaM::detail {

/// Keeps the library's one ResMgr from the first use on, at the latest from when the library is loaded and before code
/// of a program runs, and one more for each language that a program chooses. They are there for static objects of any
/// file, both while they are built and while they are destroyed; after the library's own static objects all texts come
/// from the library, in English.
class LibraryTexts {
 public:
  /// The one in force. It stays as it is when another language is chosen.
  [[nodiscard]] static ResMgr const& Get();

  /// See ZaM::SetLanguage.
  static bool Choose(wstring const& language);

  LibraryTexts();
  LibraryTexts(LibraryTexts const&) = delete;
  LibraryTexts& operator=(LibraryTexts const&) = delete;
  ~LibraryTexts();

 private:
  static ResMgr& Instance();
};

/// The module of the library's own texts. Its path is `<folder of the shared object>/zam/zam.mod`, so that its
/// satellites are `<folder of the shared object>/zam/<language>/zam.lng`; there is no file of that name.
[[nodiscard]] HINSTANCE LibraryModule();

}  // namespace ZaM::detail

#endif

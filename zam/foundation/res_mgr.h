// Numbered texts in the user's language.
//
//   TextModule const texts(u"/opt/mailsort/mailsort.app", {{1, u"Sorting %s"}, {2, u"Done."}});
//   ResMgr resources;
//   resources.Init(&texts);                       // German: /opt/mailsort/de/mailsort.lng
//   resources.GetString(1, u"inbox");             // "Sorting inbox", or what the German file has for 1
//   resources.GetString(3, u"inbox");             // "Resource string #3 not found!"
#ifndef ZAM_FOUNDATION_RES_MGR_H
#define ZAM_FOUNDATION_RES_MGR_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zam/foundation/export.h"
#include "zam/foundation/module.h"
#include "zam/foundation/types.h"

namespace ZaM {

namespace detail {
class LibraryTexts;
}

/// Finds the texts of one module: first in a language satellite beside it, then in the module itself, text by text.
///
/// A satellite is a file `<folder of the module>/<language>/<stem of its file name>.lng` (docs/formats.md). The stem is
/// the file name without its last three units and keeps the dot. Init decides once which satellite applies:
///
/// 1. If the environment variable "Telvo Components Language" isn't empty, it alone decides: its whole value is tried
///    as the language, then what stands before its first `-`, even if that is nothing.
/// 2. Otherwise the user's language on this system is tried, if it is ca, de, en, es, fr, it or pt. A list in the
///    variable `LANGUAGE`, as gettext knows it, comes before it where the locale isn't "C": the first language of the
///    list with a satellite, or English.
/// 3. Where there is no satellite to be loaded, the module's own texts count as "en".
///
/// A language with a `/`, a `\` or ".." in it would lead out of the module's folder; it counts as one without a
/// satellite, as does any language where the variable's value or the module's path is longer than 1023 units, where
/// there is no module, or where memory runs out. A damaged satellite counts as absent.
///
/// Sequence: Init, then everything else. Before Init no text is found, and the language is empty.
/// Owning:   the module must outlive the instance and its copies. A satellite lives as long as any instance that loaded
///           it or was copied from one that did; a further Init doesn't end it either, so that no handle dangles.
/// Threads:  Init by one thread while no other uses the instance; everything else by any number of threads.
/// Errors:   BaseException with id 5 for lack of memory alone; a missing text reads "Resource string #… not found!".
class ZAM_EXPORT ResMgr {
 public:
  ResMgr() = default;
  ResMgr(ResMgr const&) = default;
  /// Changes nothing when memory runs out.
  ResMgr& operator=(ResMgr const& other);
  ~ResMgr() = default;

  /// The same as `Init(module, true)`.
  void Init(HINSTANCE module);

  /// Chooses the language and loads its satellite. `asDataFile` makes no difference: no satellite holds code.
  void Init(HINSTANCE module, bool asDataFile);

  /// The satellite, or the module if none was loaded: where to look for further texts in the right language.
  [[nodiscard]] HINSTANCE GetResourceHandle() const;

  /// The language in force, such as "en", terminated; it points into the instance. Of a language with more than 15
  /// units it holds the first 15, or 14 where the fifteenth is the first half of a surrogate pair.
  [[nodiscard]] wchar* GetLanguage();

  /// The text as it is stored: a `%` stays, and `%%` stays double.
  [[nodiscard]] wstring GetString(unsigned int id) const;

  /// The text with up to three strings in place of its placeholders. The first null after `a` ends the arguments; a
  /// null `a` reads "(null)". Cut to 1023 units. A placeholder without an argument, or for a number, stays as it is.
  [[nodiscard]] wstring GetString(unsigned int id, wchar const* a, wchar const* b = nullptr,
                                  wchar const* c = nullptr) const;

  /// The text with up to three numbers in place of its placeholders. The first null ends the arguments. Cut to 1023
  /// units. A placeholder without an argument, or for a string, stays as it is.
  [[nodiscard]] wstring GetStringL(unsigned int id, std::int32_t const* a, std::int32_t const* b = nullptr,
                                   std::int32_t const* c = nullptr) const;

  /// The text with one number, in the same way. The placeholder decides how it looks: 4294967295 reads -1 under "%d".
  [[nodiscard]] wstring GetStringT(unsigned int id, unsigned int const* a) const;

  /// The same as GetStringT.
  [[nodiscard]] wstring GetStringUI32(unsigned int id, unsigned int const* a) const;

 private:
  friend class detail::LibraryTexts;  // has one for each language, and frees the satellites at the end

  bool LoadResources(wstring folder, wstring fileName, bool asDataFile);
  bool GetString(unsigned int id, wstring& text) const;
  [[nodiscard]] std::u16string_view FindText(unsigned int id) const;
  bool ChooseLanguage(std::vector<wstring> const& candidates, bool asDataFile);
  bool InitIn(HINSTANCE module, wstring const& wanted);
  void SetLanguage(std::u16string_view code);
  void FreeSatellites();

  HINSTANCE moduleHandle = nullptr;
  HINSTANCE satelliteHandle = nullptr;
  wchar language[16] = {};

  std::vector<std::shared_ptr<TextModule const>> satellites;  // all that were ever loaded here, for those who hold them
};

}  // namespace ZaM

#endif

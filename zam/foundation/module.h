// A component as the owner of numbered texts, and the handle by which ResMgr knows it.
#ifndef ZAM_FOUNDATION_MODULE_H
#define ZAM_FOUNDATION_MODULE_H

#include <map>
#include <string>
#include <string_view>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// A place where texts lie under numbers: a component's built-in ones, or those of a language satellite.
///
/// Threads: both operations only read and may run on any number of threads.
/// Errors:  neither operation throws; an empty text says that there is none.
class ZAM_EXPORT Module {
 public:
  /// The full path. Its folder and the stem of its file name lead to the satellites, see ResMgr; the file itself need
  /// not exist. Valid as long as the module.
  [[nodiscard]] virtual std::u16string_view GetPath() const = 0;

  /// The text under this number as it is stored, placeholders included; empty if there is none. Valid as long as the
  /// module.
  [[nodiscard]] virtual std::u16string_view FindText(unsigned int id) const = 0;

 protected:
  Module() = default;
  Module(Module const&) = default;
  Module& operator=(Module const&) = default;
  ~Module() = default;
};

/// A handle of a module. It doesn't own: whoever made the module ends it, after everything that holds the handle.
using HINSTANCE = Module const*;

/// A module that holds its texts itself; a program makes one for the texts of its own:
///
///   TextModule const texts(u"/opt/mailsort/mailsort.app", {{1, u"Sorting %s"}, {2, u"Done."}});
///   ResMgr resources;
///   resources.Init(&texts);  // German: /opt/mailsort/de/mailsort.lng, see docs/formats.md
class ZAM_EXPORT TextModule final : public Module {
 public:
  /// `path` as GetPath gives it; a file name with an extension of three letters keeps its stem whole. An empty text
  /// counts as none.
  TextModule(wstring path, std::map<unsigned int, wstring> texts);

  [[nodiscard]] std::u16string_view GetPath() const override;
  [[nodiscard]] std::u16string_view FindText(unsigned int id) const override;

 private:
  wstring ownPath;
  std::map<unsigned int, wstring> ownTexts;
};

}  // namespace ZaM

#endif

// The language of the library's sentences.
#ifndef ZAM_FOUNDATION_LANGUAGE_H
#define ZAM_FOUNDATION_LANGUAGE_H

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// Makes `language` the language in which exceptions describe themselves from now on, in the whole process, instead of
/// the user's, which is chosen when the library is loaded.
///
///     SetLanguage(u"pt-BR");   // true: Portuguese, since there is a satellite "pt" and none "pt-BR"
///     SetLanguage(u"en");      // true: the built-in texts
///     SetLanguage(u"xx");      // false: the language stays as it was
///
/// `language` is a name such as "de", "pt-BR" or "pt_BR": its satellite is tried, then that of what stands before the
/// first `-`. Returns whether there is one, or the language is English.
///
/// Threads: any, at any time; sentences that are being made meanwhile come in one of the two languages. The texts of
///          each language that was chosen stay in memory until the library is unloaded.
/// Errors:  BaseException with id 5 where memory runs out; the language stays as it was.
ZAM_EXPORT bool SetLanguage(wstring const& language);

/// The language in force, such as "de", as ResMgr names it.
[[nodiscard]] ZAM_EXPORT wstring GetLanguage();

}  // namespace ZaM

#endif

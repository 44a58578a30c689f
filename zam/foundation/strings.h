// Everyday work on wide strings: substitution, cutting, counting, narrow text, case.
//
// Outputs may be the same objects as inputs. The time of all functions follows the length of their texts, whatever is
// searched for in them.
//
// A search ends at the first zero unit of the text that it goes through, and texts and sets that are searched for end
// at their own one: a zero unit is never found. What stands after it still belongs to the text and isn't lost.
//
// Case never depends on the process's locale. One unit becomes one unit, by the simple mappings of Unicode, which are
// those of English: the capital of i is I, and that of U+00DF is itself. Surrogates stay as they are.
//
// Threads: any, at any time.
// Errors:  nothing but BaseException with id 5 where memory runs out; outputs are left alone then. An argument
//          that is taken by value is the caller's copy, which ends in `std::bad_alloc` where there is no memory for it.
#ifndef ZAM_FOUNDATION_STRINGS_H
#define ZAM_FOUNDATION_STRINGS_H

#include <cstdint>
#include <string>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// `text` with `replacement` in place of each `search`. Goes from left to right; occurrences don't overlap, and what
/// was put in isn't searched again. An empty `search` gives `text`.
///
///     Replace(u"aXbXc", u"X", u"YY")   aYYbYYc
///     Replace(u"aaa", u"aa", u"b")     ba
[[nodiscard]] ZAM_EXPORT wstring Replace(wstring const& text, wstring const& search, wstring const& replacement);

/// `text` without the units that occur in `characters`.
[[nodiscard]] ZAM_EXPORT wstring DeleteStr(wstring const& text, wstring const& characters);

/// Cuts `text` at the first `separator`, which goes into neither half. An empty one is found at the start. False if
/// there is none; `left` and `right` then keep what they held.
ZAM_EXPORT bool Split(wstring const& text, wstring const& separator, wstring& left, wstring& right);

/// Cuts `name` at its first dot. A name that begins with a dot or has none goes into `first` as a whole, and `second`
/// is empty.
///
///     loc.field.x   loc and field.x
///     .field.x      .field.x and nothing
ZAM_EXPORT void SplitLocatorName(wstring name, wstring& first, wstring& second);

/// How many of the units of `text` are digits from 0 to 9. Digits of other scripts don't count.
[[nodiscard]] ZAM_EXPORT std::int32_t GetNumCount(wstring text);

/// Whether `character` occurs in `separators` or is an ideograph from U+4E00 to U+9FA5, each of which stands alone.
[[nodiscard]] ZAM_EXPORT bool IsSeparator(wchar character, wstring const& separators);

/// Turn narrow text, UTF-8, into wide text; it ends at its first zero byte. Malformed bytes become U+FFFD. False only
/// for a null `text`; `result` is untouched then.
ZAM_EXPORT bool ConvertA2W(std::string const& text, wstring& result);
ZAM_EXPORT bool ConvertA2W(char const* text, wstring& result);

/// Turns all of `text` into UTF-8 with a zero byte after it, in `size` bytes at `result`. A surrogate without its
/// other half becomes U+FFFD. False if there isn't room for all of that, or `result` is null; nothing is written then.
ZAM_EXPORT bool ConvertW2A(wstring const& text, char* result, std::int32_t size);

/// The same into a string of any length, without the zero byte. Always true.
ZAM_EXPORT bool ConvertW2A(wstring const& text, std::string& result);

/// `text` in the other case, up to its first zero unit.
[[nodiscard]] ZAM_EXPORT wstring ZamStrToLower(wstring const& text);
[[nodiscard]] ZAM_EXPORT wstring ZamStrToUpper(wstring const& text);

/// Put a text in the other case where it stands. `size` is that of the buffer in units, the terminator included. 0 on
/// success; EINVAL, with the buffer untouched, if `text` is null or there is no terminator in the buffer.
ZAM_EXPORT int ZamChrToLower(wchar* text, unsigned int size);
ZAM_EXPORT int ZamChrToUpper(wchar* text, unsigned int size);

/// One unit in the other case.
[[nodiscard]] ZAM_EXPORT wchar ZamToLower(wchar character);
[[nodiscard]] ZAM_EXPORT wchar ZamToUpper(wchar character);

/// Compares the forms in lower case, unit by unit: negative if `a` sorts before `b`, 0 if they are equal, positive if
/// it sorts after. Both are terminated, and not null.
[[nodiscard]] ZAM_EXPORT int ZamStrICmp(wchar const* a, wchar const* b);

}  // namespace ZaM

#endif

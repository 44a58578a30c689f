// Paths as texts: folder, name, and what two paths have in common. Nothing here looks at the disk.
//
// Only `\` separates here, not `/`.
//
// Threads: any, at any time.
// Errors:  no function throws; where memory runs out, the text that it gives is empty. An argument that is
//          taken by value is the caller's copy, which ends in `std::bad_alloc` where there is no memory for it.
#ifndef ZAM_FOUNDATION_PATHS_H
#define ZAM_FOUNDATION_PATHS_H

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// What stands before the last `\`; empty if there is none.
ZAM_EXPORT wstring GetFolder(wstring const& path) noexcept;
ZAM_EXPORT wstring ZamGetDirectoryFromFilename(wstring path) noexcept;

/// What stands after the last `\`, extension included; all of `path` if there is none.
ZAM_EXPORT wstring GetPureFileName(wstring const& path) noexcept;

/// Whether GetFolder(path) is `folder`, without regard to case and for any length. A `\` at the end of `folder` makes a
/// difference.
ZAM_EXPORT bool CheckFolder(wstring const& path, wstring const& folder) noexcept;

/// Writes the way from folder `from` to folder `to`, with backslashes: two dots for each step up, or one dot and the
/// names of the steps down; one dot if they are the same. Empty if they have no folder in common, and if it takes more
/// than 259 units. Case doesn't matter. `result` has room for 260 units with the terminator; null is fine and gets
/// nothing. Always true.
ZAM_EXPORT bool ZamPathRelativePathTo(wchar* result, wstring from, wstring to) noexcept;

/// Writes the folder that both paths have in common, as `a` spells it. It ends in a backslash only where it is a root,
/// with or without a drive. Empty if there is none, and if it takes more than 259 units. Case doesn't matter. `result`
/// has room for 260 units with the terminator; null is fine and gets nothing. Always true.
ZAM_EXPORT bool ZamPathCommonPrefix(wstring const& a, wstring const& b, wchar* result) noexcept;

}  // namespace ZaM

#endif

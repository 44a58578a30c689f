// Search for the entries of a folder, in three steps.
//
// Sequence: ZamFindFirst ZamFindNext* ZamFindClose.
// Owning:   a handle belongs to the caller of ZamFindFirst, and ends by ZamFindClose.
// Threads:  any number may search at once; one handle is for one thread at a time.
// Errors:   no function throws. Where memory runs out, nothing was found.
#ifndef ZAM_FOUNDATION_FILE_SEARCH_H
#define ZAM_FOUNDATION_FILE_SEARCH_H

#include <cstdint>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// One entry of a folder. Of a symbolic link it tells what the link leads to.
struct _wfinddata64i32_t {
  /// Flags: 0x01 read-only (the owner has no write permission, whoever asks), 0x02 hidden (the name begins with a dot),
  /// 0x10 folder.
  std::uint32_t attrib;

  /// Seconds since 1970. `time_create` is when content or status last changed: a file's beginning isn't kept
  /// everywhere.
  std::int64_t time_create;
  std::int64_t time_access;
  std::int64_t time_write;

  /// The low 32 bits of the number of bytes.
  std::uint32_t size;

  /// Terminated. What isn't UTF-8 on the disk has lone surrogates in it; the library's file functions find it by them.
  wchar name[260];
};

/// Begins a search and stores its first entry. `pattern` is a path, with `\` or `/`, whose last part may hold `*` (any
/// number of units) and `?` (one unit); case doesn't matter, and `*.*` is everything. `.` and `..` come first, where
/// the pattern matches them. The search goes through the folder as it was at this moment.
///
/// A handle, to be ended with ZamFindClose; -1 if nothing was found.
ZAM_EXPORT int ZamFindFirst(wstring const& pattern, _wfinddata64i32_t* entry) noexcept;

/// Stores the next entry; false, with `entry` as it was, if there is none.
ZAM_EXPORT bool ZamFindNext(int handle, _wfinddata64i32_t* entry) noexcept;

/// Ends a search; -1 and handles that aren't open are fine.
ZAM_EXPORT void ZamFindClose(int handle) noexcept;

}  // namespace ZaM

#endif

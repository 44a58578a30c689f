// Operations on files and folders: asking whether they exist, creating, copying, moving and deleting them.
//
//     ZamCopyFile(u"/etc/hosts", u"/tmp/hosts", true);   // true
//     ZamCopyFile(u"/etc/hosts", u"/tmp/hosts", true);   // false: it exists
//
// Paths are UTF-16, with `\` or `/` between their parts. Symbolic links are followed unless a function says otherwise.
//
// A file is read-only if its owner has no write permission, whoever asks. A file is hidden if its name begins with a
// dot. A file that is being written by the library, or held as a lock, can't be copied, moved or deleted by these
// functions, not even in another process.
//
// Threads: any. No function holds state. Calls that change the same files at once interfere as the system lets them.
// Errors:  no function throws or says why it failed. Lack of memory is a failure like any other.
#ifndef ZAM_FOUNDATION_FILES_H
#define ZAM_FOUNDATION_FILES_H

#include <cstdint>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// Whether there is a file at `path`, which is anything but a folder; whether there is a folder.
ZAM_EXPORT bool ZamFileExists(wstring const& path) noexcept;
ZAM_EXPORT bool ZamFolderExists(wstring const& path) noexcept;

/// The time of the last modification in seconds since 1970, its low 32 bits; 0 if the entry can't be read.
ZAM_EXPORT std::int32_t ZamGetFileTime(wstring const& path) noexcept;

/// Whether `a` was modified in a later second than `b`. True if `b` can't be read, else false if `a` can't.
ZAM_EXPORT bool FileIsNewerByDate(wstring const& a, wstring const& b) noexcept;

/// Makes a folder, and all folders that are missing above it. True also if it exists already, and for an empty `path`.
/// A separator at the end makes no difference. Folders that were made before a failure stay.
ZAM_EXPORT bool CreateFolder(wstring path) noexcept;

/// Copies a regular file, with its time of modification and its holes; the copy is writable. A target that exists is
/// overwritten, also a read-only one, unless `failIfExists` says otherwise. Copying a file onto itself fails and leaves
/// its content. A link that leads nowhere exists as well: it is left alone, or the copy is made where it leads. If
/// copying fails halfway, a new target is deleted, and one that existed is left incomplete.
ZAM_EXPORT bool ZamCopyFile(wstring const& source, wstring const& target, bool failIfExists) noexcept;

/// Deletes a file, also a read-only one, or a symbolic link itself; false for a folder.
ZAM_EXPORT bool ZamDeleteFile(wstring const& path) noexcept;

/// Moves a file or a folder; false if `target` exists. To another file system only regular files are
/// moved, with their permissions and, as far as this process may give files away, their owner and group.
ZAM_EXPORT bool ZamMoveFile(wstring const& source, wstring const& target) noexcept;

/// Removes an empty folder. 0 on success, -1 on failure: no `bool`.
ZAM_EXPORT int ZamRmDir(wstring const& path) noexcept;

/// Copies what `pattern` (see ZamFindFirst) matches in folder `source`, with subfolders that it matches too, but no
/// hidden files and folders. A missing `target` is made if `createTarget` says so, else nothing is copied.
///
/// Files that exist are overwritten if `overwrite` says so, except read-only ones. Copies are writable. True if nothing
/// failed, also if nothing matched; one failure doesn't keep the others from being copied. Folders that a link makes
/// part of themselves, and a target that lies inside the source, are passed over without a failure.
ZAM_EXPORT bool CopyFiles(wstring source, wstring target, wstring pattern, bool createTarget, bool overwrite) noexcept;

/// Deletes a folder with all it holds, hidden and read-only files too. The first failure ends it with false; what was
/// deleted until then stays deleted.
///
/// Symbolic links are deleted and never followed, also where `path` is one. Whoever changes the tree meanwhile can't
/// lead the deletion out of it. A tree may be of any depth.
ZAM_EXPORT bool ZamDelTree(wstring const& path) noexcept;

}  // namespace ZaM

#endif

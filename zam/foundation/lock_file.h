// A lock between processes and threads in the form of a file.
//
// Sequence: ZamLockfileCreate ZamLockfileRelease.
// Owning:   the handle belongs to the caller of ZamLockfileCreate, and ends by ZamLockfileRelease.
// Threads:  any, at any time; another thread than the one that took a lock may give it back.
// Errors:   neither function throws. The lock isn't taken where memory runs out.
#ifndef ZAM_FOUNDATION_LOCK_FILE_H
#define ZAM_FOUNDATION_LOCK_FILE_H

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// Takes the lock at `path`: makes a file there that exists as long as the lock is held. Returns its handle, or -1 (not
/// null) if the lock couldn't be taken.
///
///     void* const lock = ZamLockfileCreate(u"/var/lib/mailsort/index.lock", 100, 50);
///     if (lock == reinterpret_cast<void*>(-1)) return false;
///     rewriteIndex();
///     ZamLockfileRelease(lock);
///
/// Makes up to `retries` + 1 attempts, as long as somebody holds the lock or access to what stands at `path` is denied;
/// any other failure ends it at once. Between one attempt and the next it sleeps `waitTime` milliseconds (below 0: not
/// at all). Nobody queues: whoever tries at the right moment gets the lock.
///
/// At most one holds the lock, among all threads of all processes that use it through this library; who holds it can't
/// take it once more. Forked children and programs started by the holder don't have it. A file that stands at `path`
/// already and isn't held is no obstacle: it is emptied, and vanishes with the lock. A link, a folder, a pipe, a device
/// or a file without the owner's write permission is never touched, and the lock can't be taken there.
///
/// The file and the lock also go when the holder dies, by whatever signal, or becomes another program. A guard sees to
/// that, a small process for each lock (`zam-lock-guard` in the list of processes), which is not the holder's child. It
/// is a program installed with the library, so that a lock costs the same however much memory the holder uses. Where
/// the program isn't found, and where the holder is the first process of a container or a subreaper, the guard is a
/// forked copy of the holder, at the price of a fork, and no call of `wait` sees it. A lock that no guard can be
/// started for isn't taken, and isn't tried for again.
///
/// The file stays, without the lock, when holder and guard are killed together, as by a container's end; when a holder
/// is killed that took the lock between `unshare(CLONE_NEWPID)` and its first child, where there is no guard; and, on
/// file systems without O_TMPFILE or without /proc, when the holder is killed in the moment between making the file and
/// starting the guard. It is then in nobody's way: who takes the lock next uses it up.
///
/// A holder that closes all its files, as with `closefrom`, lets the lock go. Whoever deletes or renames the file while
/// it is held lets somebody else take the lock; the library's own functions don't. On a file system without locks it
/// can't be taken.
[[nodiscard]] ZAM_EXPORT void* ZamLockfileCreate(wstring const& path, int waitTime, int retries);

/// Gives the lock back: when it returns, the file has gone; the guard follows. In a process that was forked by the
/// holder it only frees the copy of the handle. -1 and null do nothing.
ZAM_EXPORT void ZamLockfileRelease(void* handle);

}  // namespace ZaM

#endif

// What the guard of a lock file does, in whatever form it is started. It needs nothing but the C library.
#ifndef ZAM_PLATFORM_LOCK_GUARD_H
#define ZAM_PLATFORM_LOCK_GUARD_H

namespace ZaM::platform {

/// The open files of a lock, by their numbers. Closed ones (-1) make everything below do nothing.
struct LockedFile {
  int folder;
  int file;
  int hold;          // a file in memory; who holds the lock has a record lock on it
  char const* name;  // of the file within the folder
};

/// The name by which the system lists a guard.
inline constexpr char const guardName[] = "zam-lock-guard";

/// Takes the record lock on `hold`, which a process has for itself: its children don't inherit it, and it goes when the
/// process closes the file, becomes another program, or ends. `command` is F_SETLK or F_SETLKW.
[[nodiscard]] bool TakeHold(int hold, int command);

/// Whether the file that is open still stands under its name.
[[nodiscard]] bool HasItsName(LockedFile const& lock);

/// Takes the lock from all who have the open file. Closing it would leave the lock to children that were forked
/// meanwhile.
void Unlock(LockedFile const& lock);

/// Takes away the name, then the lock; so whoever gets the lock sees that the file has gone. A second time it does
/// nothing.
void Vanish(LockedFile const& lock);

/// Waits for the end of the holder, and lets the file vanish. Makes system calls only.
void Guard(LockedFile const& lock);

}  // namespace ZaM::platform

#endif

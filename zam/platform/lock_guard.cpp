#include "zam/platform/lock_guard.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zam/platform/retry.h"

namespace ZaM::platform {

bool TakeHold(int hold, int command) {
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  return Retry([&] { return fcntl(hold, command, &whole); }) == 0;
}

bool HasItsName(LockedFile const& lock) {
  struct stat opened = {};
  struct stat named = {};
  return fstat(lock.file, &opened) == 0 && fstatat(lock.folder, lock.name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

void Unlock(LockedFile const& lock) {
  flock(lock.file, LOCK_UN);
}

void Vanish(LockedFile const& lock) {
  if (HasItsName(lock)) unlinkat(lock.folder, lock.name, 0);
  Unlock(lock);
}

void Guard(LockedFile const& lock) {
  static_cast<void>(!chdir("/"));  // the holder's current folder may be on a disk that is to be taken out
  // Where it can't wait, it can't guard either, as if it had been killed.
  if (TakeHold(lock.hold, F_SETLKW)) Vanish(lock);
}

}  // namespace ZaM::platform

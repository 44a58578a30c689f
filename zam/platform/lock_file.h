// A file that exists while it is held, and that at most one holds: the lock of processes that share nothing but a path.
#ifndef ZAM_PLATFORM_LOCK_FILE_H
#define ZAM_PLATFORM_LOCK_FILE_H

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "zam/platform/descriptor.h"

namespace ZaM::platform {

struct LockAttempt;

/// A lock that is held. Its end lets the file vanish, and then the lock.
///
/// What excludes others is an advisory lock on the file. The file itself goes away with the help of a guard: a small
/// process of its own for each lock, which waits for the end of the holder. However that ends (by its own will, by a
/// signal that can't be caught, by becoming another program), the guard takes the file away and then the lock. It is
/// there before the file has its name, so that there is no moment in which the file could be left behind. The guard
/// isn't seen by the program's own waiting for children, sends it no signal, and holds nothing else open.
///
/// Only a holder that is killed together with its guard, such as by the end of the machine or of a whole container,
/// leaves the file. It leaves no lock, and the next taker uses that file up.
class LockFile {
 public:
  /// One attempt, which doesn't wait. The path is UTF-16, with `\` and `/` as separators; a path that isn't absolute
  /// starts at the current folder of this moment. Throws std::bad_alloc.
  [[nodiscard]] static LockAttempt Take(std::u16string_view path);

  LockFile(LockFile const&) = delete;
  /// In a process that was forked while the lock was held: leaves the lock alone.
  ~LockFile();

 private:
  LockFile(Descriptor openFolder, std::string fileName);

  // Each gives 0 or the system's error number.
  int TakeNamed();
  int TakeNew();
  int TakeNewUnderItsName();
  int Open(char const* path, int flags);
  int LockOpenFile() const;
  int StartGuard();

  static int RunGuard(void* heldLock);
  void DismissGuard();
  [[nodiscard]] bool HasItsName() const;
  void Vanish() const;
  void Unlock() const;

  Descriptor folder;
  std::string const name;  // within the folder
  Descriptor file;
  Descriptor hold;   // a file of the memory; the guard waits for a lock on it that the holder has for itself
  int guard = -1;    // its process id; -1 without one
  int const holder;  // the process that may let go
};

/// What came of one attempt.
struct LockAttempt {
  std::unique_ptr<LockFile> lock;  // null where it isn't taken
  bool mayBeRepeated;              // somebody holds it, or access to what is there is denied
};

}  // namespace ZaM::platform

#endif

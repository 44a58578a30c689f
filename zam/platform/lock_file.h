// A file that exists while it is held, and that at most one holds: the lock of processes that share nothing but a path.
#ifndef ZAM_PLATFORM_LOCK_FILE_H
#define ZAM_PLATFORM_LOCK_FILE_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "zam/platform/descriptor.h"
#include "zam/platform/guard_process.h"
#include "zam/platform/lock_guard.h"

namespace ZaM::platform {

struct LockAttempt;

/// A lock that is held. Its end lets the file vanish, and then the lock.
///
/// What excludes others is an advisory lock on the file. Should the holder not come to its end in order (because of a
/// signal that can't be caught, or because it becomes another program), a guard does its work: a small process of its
/// own for each lock, which waits for the end of the holder. It is there before a new file has its name, so that there
/// is no moment in which the file could be left behind. It holds nothing else open.
///
/// A file without a lock is left by a holder that is killed together with its guard, such as by the end of the machine
/// or of a whole container; by one that can have no guard; and by one that is killed right after it made the file on a
/// system that can't give a ready file its name. The next taker uses that file up.
class LockFile {
 public:
  /// One attempt, which doesn't wait. Paths are UTF-16, with `\` and `/` as separators; one that isn't absolute starts
  /// at the current folder of this moment. `guardProgram` may be missing. Throws std::bad_alloc.
  [[nodiscard]] static LockAttempt Take(std::u16string_view path, std::u16string_view guardProgram);

  LockFile(LockFile const&) = delete;
  /// In a process that was forked while the lock was held: leaves the lock alone.
  ~LockFile();

 private:
  /// An open file that is known again, since a program may close all of its files, and open others under the numbers.
  class OpenFile {
   public:
    OpenFile() = default;
    explicit OpenFile(int number) : descriptor(number), identity(IdentityOf(number)) {}
    [[nodiscard]] int Number() const { return descriptor.Number(); }
    [[nodiscard]] bool IsOpen() const { return descriptor.IsOpen(); }
    [[nodiscard]] bool IsSame() const { return IdentityOf(Number()) == identity; }
    /// Leaves the number to whoever has it now.
    void Forget() { static_cast<void>(descriptor.Detach()); }

   private:
    using Identity = std::pair<std::uint64_t, std::uint64_t>;
    static Identity IdentityOf(int number);

    Descriptor descriptor;
    Identity identity;
  };

  LockFile(OpenFile openFolder, std::string fileName, std::string guardProgram);

  // Each gives 0 or the system's error number, or one of lock_file.cpp's own.
  int TakeNamed();
  int TakeNew();
  int TakeNewUnderItsName();
  int Open(char const* path, int flags);
  int LockOpenFile() const;
  int StartGuard();
  void EndGuard();

  [[nodiscard]] LockedFile Locked() const { return {folder.Number(), file.Number(), hold.Number(), name.c_str()}; }
  void ForgetWhatOthersClosed();

  OpenFile folder;
  std::string const name;  // within the folder
  std::string const program;
  OpenFile file;
  OpenFile hold;  // a file of the memory, which nobody else can open: with it all three are as they were
  GuardProcess guard;
  bool isTaken = false;
  int const holder;  // the process that may let go
};

/// What came of one attempt.
struct LockAttempt {
  std::unique_ptr<LockFile> lock;  // null where it isn't taken
  bool mayBeRepeated;              // somebody holds it, or access to what is there is denied
};

}  // namespace ZaM::platform

#endif

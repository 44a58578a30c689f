// Starts the guard of a lock file.
#ifndef ZAM_PLATFORM_GUARD_PROCESS_H
#define ZAM_PLATFORM_GUARD_PROCESS_H

#include <string>

#include "zam/platform/lock_guard.h"

namespace ZaM::platform {

/// The process that guards one lock.
///
/// It is a small program, which costs the same however large its starter is. A second process starts it and ends at
/// once, so that it is nobody's child whom the holder could meet by waiting. Where the program isn't there, and where
/// the holder itself inherits such children, a forked copy of the holder guards: waiting doesn't see it as long as it
/// is no other program.
class GuardProcess {
 public:
  /// False where the system gives no process. `program` is an absolute path. Throws std::bad_alloc.
  [[nodiscard]] bool Start(LockedFile const& lock, std::string const& program);

  /// Ends a guard that is a child, by force if need be, and leaves no child behind. The holder has let the file vanish
  /// and has closed `hold` before.
  void End();

 private:
  int child = -1;  // of a forked guard; else -1
};

}  // namespace ZaM::platform

#endif

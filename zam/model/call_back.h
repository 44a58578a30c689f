// Progress, status and cancelling of a run.
#ifndef ZAM_MODEL_CALL_BACK_H
#define ZAM_MODEL_CALL_BACK_H

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// What an algorithm tells about its progress, and where it asks whether to go on.
///
/// The algorithm sets a `bool` to false and passes its address as `stop` with each report; an override that wants the
/// run to stop sets it to true, and the algorithm then throws UserCanceledException. The base never touches it, so it
/// may be null there. The flag that `GetCancel` returns is a derived class's own; no algorithm of the library asks for
/// it.
///
/// The current value never exceeds the maximum: a value beyond it moves the maximum up, and a lower maximum pulls the
/// value down.
///
/// Threads: called on the thread of the algorithm; there is no lock.
/// Errors:  BaseException with id 5 when memory runs out for the status, or for that of a copy; nothing is changed
///          then.
class ZAM_EXPORT CallBack {
 public:
  CallBack() = default;
  CallBack(CallBack const&) = default;
  CallBack(CallBack&&) = default;
  /// Changes nothing when memory runs out.
  CallBack& operator=(CallBack const& other) { return *this = CallBack(other); }
  CallBack& operator=(CallBack&&) = default;
  virtual ~CallBack();

  /// Moves the current value, and the maximum with it where it is exceeded.
  virtual void SetCurrent(unsigned int value, bool* stop);

  /// Sets the maximum, and pulls the current value down to it.
  virtual void SetMaximum(unsigned int value);

  /// Says in words what is being done.
  virtual void SetStatus(wstring const& text, bool* stop);

  /// Moves the current value on by `step`, modulo 2³², and then the maximum where it is exceeded.
  virtual void Increment(unsigned int step, bool* stop);

  /// The flag of the derived class. No algorithm of the library asks for it.
  virtual bool GetCancel();
  /// How far the work has come: the current value is never above the maximum.
  virtual unsigned int GetCurrent();
  virtual unsigned int GetMaximum();
  /// What is being done, in words.
  virtual wstring const& GetStatus() const;

 protected:
  bool cancel = false;  ///< For derived classes, which alone can change it.

 private:
  unsigned int current = 0;  // never above maximum
  unsigned int maximum = 0;
  detail::ReportingCopies<wstring> status;
};

}  // namespace ZaM

#endif

// The progress bar, and the place where Ctrl-C takes effect.
#ifndef CLASSIFY_CORPUS_PROGRESS_H
#define CLASSIFY_CORPUS_PROGRESS_H

#include <zam/zam.h>

#include <chrono>
#include <string>

#include "interrupt.h"

namespace classify {

/// Shows on standard error how far a run has come, if that is a terminal, and cancels it after Ctrl-C.
///
/// The library's algorithms report to it as to any `CallBack`; the program's own loops call `Step`.
class Progress : public ZaM::CallBack {
 public:
  /// Without a bar it still cancels.
  explicit Progress(bool showBar) : isShown(showBar) {}
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;
  /// Takes the bar away.
  ~Progress() override;

  /// Starts a stage of so many steps; 0 where nobody can tell: the bar shows its name alone then.
  void Begin(std::string const& stage, std::size_t steps);

  /// One step of the program's own work, or a mere look at whether to go on.
  /// Throws UserCanceledException with the number `id` after Ctrl-C.
  void Step(CancelId id, unsigned int steps = 1);

  void Increment(unsigned int step, bool* cancel) override;

 private:
  using Clock = std::chrono::steady_clock;

  void Draw();
  std::string TimeLeft();
  void Erase();

  bool isShown;
  std::size_t width = 0;         // of what stands on the terminal
  Clock::time_point begun{};     // of the stage
  Clock::time_point nextDraw{};  // drawing at each step would take longer than the work
};

}  // namespace classify

#endif

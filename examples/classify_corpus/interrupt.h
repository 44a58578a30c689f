// Ctrl-C as a wish to stop instead of a sudden end.
#ifndef CLASSIFY_CORPUS_INTERRUPT_H
#define CLASSIFY_CORPUS_INTERRUPT_H

#include <cstdint>

namespace classify {

/// Which sentence says what was cancelled: the number of a `ZaM::UserCanceledException`.
enum class CancelId : std::int32_t { Classifying = 20, Training = 21, Reading = 22 };

/// From here on the first Ctrl-C is only remembered, and interrupts what waits for input; a second one ends the process
/// as usual. The same holds for the signal by which other programs, mpirun among them, ask a process to end.
void CatchInterrupt();

/// Whether Ctrl-C was pressed since `CatchInterrupt`. On any thread.
bool IsInterrupted();

/// Throws UserCanceledException with the number `id` then. On any thread.
void StopIfInterrupted(CancelId id);

}  // namespace classify

#endif

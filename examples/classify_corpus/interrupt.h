// Ctrl-C as a wish to stop instead of a sudden end.
#ifndef CLASSIFY_CORPUS_INTERRUPT_H
#define CLASSIFY_CORPUS_INTERRUPT_H

namespace classify {

/// From here on the first Ctrl-C is only remembered; a second one ends the process as usual.
void CatchInterrupt();

/// Whether Ctrl-C was pressed since `CatchInterrupt`.
bool IsInterrupted();

}  // namespace classify

#endif

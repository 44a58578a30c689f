// What the program can do.
#ifndef CLASSIFY_CORPUS_COMMANDS_H
#define CLASSIFY_CORPUS_COMMANDS_H

#include "communicator.h"
#include "notes.h"
#include "options.h"

namespace classify {

// Each of them does what the options ask for, and gives the exit code. Files are written at the very end: a run that is
// cancelled or fails leaves nothing behind. All ranks call the same; what there is to tell and to write is up to the
// first one. Errors: RunError, the library's exceptions, std::bad_alloc.

/// Learns from one part of a corpus, or loads results, and tells how well the other part was classified.
int Evaluate(Options const& options, Notes& notes, Communicator& ranks);

/// Learns from a corpus, and keeps the classes in a file.
int Learn(Options const& options, Notes& notes, Communicator& ranks);

/// Classifies documents by the classes in a file, and writes a record for each. Without a file to write to, records
/// appear as soon as they are made.
int Apply(Options const& options, Communicator& ranks);

/// Whether the user is to see a progress bar.
bool ShowsBar(Options const& options);

}  // namespace classify

#endif

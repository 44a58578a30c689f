// A corpus that ranks read together.
#ifndef CLASSIFY_CORPUS_SHARED_CORPUS_H
#define CLASSIFY_CORPUS_SHARED_CORPUS_H

#include "communicator.h"
#include "corpus.h"
#include "notes.h"

namespace classify {

/// Gives each rank its stretch of the documents of `whole`, which only the first one has to know: together the
/// stretches are the corpus in its order. Class names are the same on all ranks.
Corpus ShareOut(Corpus whole, Communicator& ranks);

/// Brings the notes of all ranks to the first one, after its own. Others have none then.
void GatherNotes(Notes& notes, Communicator& ranks);

}  // namespace classify

#endif

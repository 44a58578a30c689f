// Reads the documents of a corpus into terms.
#ifndef CLASSIFY_CORPUS_CORPUS_READER_H
#define CLASSIFY_CORPUS_CORPUS_READER_H

#include <vector>

#include "corpus.h"
#include "progress.h"
#include "settings.h"
#include "term_extractor.h"

namespace classify {

struct Document {
  DocumentFile const* file;  // in the corpus
  Terms terms;
};

/// The documents of `corpus`, in its order, without those that can't be read or aren't text: these are noted. Texts
/// aren't kept. Reads on up to `jobs` threads. Throws RunError if nothing is left, UserCanceledException(22) if the
/// user wants to stop.
std::vector<Document> ReadCorpus(Corpus const& corpus, Settings const& settings, std::size_t jobs, Progress& progress,
                                 Notes& notes);

}  // namespace classify

#endif

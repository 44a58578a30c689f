// Reads the documents of a corpus into terms.
#ifndef CLASSIFY_CORPUS_CORPUS_READER_H
#define CLASSIFY_CORPUS_CORPUS_READER_H

#include <cstdint>
#include <vector>

#include "communicator.h"
#include "corpus.h"
#include "progress.h"
#include "settings.h"
#include "term_extractor.h"

namespace classify {

struct Document {
  DocumentFile const* file;  // in the corpus
  Terms terms;
};

/// The documents of `corpus`, which is a rank's stretch of the whole, in its order, without those that can't be read or
/// aren't text: these are noted on the first rank. Texts aren't kept. Reads on up to `jobs` threads. Throws
/// UserCanceledException(22) if the user wants to stop, and RunError if one of several ranks doesn't find a document
/// that the first one has listed.
std::vector<Document> ReadCorpus(Corpus const& corpus, Settings const& settings, std::size_t jobs, Progress& progress,
                                 Notes& notes, Communicator& ranks);

/// How many documents all ranks have read. Throws RunError if there is none.
std::uint64_t CountDocuments(Corpus const& corpus, std::vector<Document> const& documents, Communicator& ranks);

}  // namespace classify

#endif

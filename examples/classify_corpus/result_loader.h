// Brings the results of one run, of its shares, or of several folds back.
#ifndef CLASSIFY_CORPUS_RESULT_LOADER_H
#define CLASSIFY_CORPUS_RESULT_LOADER_H

#include <filesystem>
#include <vector>

#include "findings.h"
#include "notes.h"
#include "progress.h"

namespace classify {

/// What the files hold, put together. They have to belong together: to one corpus with the same classes, classified
/// with the same settings, each document in one of them alone. Notes folds of which documents are missing. Throws
/// RunError, which names the file, for one that can't be read, is damaged or doesn't belong to the first;
/// UserCanceledException(22) if the user wants to stop.
Findings LoadResults(std::vector<std::filesystem::path> const& files, Progress& progress, Notes& notes);

}  // namespace classify

#endif

// Work that is divided among threads.
#ifndef CLASSIFY_CORPUS_JOBS_H
#define CLASSIFY_CORPUS_JOBS_H

#include <cstddef>
#include <functional>

#include "interrupt.h"
#include "progress.h"

namespace classify {

/// What `ForEach` does with one item. `worker` is a number below the number of jobs: calls with the same one never run
/// at the same time, so that each may have tools of its own.
using Work = std::function<void(std::size_t worker, std::size_t item)>;

/// Does `work` for the items 0 to `count` - 1, in any order, on up to `jobs` threads, and counts them as steps of
/// `progress`. With one job everything happens on the caller's thread.
///
/// What an item throws ends the whole, after the items in work; of several exceptions that of the first item passes
/// through, whatever the number of jobs. Throws UserCanceledException with the number `id` after Ctrl-C.
void ForEach(std::size_t jobs, std::size_t count, Progress& progress, CancelId id, Work const& work);

}  // namespace classify

#endif

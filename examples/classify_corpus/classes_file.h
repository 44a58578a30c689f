// The file that keeps learned classes.
#ifndef CLASSIFY_CORPUS_CLASSES_FILE_H
#define CLASSIFY_CORPUS_CLASSES_FILE_H

#include <filesystem>

#include "learned_classes.h"
#include "pending_file.h"

namespace classify {

/// Writes the classes as docs/formats.md describes it: equal classes give equal bytes. Classes without a model are left
/// out, and the others numbered from 1. Throws RunError if that fails, or if there is no class.
void WriteClasses(LearnedClasses const& classes, PendingFile& file);

/// Reads them back. Takes no more memory than the file has bytes, and nearly nothing for a file whose size isn't what
/// its header says. Throws RunError, which names the file, for one that can't be read, is damaged, of another kind or
/// of a newer version.
LearnedClasses ReadClasses(std::filesystem::path const& path);

}  // namespace classify

#endif

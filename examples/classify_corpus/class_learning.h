// From documents to learned classes.
#ifndef CLASSIFY_CORPUS_CLASS_LEARNING_H
#define CLASSIFY_CORPUS_CLASS_LEARNING_H

#include <string>
#include <vector>

#include "corpus_reader.h"
#include "learned_classes.h"
#include "progress.h"

namespace classify {

/// Learns the classes with these names, by class id, on up to `jobs` threads; what is learned doesn't depend on how
/// many they are. A class without a document among `training` gets no model.
/// Throws UserCanceledException(21) if the user wants to stop.
LearnedClasses LearnClasses(std::vector<Document const*> const& training, std::vector<std::string> const& names,
                            Settings const& settings, std::size_t jobs, Progress& progress);

}  // namespace classify

#endif

// From documents to learned classes.
#ifndef CLASSIFY_CORPUS_CLASS_LEARNING_H
#define CLASSIFY_CORPUS_CLASS_LEARNING_H

#include <string>
#include <vector>

#include "communicator.h"
#include "corpus_reader.h"
#include "learned_classes.h"
#include "progress.h"

namespace classify {

/// Which ranks get what all have learned; the others get no class.
enum class Receivers { First, All };

/// Learns the classes with these names, by class id, from the documents of all ranks, on up to `jobs` threads of each.
/// What is learned depends neither on how many these are, nor on how the documents are divided. A class without a
/// document among `training` gets no model.
/// Throws UserCanceledException(21) if the user wants to stop.
LearnedClasses LearnClasses(std::vector<Document const*> const& training, std::vector<std::string> const& names,
                            Settings const& settings, std::size_t jobs, Progress& progress, Communicator& ranks,
                            Receivers receivers);

}  // namespace classify

#endif

// Learning that ranks divide by class.
#ifndef CLASSIFY_CORPUS_SHARED_LEARNING_H
#define CLASSIFY_CORPUS_SHARED_LEARNING_H

#include <zam/zam.h>

#include <vector>

#include "class_learning.h"
#include "trainer.h"

namespace classify {

/// The models of these classes, in their order.
std::vector<ZaM::Ref<ClassModel>> LearnModels(Trainer const& trainer, std::vector<unsigned int> const& ids,
                                              std::size_t jobs, Progress& progress);

/// What a single process learns from the documents of all ranks, to the last bit. Every rank gets the vectors of all
/// documents, once, and learns its share of the classes from them. Names and settings are left open.
LearnedClasses LearnTogether(std::vector<Document const*> const& training, std::size_t jobs, Progress& progress,
                             Communicator& ranks, Receivers receivers);

}  // namespace classify

#endif

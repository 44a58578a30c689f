#include "class_learning.h"

#include <utility>

#include "jobs.h"
#include "shared_learning.h"
#include "trainer.h"
#include "training_set.h"

namespace classify {

namespace {

TrainingSet Weigh(std::vector<Document const*> const& training, Vocabulary const& vocabulary, Progress& progress) {
  TrainingSet set(vocabulary.Size());
  for (Document const* document : training) {
    progress.Step(CancelId::Training);
    set.Add(vocabulary.Weigh(document->terms), document->file->classId);
  }
  return set;
}

LearnedClasses LearnAlone(std::vector<Document const*> const& training, std::size_t jobs, Progress& progress) {
  LearnedClasses learned{Vocabulary(training)};
  learned.documents = training.size();
  TrainingSet set = Weigh(training, learned.vocabulary, progress);
  std::vector<unsigned int> const ids = set.ClassIds();
  for (auto& model : LearnModels(Trainer(std::move(set)), ids, jobs, progress)) learned.Add(model.Detach());
  return learned;
}

}  // namespace

std::vector<ZaM::Ref<ClassModel>> LearnModels(Trainer const& trainer, std::vector<unsigned int> const& ids,
                                              std::size_t jobs, Progress& progress) {
  progress.Begin("training", ids.size());
  std::vector<ZaM::Ref<ClassModel>> models(ids.size());
  ForEach(jobs, ids.size(), progress, CancelId::Training,
          [&](std::size_t /*worker*/, std::size_t i) { models[i] = ZaM::Ref(trainer.Learn(ids[i])); });
  return models;
}

LearnedClasses LearnClasses(std::vector<Document const*> const& training, std::vector<std::string> const& names,
                            Settings const& settings, std::size_t jobs, Progress& progress, Communicator& ranks,
                            Receivers receivers) {
  progress.Begin("weighing", training.size());
  LearnedClasses learned = ranks.IsAlone() ? LearnAlone(training, jobs, progress)
                                           : LearnTogether(training, jobs, progress, ranks, receivers);
  learned.settings = settings;
  learned.names = names;
  return learned;
}

}  // namespace classify

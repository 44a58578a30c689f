#include "class_learning.h"

#include <set>
#include <utility>

#include "jobs.h"
#include "trainer.h"
#include "training_set.h"

namespace classify {

namespace {

TrainingSet Weigh(std::vector<Document const*> const& training, Vocabulary const& vocabulary) {
  TrainingSet set(vocabulary.Size());
  for (Document const* document : training) {
    StopIfInterrupted(CancelId::Training);
    set.Add(vocabulary.Weigh(document->terms), document->file->classId);
  }
  return set;
}

}  // namespace

LearnedClasses LearnClasses(std::vector<Document const*> const& training, std::vector<std::string> const& names,
                            Settings const& settings, std::size_t jobs, Progress& progress) {
  LearnedClasses learned{Vocabulary(training)};
  learned.settings = settings;
  learned.documents = training.size();
  learned.names = names;
  std::set<unsigned int> present;
  for (Document const* document : training) present.insert(document->file->classId);
  std::vector<unsigned int> const ids(present.begin(), present.end());

  progress.Begin("training", ids.size());
  Trainer const trainer(Weigh(training, learned.vocabulary));
  std::vector<ZaM::Ref<ClassModel>> models(ids.size());
  ForEach(jobs, ids.size(), progress, CancelId::Training,
          [&](std::size_t /*worker*/, std::size_t i) { models[i] = ZaM::Ref(trainer.Learn(ids[i])); });
  for (auto& model : models) learned.Add(model.Detach());
  return learned;
}

}  // namespace classify

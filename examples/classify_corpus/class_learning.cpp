#include "class_learning.h"

#include <algorithm>
#include <cstddef>
#include <span>
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

// As many as give each thread a group. Groups have places for a multiple of four; only a class alone is cheaper.
std::size_t ClassesAtOnce(std::size_t classes, std::size_t jobs) {
  std::size_t const share = (classes + jobs - 1) / jobs;
  return share <= 1 ? 1 : std::min((share + 3) / 4 * 4, Trainer::mostAtOnce);
}

}  // namespace

std::vector<ZaM::Ref<ClassModel>> LearnModels(Trainer const& trainer, std::vector<unsigned int> const& ids,
                                              std::size_t jobs, Progress& progress) {
  std::size_t const atOnce = ClassesAtOnce(ids.size(), jobs);
  std::size_t const groups = (ids.size() + atOnce - 1) / atOnce;
  progress.Begin("training", groups);
  std::vector<ZaM::Ref<ClassModel>> models(ids.size());
  ForEach(jobs, groups, progress, CancelId::Training, [&](std::size_t /*worker*/, std::size_t group) {
    std::size_t const first = group * atOnce;
    auto learned = trainer.Learn(std::span(ids).subspan(first, std::min(atOnce, ids.size() - first)));
    std::move(learned.begin(), learned.end(), models.begin() + static_cast<std::ptrdiff_t>(first));
  });
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

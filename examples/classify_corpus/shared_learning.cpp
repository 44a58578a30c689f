#include "shared_learning.h"

#include <map>
#include <string>
#include <utility>

#include "message.h"
#include "shared_vocabulary.h"

namespace classify {

using ZaM::Ref;

namespace {

std::string Vectors(std::vector<Document const*> const& training, SharedVocabulary const& vocabulary,
                    Progress& progress) {
  MessageWriter message;
  for (Document const* document : training) {
    progress.Step(CancelId::Training);
    message.Put(document->file->classId);
    message.PutAll(std::span<WeightedTerm const>(vocabulary.Weigh(document->terms)));
  }
  return message.Take();
}

// In the order of ranks, which is that of the corpus: what is learned depends on it.
TrainingSet Collect(std::string own, std::size_t vocabularySize, Communicator& ranks) {
  TrainingSet set(vocabularySize);
  for (std::size_t rank = 0; rank < ranks.Size(); ++rank) {
    std::string const bytes =
        ranks.Broadcast(rank, rank == ranks.Rank() ? std::exchange(own, std::string()) : std::string());
    for (MessageReader message(bytes); !message.IsAtEnd();) {
      auto const classId = message.Get<unsigned int>();
      set.Add(message.GetAll<WeightedTerm>(), classId);
    }
  }
  return set;
}

// Classes take about the same time each: all of them are learned from all documents.
std::vector<unsigned int> ShareOf(std::vector<unsigned int> const& ids, Communicator const& ranks) {
  std::vector<unsigned int> share;
  for (std::size_t i = ranks.Rank(); i < ids.size(); i += ranks.Size()) share.push_back(ids[i]);
  return share;
}

// A rank's stretch of the vocabulary, and its models.
std::string Lesson(SharedVocabulary const& vocabulary, std::vector<Ref<ClassModel>> const& models) {
  MessageWriter message;
  for (SharedVocabulary::Stretch const& stretch : vocabulary.Own()) {
    message.PutAll(std::span(stretch.hashes));
    message.PutAll(std::span(stretch.weights));
  }
  for (Ref<ClassModel> const& model : models) {
    message.Put(model->GetClassId());
    message.Put(model->Bias());
    message.PutAll(std::span(model->Weights()));
  }
  return message.Take();
}

/// Puts the lessons of all ranks together.
class Lessons {
 public:
  void Add(std::string const& bytes) {
    if (bytes.empty()) return;
    MessageReader message(bytes);
    for (std::size_t kind = 0; kind < termKindCount; ++kind) {
      for (std::uint32_t const hash : message.GetAll<std::uint32_t>()) keys[kind].push_back({allTermKinds[kind], hash});
      for (float const weight : message.GetAll<float>()) weights[kind].push_back(weight);
    }
    while (!message.IsAtEnd()) {
      auto const id = message.Get<unsigned int>();
      auto const bias = message.Get<double>();
      models[id] = Ref(ClassModel::Create(id, message.GetAll<float>(), bias));
    }
  }

  LearnedClasses Take() {
    for (std::size_t kind = 1; kind < termKindCount; ++kind) {
      keys[0].insert(keys[0].end(), keys[kind].begin(), keys[kind].end());
      weights[0].insert(weights[0].end(), weights[kind].begin(), weights[kind].end());
    }
    LearnedClasses learned{Vocabulary(std::move(keys[0]), std::move(weights[0]))};
    for (auto& [id, model] : models) learned.Add(model.Detach());
    return learned;
  }

 private:
  std::array<std::vector<TermKey>, termKindCount> keys;
  std::array<std::vector<float>, termKindCount> weights;
  std::map<unsigned int, Ref<ClassModel>> models;
};

}  // namespace

LearnedClasses LearnTogether(std::vector<Document const*> const& training, std::size_t jobs, Progress& progress,
                             Communicator& ranks, Receivers receivers) {
  SharedVocabulary const vocabulary(training, ranks);
  std::string lesson;
  {
    TrainingSet set = Collect(Vectors(training, vocabulary, progress), vocabulary.Size(), ranks);
    std::vector<unsigned int> const ids = ShareOf(set.ClassIds(), ranks);
    lesson = Lesson(vocabulary, LearnModels(Trainer(std::move(set)), ids, jobs, progress));
  }

  Lessons lessons;
  if (receivers == Receivers::First) {
    for (std::string const& bytes : ranks.Gather(std::move(lesson))) lessons.Add(bytes);
  } else {
    for (std::size_t rank = 0; rank < ranks.Size(); ++rank)
      lessons.Add(ranks.Broadcast(rank, rank == ranks.Rank() ? std::exchange(lesson, std::string()) : std::string()));
  }
  LearnedClasses learned = lessons.Take();
  learned.documents = ranks.Sum(training.size());
  return learned;
}

}  // namespace classify

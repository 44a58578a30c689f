#include "experiment.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "class_learning.h"
#include "document_classifier.h"
#include "jobs.h"
#include "message.h"
#include "plane.h"
#include "run_error.h"
#include "tags.h"

namespace classify {

using ZaM::DocumentNode;
using ZaM::Ref;

void Experiment::Run(unsigned int fold) {
  std::vector<Document const*> training;
  std::vector<Document const*> tests;
  for (Document const& document : place.documents)
    (document.file->fold == fold ? tests : training).push_back(&document);
  FoldSize const size{place.ranks.Sum(training.size()), place.ranks.Sum(tests.size())};
  if (size.tested == 0) return;
  if (size.learned == 0)
    throw RunError{"there is nothing to learn from: the names of all documents belong to fold " + std::to_string(fold)};
  place.findings.folds[fold] = size;
  KeepShare(tests);
  if (tests.empty() && place.ranks.IsAlone()) return;

  LearnedClasses const classes = place.clocks.train.Time(size.learned, [&] {
    return LearnClasses(training, place.corpus.classNames, place.options.settings, place.options.jobs, place.progress,
                        place.ranks, Receivers::All);
  });
  NoteUntrained(classes, fold);
  Test(tests, classes, fold);
  if (place.options.WantsMap() && !hasMap)
    place.clocks.map.Time(size.tested, [&] { DrawOnPlane(training, tests, classes.vocabulary, fold); });
}

void Experiment::Test(std::vector<Document const*> const& tests, LearnedClasses const& classes, unsigned int fold) {
  std::uint64_t const tested = place.ranks.Sum(tests.size());
  auto const results = place.clocks.classify.Time(tested, [&] { return Classify(tests, classes); });
  MessageWriter message;
  for (std::size_t i = 0; i < tests.size(); ++i) {
    DocumentFile const& file = *tests[i]->file;
    if (place.ranks.IsFirst()) {
      place.findings.Add(place.corpus.NameOf(file), file.classId, fold, results[i].Get());
    } else {
      message.PutText(place.corpus.NameOf(file));
      message.Put(file.classId);
      message.PutAll(std::span<ZaM::IndexedResult const>(results[i]->GetBestResults(0)));
    }
  }
  for (std::string const& bytes : place.ranks.Gather(message.Take())) AddResults(bytes, fold);
}

void Experiment::AddResults(std::string const& bytes, unsigned int fold) {
  for (MessageReader message(bytes); !message.IsAtEnd();) {
    std::string name = message.GetText();
    auto const classId = message.Get<unsigned int>();
    Ref const result(ZaM::SparseResult::Create());
    result->SetResults(message.GetAll<ZaM::IndexedResult>());
    place.findings.Add(std::move(name), classId, fold, result.Get());
  }
}

void Experiment::KeepShare(std::vector<Document const*>& tests) const {
  std::size_t position = 0;
  std::erase_if(tests, [&](Document const* /*document*/) { return !place.options.shard.Has(position++); });
}

void Experiment::NoteUntrained(LearnedClasses const& classes, unsigned int fold) {
  auto model = classes.models.begin();
  for (unsigned int id = 1; id <= place.corpus.ClassCount(); ++id) {
    if (model != classes.models.end() && (*model)->GetClassId() == id) {
      ++model;
    } else {
      place.notes.Add("class with nothing to learn from when fold " + std::to_string(fold) + " is tested",
                      place.corpus.classNames[id]);
    }
  }
}

std::vector<Ref<ZaM::SparseResult>> Experiment::Classify(std::vector<Document const*> const& tests,
                                                         LearnedClasses const& classes) {
  std::vector<DocumentClassifier> classifiers;
  for (std::size_t i = 0; i < place.options.jobs; ++i)
    classifiers.emplace_back(classes, place.options.settings.maxResults);
  std::vector<Ref<ZaM::SparseResult>> results(tests.size());
  place.progress.Begin("classifying", tests.size());
  ForEach(place.options.jobs, tests.size(), place.progress, CancelId::Classifying,
          [&](std::size_t worker, std::size_t i) { results[i] = classifiers[worker].Classify(tests[i]->terms); });
  return results;
}

// The first rank chooses examples by the classes of all documents, and gets the vectors of these from their ranks.
std::vector<PlaneExample> Experiment::ExamplesOf(std::vector<Document const*> const& training,
                                                 Vocabulary const& vocabulary) {
  std::vector<Document const*> usable;
  std::vector<unsigned int> classIds;
  for (Document const* document : training) {
    StopIfInterrupted(CancelId::Training);
    if (vocabulary.Weigh(document->terms).empty()) continue;
    usable.push_back(document);
    classIds.push_back(document->file->classId);
  }
  MessageWriter own;
  own.PutAll(std::span<unsigned int const>(classIds));
  std::vector<std::string> const offers = place.ranks.AllToAll(std::vector(place.ranks.Size(), own.Take()));
  std::vector<unsigned int> all;
  std::size_t begin = 0;  // of this rank's
  for (std::size_t rank = 0; rank < offers.size(); ++rank) {
    if (rank == place.ranks.Rank()) begin = all.size();
    if (!offers[rank].empty())
      std::ranges::move(MessageReader(offers[rank]).GetAll<unsigned int>(), std::back_inserter(all));
  }
  std::vector<Document const*> chosen;
  for (std::size_t const i : Plane::Choose(all))
    if (i >= begin && i - begin < usable.size()) chosen.push_back(usable[i - begin]);
  return GatherVectors(chosen, vocabulary);
}

std::vector<PlaneExample> Experiment::GatherVectors(std::vector<Document const*> const& documents,
                                                    Vocabulary const& vocabulary) {
  MessageWriter message;
  for (Document const* document : documents) {
    message.Put(document->file->classId);
    message.PutText(place.corpus.NameOf(*document->file));
    message.PutAll(std::span<WeightedTerm const>(vocabulary.Weigh(document->terms)));
  }
  std::vector<PlaneExample> gathered;
  for (std::string const& bytes : place.ranks.Gather(message.Take())) {
    for (MessageReader reader(bytes); !reader.IsAtEnd();) {
      auto const classId = reader.Get<unsigned int>();
      std::string name = reader.GetText();
      gathered.push_back({Ref(WordVector::Create(reader.GetAll<WeightedTerm>())), classId, std::move(name)});
    }
  }
  return gathered;
}

void Experiment::DrawOnPlane(std::vector<Document const*> const& training, std::vector<Document const*> const& tests,
                             Vocabulary const& vocabulary, unsigned int fold) {
  hasMap = true;
  place.progress.Begin("map", 0);
  std::vector<PlaneExample> examples = ExamplesOf(training, vocabulary);
  std::vector<PlaneExample> shown = GatherVectors(tests, vocabulary);
  if (!place.ranks.IsFirst()) return;
  bool const isAsked = !place.options.map.empty() || !place.options.model.empty();
  if (!isAsked && examples.size() < Plane::fewestExamples) return;
  Plane plane(std::move(examples));
  plane.LearnOrLoad(place.options.model, place.outputs, place.progress);

  Ref<DocumentNode> const root(DocumentNode::Create());
  std::vector<DocumentNode*> nodes;
  for (PlaneExample& document : shown) {
    nodes.push_back(DocumentNode::Create(document.classId, root.Get()));
    root->AddChild(nodes.back());
    nodes.back()->AddRepresentation(document.words.Detach());
  }
  plane.Project(*root);
  place.findings.map.fold = fold;
  place.findings.map.examples = plane.ExampleCount();
  std::size_t const first = place.findings.Tested().size() - shown.size();
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (auto const point = Plane::PointOf(*nodes[i]))
      place.findings.map.points.emplace(place.findings.Tested()[first + i].node, *point);
  }
}

}  // namespace classify

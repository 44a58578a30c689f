#include "experiment.h"

#include <string>
#include <utility>

#include "class_learning.h"
#include "document_classifier.h"
#include "jobs.h"
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
  if (tests.empty()) return;
  if (training.empty())
    throw RunError{"there is nothing to learn from: the names of all documents belong to fold " + std::to_string(fold)};
  place.findings.folds[fold] = {training.size(), tests.size()};
  keepShare(tests);
  if (tests.empty()) return;

  auto const& [options, corpus, documents, progress, clocks, notes, findings, outputs] = place;
  LearnedClasses const classes = clocks.train.Time(training.size(), [&] {
    return LearnClasses(training, place.corpus.classNames, place.options.settings, place.options.jobs, place.progress);
  });
  noteUntrained(classes, fold);
  auto const results = clocks.classify.Time(tests.size(), [&] { return classify(tests, classes); });
  for (std::size_t i = 0; i < tests.size(); ++i) {
    DocumentFile const& file = *tests[i]->file;
    findings.Add(corpus.NameOf(file), file.classId, fold, results[i].Get());
  }
  if (options.WantsMap() && findings.map.points.empty())
    clocks.map.Time(tests.size(), [&] { drawOnPlane(training, tests, classes.vocabulary, fold); });
}

void Experiment::keepShare(std::vector<Document const*>& tests) const {
  std::size_t position = 0;
  std::erase_if(tests, [&](Document const* /*document*/) { return !place.options.shard.Has(position++); });
}

void Experiment::noteUntrained(LearnedClasses const& classes, unsigned int fold) {
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

std::vector<Ref<ZaM::SparseResult>> Experiment::classify(std::vector<Document const*> const& tests,
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

void Experiment::drawOnPlane(std::vector<Document const*> const& training, std::vector<Document const*> const& tests,
                             Vocabulary const& vocabulary, unsigned int fold) {
  std::vector<PlaneExample> examples;
  examples.reserve(training.size());
  for (Document const* document : training) {
    examples.push_back({Ref(WordVector::Create(vocabulary.Weigh(document->terms))), document->file->classId,
                        place.corpus.NameOf(*document->file)});
  }
  place.progress.Begin("map", 2);
  place.progress.Step(CancelId::Classifying, 0);
  Plane plane(std::move(examples));
  plane.LearnOrLoad(place.options.model, place.outputs);

  Ref<DocumentNode> const root(DocumentNode::Create());
  std::vector<DocumentNode*> nodes;
  for (Document const* document : tests) {
    nodes.push_back(DocumentNode::Create(document->file->classId, root.Get()));
    root->AddChild(nodes.back());
    nodes.back()->AddRepresentation(WordVector::Create(vocabulary.Weigh(document->terms)));
  }
  place.progress.Step(CancelId::Classifying);
  plane.Project(*root);
  place.findings.map.fold = fold;
  place.findings.map.examples = plane.ExampleCount();
  std::size_t const first = place.findings.Tested().size() - tests.size();
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (auto const point = Plane::PointOf(*nodes[i]))
      place.findings.map.points.emplace(place.findings.Tested()[first + i].node, *point);
  }
}

}  // namespace classify

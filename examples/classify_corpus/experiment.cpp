#include "experiment.h"

#include <set>
#include <string>
#include <utility>

#include "plane.h"
#include "run_error.h"
#include "tags.h"

namespace classify {

using ZaM::DocumentNode;
using ZaM::Ref;

/// The documents of a fold, below a node for each class, and the way back to their files.
struct Experiment::TestTree {
  struct Leaf {
    DocumentFile const* file;
    DocumentNode* node;  // owned by the tree
  };

  Ref<DocumentNode> root;
  std::vector<Leaf> leaves;
};

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

  Vocabulary const vocabulary = place.clocks.train.Time(training.size(), [&] { return Vocabulary(training); });
  auto const classes = place.clocks.train.Time(0, [&] { return createClassTree(training, vocabulary, fold); });
  TestTree const tree = place.clocks.classify.Time(tests.size(), [&] {
    TestTree made = createTestTree(tests, vocabulary);
    classifyTree(*classes, *made.root);
    return made;
  });
  for (auto const [file, node] : tree.leaves) {
    auto* const result = dynamic_cast<ZaM::Result*>(node->GetRepresentation(ResultTag()));
    place.findings.Add(place.corpus.NameOf(*file), file->classId, fold, result);
  }
  if (place.options.WantsMap() && place.findings.map.points.empty()) {
    place.clocks.map.Time(tests.size(), [&] { drawOnPlane(training, vocabulary, fold, tree); });
  }
}

void Experiment::keepShare(std::vector<Document const*>& tests) const {
  std::size_t position = 0;
  std::erase_if(tests, [&](Document const* /*document*/) { return !place.options.shard.Has(position++); });
}

Ref<DocumentNode> Experiment::createClassTree(std::vector<Document const*> const& training,
                                              Vocabulary const& vocabulary, unsigned int fold) {
  std::set<unsigned int> present;
  for (Document const* document : training) present.insert(document->file->classId);

  place.progress.Begin("training", place.corpus.ClassCount());
  Trainer const trainer = createTrainer(training, vocabulary);
  Ref<DocumentNode> root(DocumentNode::Create());
  for (unsigned int id = 1; id <= place.corpus.ClassCount(); ++id) {
    place.progress.Step(CancelId::Training);
    if (present.contains(id)) {
      root->AddChild(trainer.Learn(id, place.progress));
    } else {
      place.notes.Add("class with nothing to learn from when fold " + std::to_string(fold) + " is tested",
                      place.corpus.classNames[id]);
    }
  }
  return root;
}

Trainer Experiment::createTrainer(std::vector<Document const*> const& training, Vocabulary const& vocabulary) {
  std::vector<TrainingDocument> vectors;
  vectors.reserve(training.size());
  for (Document const* document : training) {
    place.progress.Step(CancelId::Training, 0);
    vectors.push_back({Ref(vocabulary.Weigh(document->terms)), document->file->classId});
  }
  return Trainer(std::move(vectors), vocabulary.Size());
}

Experiment::TestTree Experiment::createTestTree(std::vector<Document const*> const& tests,
                                                Vocabulary const& vocabulary) {
  TestTree tree{Ref(DocumentNode::Create()), {}};
  std::vector<DocumentNode*> folders;
  for (std::size_t id = 1; id <= place.corpus.ClassCount(); ++id) {
    folders.push_back(DocumentNode::Create());
    tree.root->AddChild(folders.back());
  }
  for (Document const* document : tests) {
    place.progress.Step(CancelId::Classifying, 0);
    unsigned int const classId = document->file->classId;
    DocumentNode* const folder = folders[classId - 1];
    DocumentNode* const node = DocumentNode::Create(classId, folder);
    folder->AddChild(node);
    node->AddRepresentation(vocabulary.Weigh(document->terms));
    tree.leaves.push_back({document->file, node});
  }
  place.progress.Begin("classifying", tests.size());
  return tree;
}

void Experiment::drawOnPlane(std::vector<Document const*> const& training, Vocabulary const& vocabulary,
                             unsigned int fold, TestTree const& tree) {
  std::vector<PlaneExample> examples;
  examples.reserve(training.size());
  for (Document const* document : training) {
    examples.push_back(
        {Ref(vocabulary.Weigh(document->terms)), document->file->classId, place.corpus.NameOf(*document->file)});
  }
  Plane plane(std::move(examples));
  plane.LearnOrLoad(place.options.model, place.outputs);
  plane.Project(*tree.root);
  place.findings.map.fold = fold;
  place.findings.map.examples = plane.ExampleCount();
  for (auto const [file, node] : tree.leaves) {
    if (auto const point = Plane::PointOf(*node)) place.findings.map.points.push_back({file->classId, *point});
  }
}

void Experiment::classifyTree(DocumentNode& classes, DocumentNode& documents) {
  ZaM::BayesControl control;
  control.SetDoLearn(true);
  control.SetRootClass(&classes);
  control.SetClassTag(ClassTag());
  control.SetDoClassify(true);
  control.SetRootDocument(&documents);
  control.SetDocumentTag(DocumentTag());
  control.SetResultTag(ResultTag());
  control.SetDoNormalize(true);
  control.SetMaxResults(place.options.settings.maxResults);

  ZaM::BayesClassifier classifier;
  classifier.SetCallBack(&place.progress);
  classifier.DoAlgorithm(&control);
}

}  // namespace classify

// Learning from some folds of a corpus and testing on another.
#ifndef CLASSIFY_CORPUS_EXPERIMENT_H
#define CLASSIFY_CORPUS_EXPERIMENT_H

#include <zam/zam.h>

#include <cstdint>
#include <vector>

#include "corpus.h"
#include "corpus_reader.h"
#include "options.h"
#include "progress.h"
#include "result_file.h"
#include "stage_clock.h"
#include "trainer.h"
#include "vocabulary.h"

namespace classify {

/// What an experiment works on and with. All of it outlives the experiment.
struct Workplace {
  Options const& options;
  Corpus const& corpus;
  std::vector<Document> const& documents;
  Progress& progress;
  StageClocks& clocks;
  Notes& notes;
  ResultFile& results;
};

/// Runs folds, and adds their counts up in one confusion matrix.
///
/// Here is the library's part in the program: a tree of classes, a tree of documents, a classifier that leaves a result
/// on each document, and a visitor that counts the results.
class Experiment {
 public:
  explicit Experiment(Workplace const& given);

  /// Learns from all other folds and tests on this one. Without a document to test there is nothing to count; without
  /// one to learn from it throws RunError. Throws UserCanceledException if the user wants to stop.
  void Run(unsigned int fold);

  ZaM::ErrorMatrix& Matrix() const { return *matrix; }
  std::uint64_t Learned() const { return learned; }
  std::uint64_t Tested() const { return tested; }

 private:
  struct TestTree;

  ZaM::Ref<ZaM::DocumentNode> createClassTree(std::vector<Document const*> const& training,
                                              Vocabulary const& vocabulary, unsigned int fold);
  Trainer createTrainer(std::vector<Document const*> const& training, Vocabulary const& vocabulary);
  TestTree createTestTree(std::vector<Document const*> const& tests, Vocabulary const& vocabulary);
  void classifyTree(ZaM::DocumentNode& classes, ZaM::DocumentNode& documents);
  void evaluate(TestTree const& tree);

  Workplace place;
  ZaM::Ref<ZaM::ErrorMatrix> matrix;
  std::uint64_t learned = 0;
  std::uint64_t tested = 0;
};

}  // namespace classify

#endif

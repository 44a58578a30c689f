// Learning from some folds of a corpus and testing on another.
#ifndef CLASSIFY_CORPUS_EXPERIMENT_H
#define CLASSIFY_CORPUS_EXPERIMENT_H

#include <zam/zam.h>

#include <string>
#include <vector>

#include "communicator.h"
#include "corpus.h"
#include "corpus_reader.h"
#include "findings.h"
#include "learned_classes.h"
#include "options.h"
#include "pending_file.h"
#include "plane.h"
#include "progress.h"
#include "stage_clock.h"

namespace classify {

/// What an experiment works on and with. All of it outlives the experiment.
struct Workplace {
  Options const& options;
  Corpus const& corpus;
  std::vector<Document> const& documents;  // of this rank
  Progress& progress;
  StageClocks& clocks;
  Notes& notes;
  Findings& findings;
  std::vector<PendingFile>& outputs;
  Communicator& ranks;
};

/// Runs folds, and gathers what becomes of their documents on the first rank.
class Experiment {
 public:
  explicit Experiment(Workplace const& given) : place(given) {}

  /// Learns from all other folds and tests on this one, or on the share of it that was asked for. Without a document to
  /// test there is nothing to do; without one to learn from it throws RunError. Throws UserCanceledException if the
  /// user wants to stop.
  void Run(unsigned int fold);

  /// Tests these documents of a fold on classes that there are.
  void Test(std::vector<Document const*> const& tests, LearnedClasses const& classes, unsigned int fold);

 private:
  void AddResults(std::string const& bytes, unsigned int fold);
  void KeepShare(std::vector<Document const*>& tests) const;
  void NoteUntrained(LearnedClasses const& classes, unsigned int fold);
  std::vector<ZaM::Ref<ZaM::SparseResult>> Classify(std::vector<Document const*> const& tests,
                                                    LearnedClasses const& classes);
  std::vector<PlaneExample> ExamplesOf(std::vector<Document const*> const& training, Vocabulary const& vocabulary);
  std::vector<PlaneExample> GatherVectors(std::vector<Document const*> const& documents, Vocabulary const& vocabulary);
  void DrawOnPlane(std::vector<Document const*> const& training, std::vector<Document const*> const& tests,
                   Vocabulary const& vocabulary, unsigned int fold);

  Workplace place;
  bool hasMap = false;
};

}  // namespace classify

#endif

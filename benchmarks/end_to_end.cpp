// From files to classified documents, stage by stage: scripts/bench end-to-end runs it and puts peers beside it.
//
//   end_to_end CORPUS JOBS
//
// Prints a line for each stage: its name, the documents, the seconds, and the most memory in MiB while it ran. The last
// line has the share of tested documents that were given their class. Fold 0 is tested, the others are learned from.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "class_learning.h"
#include "communicator.h"
#include "document_classifier.h"
#include "jobs.h"
#include "text_file.h"

namespace {

using namespace classify;

// The system's own mark of the most memory begins anew for each stage.
void ForgetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

double PeakMebibytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (double kibibytes = 0; word == "VmHWM:" && status >> kibibytes) return kibibytes / 1024;
  return 0;
}

template <class Work>
void Measure(char const* stage, std::size_t documents, Work work) {
  ForgetPeak();
  auto const start = std::chrono::steady_clock::now();
  work();
  std::chrono::duration<double> const passed = std::chrono::steady_clock::now() - start;
  std::printf("%s %zu %.4f %.1f\n", stage, documents, passed.count(), PeakMebibytes());
}

void Run(std::string const& folder, std::size_t jobs) {
  Notes notes;
  Progress progress(false);
  SingleProcess alone;
  Settings const settings;
  Corpus const corpus = ListCorpus(folder, notes);
  std::size_t const count = corpus.files.size();

  std::vector<std::u16string> texts(count);
  Measure("read", count, [&] {
    ForEach(jobs, count, progress, CancelId::Reading, [&](std::size_t /*worker*/, std::size_t i) {
      try {
        texts[i] = ReadText(corpus.files[i].path);
      } catch (UnusableFile const&) {
      }
    });
  });
  std::vector<Document> documents(count);
  Measure("terms", count, [&] {
    std::vector<TermExtractor> extractors = MakeExtractors(jobs, settings);
    ForEach(jobs, count, progress, CancelId::Reading, [&](std::size_t worker, std::size_t i) {
      documents[i] = {&corpus.files[i], extractors[worker].Extract(texts[i])};
    });
  });
  texts = {};

  std::vector<Document const*> training;
  std::vector<Document const*> tests;
  for (Document const& document : documents)
    if (!document.terms.empty()) (document.file->fold == 0 ? tests : training).push_back(&document);
  LearnedClasses classes{Vocabulary({}, {})};
  Measure("learn", training.size(), [&] {
    classes = LearnClasses(training, corpus.classNames, settings, jobs, progress, alone, Receivers::All);
  });
  std::vector<int> isRight(tests.size());
  Measure("classify", tests.size(), [&] {
    std::vector<DocumentClassifier> classifiers;
    for (std::size_t i = 0; i < jobs; ++i) classifiers.emplace_back(classes, settings.maxResults);
    ForEach(jobs, tests.size(), progress, CancelId::Classifying, [&](std::size_t worker, std::size_t i) {
      auto const result = classifiers[worker].Classify(tests[i]->terms);
      auto const& best = result->GetBestResults(0);
      isRight[i] = !best.empty() && best[0].GetIndex() == tests[i]->file->classId ? 1 : 0;
    });
  });
  int right = 0;
  for (int const one : isRight) right += one;
  std::printf("accuracy %d of %zu\n", right, tests.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  Run(argv[1], std::strtoul(argv[2], nullptr, 10));
  return 0;
}

#include <sys/ioctl.h>
#include <unistd.h>
#include <zam/zam.h>

#include <iostream>
#include <optional>
#include <string>
#include <utility>

#include "classes_file.h"
#include "commands.h"
#include "corpus.h"
#include "corpus_reader.h"
#include "evaluation.h"
#include "experiment.h"
#include "findings.h"
#include "fold.h"
#include "html_report.h"
#include "number_text.h"
#include "pending_file.h"
#include "plane.h"
#include "report.h"
#include "result_file.h"
#include "result_loader.h"
#include "run_error.h"
#include "shared_corpus.h"
#include "utf8.h"

namespace classify {

namespace {

// Of the terminal that the report goes to; 0 if it goes anywhere else, where lines may have any length.
std::size_t TerminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string Heading(Findings const& findings) {
  FoldSize const total = findings.Total();
  std::size_t const tested = findings.Tested().size();
  std::string const share = tested == total.tested ? "" : " of " + Grouped(total.tested);
  return findings.corpus + ": " + Grouped(findings.documents) + " documents in " + Grouped(findings.ClassCount()) +
         " classes\ntested on " + findings.FoldNames() + ": " + Grouped(tested) + share + " documents, learned from " +
         Grouped(total.learned) + "\n";
}

std::string Report(Findings const& findings, ZaM::ErrorMatrix const& matrix, StageClocks const& clocks) {
  return Heading(findings) + '\n' + ClassTable(matrix, findings.ClassNames()) +
         "\nconfusion matrix: a row for each class, a column for what its documents were taken for, - for rejected\n" +
         MatrixTable(matrix, findings.ClassNames(), TerminalWidth()) + "\nworst confusions\n" +
         WorstConfusions(matrix, findings.ClassNames()) + '\n' + SpeedTable(clocks) + '\n' +
         Summary(matrix, findings.ClassCount());
}

// What becomes of the corpus is up to the first rank.
Findings FindingsOn(Corpus const& corpus, std::uint64_t documents, Settings const& settings) {
  Findings findings;
  findings.corpus = Printable(corpus.folder.native());
  findings.documents = documents;
  findings.settings = settings;
  for (unsigned int id = 1; id <= corpus.ClassCount(); ++id) findings.AddClass(corpus.classNames[id]);
  return findings;
}

RunError NothingToTest(unsigned int fold) {
  return RunError{"there is nothing to test: no document's name belongs to fold " + std::to_string(fold)};
}

Findings LearnAndTest(Options const& options, Progress& progress, StageClocks& clocks, Notes& notes,
                      std::vector<PendingFile>& outputs, Communicator& ranks) {
  Corpus const corpus = ShareOut(ranks.IsFirst() ? ListCorpus(options.corpus, notes) : Corpus(), ranks);
  std::vector<Document> const documents = clocks.read.Time(ranks.Sum(corpus.files.size()), [&] {
    return ReadCorpus(corpus, options.settings, options.jobs, progress, notes, ranks);
  });
  Findings findings = FindingsOn(corpus, CountDocuments(corpus, documents, ranks), options.settings);
  Experiment experiment({options, corpus, documents, progress, clocks, notes, findings, outputs, ranks});
  unsigned int const first = options.crossValidate ? 0 : options.fold;
  unsigned int const last = options.crossValidate ? foldCount - 1 : options.fold;
  for (unsigned int fold = first; fold <= last; ++fold) experiment.Run(fold);
  if (findings.folds.empty()) throw NothingToTest(options.fold);
  return findings;
}

// Gives the corpus the ids of classes that were learned; others of its classes come after them.
void TakeOverIds(Corpus& corpus, std::vector<std::string> const& learned, Notes& notes) {
  std::vector<std::string> names = learned;
  std::vector<unsigned int> ids;
  for (std::string const& name : corpus.classNames) {
    auto const place = std::find(names.begin(), names.end(), name);
    ids.push_back(static_cast<unsigned int>(place - names.begin()));
    if (place != names.end()) continue;
    names.push_back(name);
    notes.Add("class that wasn't learned", name);
  }
  for (DocumentFile& file : corpus.files) file.classId = ids[file.classId];
  corpus.classNames = std::move(names);
}

// Opens none but the documents to test, of which some may turn out to be unreadable.
Findings Test(Options const& options, Progress& progress, StageClocks& clocks, Notes& notes,
              std::vector<PendingFile>& outputs, Communicator& ranks) {
  LearnedClasses const classes = clocks.load.Time(0, [&] { return ReadClasses(options.classes); });
  Corpus whole = ranks.IsFirst() ? ListCorpus(options.corpus, notes) : Corpus();
  std::uint64_t const documents = whole.files.size();
  TakeOverIds(whole, classes.names, notes);
  std::erase_if(whole.files, [&](DocumentFile const& file) { return file.fold != options.fold; });
  std::uint64_t const ofFold = whole.files.size();
  if (ranks.IsFirst() && ofFold == 0) throw NothingToTest(options.fold);
  if (ranks.IsFirst() && classes.documents > documents - ofFold)
    notes.Add("classes that have learned tested documents too, which they get right more often",
              Printable(options.classes.native()));
  std::size_t place = 0;
  std::erase_if(whole.files, [&](DocumentFile const& /*file*/) { return !options.shard.Has(place++); });

  Corpus const corpus = ShareOut(std::move(whole), ranks);
  Settings settings = classes.settings;
  settings.maxResults = options.settings.maxResults;
  std::vector<Document> const tests = clocks.read.Time(ranks.Sum(corpus.files.size()), [&] {
    return ReadCorpus(corpus, settings, options.jobs, progress, notes, ranks);
  });
  std::vector<Document const*> pointers;
  pointers.reserve(tests.size());
  for (Document const& document : tests) pointers.push_back(&document);
  Findings findings = FindingsOn(corpus, documents, settings);
  findings.folds[options.fold] = {classes.documents, ofFold};
  Experiment({options, corpus, tests, progress, clocks, notes, findings, outputs, ranks})
      .Test(pointers, classes, options.fold);
  return findings;
}

Findings Classify(Options const& options, Progress& progress, StageClocks& clocks, Notes& notes,
                  std::vector<PendingFile>& outputs, Communicator& ranks) {
  auto const run = options.classes.empty() ? LearnAndTest : Test;
  Findings findings = run(options, progress, clocks, notes, outputs, ranks);
  findings.Sort();
  return findings;
}

Findings Load(Options const& options, Progress& progress, StageClocks& clocks, Notes& notes) {
  Findings findings = clocks.load.Time(0, [&] { return LoadResults(options.loadResults, progress, notes); });
  clocks.load.Add(findings.Tested().size());
  return findings;
}

/// Where a run's findings go, apart from the terminal: the files that were asked for. Made before the run, so that what
/// can't be written is known in time.
class Places {
 public:
  explicit Places(Options const& given) : options(given) {
    if (!options.results.empty()) results.emplace(options.results);
    if (!options.report.empty()) report.emplace(options.report);
    if (!options.model.empty()) Plane::CheckModel(options.model);
    if (!options.map.empty()) map.emplace(options.map);
  }

  // Adds the files to `outputs`.
  void Write(Findings const& findings, ZaM::ErrorMatrix const& matrix, StageClocks const& clocks,
             std::vector<PendingFile>& outputs) {
    if (results) outputs.push_back(std::move(*results).Write(findings));
    if (report) outputs.push_back(std::move(*report).Write(findings, matrix, options, clocks));
    if (!map) return;
    map->Write(Draw(MapOf(findings, options)).File());
    outputs.push_back(std::move(*map));
  }

 private:
  Options const& options;
  std::optional<ResultFile> results;
  std::optional<HtmlReport> report;
  std::optional<PendingFile> map;
};

}  // namespace

int Evaluate(Options const& options, Notes& notes, Communicator& ranks) {
  if (!options.loadResults.empty() && !ranks.IsFirst()) return exit_code::done;
  StageClocks clocks;
  std::string report;
  {
    Progress progress(ShowsBar(options));
    std::optional<Places> places;
    if (ranks.IsFirst()) places.emplace(options);
    std::vector<PendingFile> outputs;
    progress.Begin("listing", 0);
    Findings const findings = options.loadResults.empty() ? Classify(options, progress, clocks, notes, outputs, ranks)
                                                          : Load(options, progress, clocks, notes);
    if (!ranks.IsFirst()) return exit_code::done;
    if (findings.ClassCount() == 1)
      notes.Add("a single class: it has nothing to be told from", findings.ClassNames()[1]);
    if (options.distanceThreshold > 0 && findings.settings.maxResults == 1)
      throw RunError{"--distance-threshold needs a second class, and these results have one alone"};
    progress.Begin("writing", 0);
    auto const matrix = clocks.evaluate.Time(
        findings.Tested().size(), [&] { return Evaluate(findings, options.bestThreshold, options.distanceThreshold); });
    report = Report(findings, *matrix, clocks);
    places->Write(findings, *matrix, clocks, outputs);
    for (PendingFile& file : outputs) file.Commit();
  }
  std::cout << report << std::flush;
  if (!std::cout) throw RunError{"can't write the report"};
  return exit_code::done;
}

bool ShowsBar(Options const& options) {
  return !options.quiet && isatty(STDERR_FILENO) != 0;
}

}  // namespace classify

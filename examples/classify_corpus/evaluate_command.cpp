#include <sys/ioctl.h>
#include <unistd.h>
#include <zam/zam.h>

#include <iostream>
#include <optional>
#include <string>
#include <utility>

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

Findings Classify(Options const& options, Progress& progress, StageClocks& clocks, Notes& notes,
                  std::vector<PendingFile>& outputs) {
  Corpus const corpus = ListCorpus(options.corpus, notes);
  std::vector<Document> const documents = clocks.read.Time(
      corpus.files.size(), [&] { return ReadCorpus(corpus, options.settings, options.jobs, progress, notes); });

  Findings findings;
  findings.corpus = Printable(corpus.folder.native());
  findings.documents = documents.size();
  findings.settings = options.settings;
  for (unsigned int id = 1; id <= corpus.ClassCount(); ++id) findings.AddClass(corpus.classNames[id]);

  Experiment experiment({options, corpus, documents, progress, clocks, notes, findings, outputs});
  unsigned int const first = options.crossValidate ? 0 : options.fold;
  unsigned int const last = options.crossValidate ? FoldCount - 1 : options.fold;
  for (unsigned int fold = first; fold <= last; ++fold) experiment.Run(fold);
  if (findings.folds.empty())
    throw RunError{"there is nothing to test: no document's name belongs to fold " + std::to_string(options.fold)};
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

int Evaluate(Options const& options, Notes& notes) {
  StageClocks clocks;
  std::string report;
  {
    Progress progress(ShowsBar(options));
    Places places(options);
    std::vector<PendingFile> outputs;
    Findings const findings = options.loadResults.empty() ? Classify(options, progress, clocks, notes, outputs)
                                                          : Load(options, progress, clocks, notes);
    if (findings.ClassCount() == 1)
      notes.Add("a single class: it has nothing to be told from", findings.ClassNames()[1]);
    if (options.distanceThreshold > 0 && findings.settings.maxResults == 1)
      throw RunError{"--distance-threshold needs a second class, and these results have one alone"};
    auto const matrix = clocks.evaluate.Time(
        findings.Tested().size(), [&] { return Evaluate(findings, options.bestThreshold, options.distanceThreshold); });
    report = Report(findings, *matrix, clocks);
    places.Write(findings, *matrix, clocks, outputs);
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

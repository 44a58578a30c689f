// From a folder of documents to a confusion matrix.
//
// The way of a document: a file (corpus.h) becomes terms (corpus_reader.h, term_extractor.h), these a vector over the
// vocabulary (vocabulary.h, word_vector.h) that hangs on a document node; classes learn their models (trainer.h,
// class_model.h); the library scores the documents against the classes and counts the outcome (experiment.h), which is
// then told (report.h).
#include <sys/ioctl.h>
#include <unistd.h>
#include <zam/zam.h>

#include <iostream>
#include <new>

#include "corpus.h"
#include "corpus_reader.h"
#include "experiment.h"
#include "fold.h"
#include "interrupt.h"
#include "number_text.h"
#include "options.h"
#include "report.h"
#include "result_file.h"
#include "run_error.h"
#include "utf8.h"

namespace {

using namespace classify;

// Of the terminal that the report goes to; 0 if it goes anywhere else, where lines may have any length.
std::size_t TerminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string Heading(Options const& options, Corpus const& corpus, std::size_t documents, Experiment const& experiment) {
  std::string const folds = options.crossValidate ? "each fold in turn" : "fold " + std::to_string(options.fold);
  return Printable(corpus.folder.native()) + ": " + Grouped(documents) + " documents in " +
         Grouped(corpus.ClassCount()) + " classes\ntested on " + folds + ": " + Grouped(experiment.Tested()) +
         " documents, learned from " + Grouped(experiment.Learned()) + "\n";
}

std::string Report(Corpus const& corpus, Experiment const& experiment, StageClocks const& clocks) {
  ZaM::ErrorMatrix const& matrix = experiment.Matrix();
  return '\n' + ClassTable(matrix, corpus.classNames) +
         "\nconfusion matrix: a row for each class, a column for what its documents were taken for, - for rejected\n" +
         MatrixTable(matrix, corpus.classNames, TerminalWidth()) + "\nworst confusions\n" +
         WorstConfusions(matrix, corpus.classNames) + '\n' + SpeedTable(clocks) + '\n' +
         Summary(matrix, corpus.ClassCount());
}

// Everything is written at the very end: a run that is cancelled or fails leaves nothing behind.
void Run(Options const& options, Notes& notes) {
  StageClocks clocks;
  std::string report;
  {
    Progress progress(!options.quiet && isatty(STDERR_FILENO) != 0);
    Corpus const corpus = ListCorpus(options.corpus, notes);
    ResultFile results(options.results, corpus);
    TermExtractor extractor(static_cast<unsigned char>(options.minWordLength), options.useDigits);
    std::vector<Document> const documents = ReadCorpus(corpus, extractor, progress, clocks, notes);

    Experiment experiment({options, corpus, documents, progress, clocks, notes, results});
    unsigned int const first = options.crossValidate ? 0 : options.fold;
    unsigned int const last = options.crossValidate ? FoldCount - 1 : options.fold;
    for (unsigned int fold = first; fold <= last; ++fold) experiment.Run(fold);
    if (experiment.Tested() == 0)
      throw RunError{"there is nothing to test: no document's name belongs to fold " + std::to_string(options.fold)};
    report = Heading(options, corpus, documents.size(), experiment) + Report(corpus, experiment, clocks);
    results.Commit();
  }
  std::cout << report << std::flush;
  if (!std::cout) throw RunError{"can't write the report"};
}

int Fail(std::string const& message, int exitCode = exit_code::failed) {
  std::cerr << "classify_corpus: " << message << '\n';
  return exitCode;
}

int RunAndExplain(Options const& options, Notes& notes) {
  try {
    Run(options, notes);
    return exit_code::done;
  } catch (RunError const& failure) {
    return Fail(failure.message);
  } catch (ZaM::UserCanceledException const& cancelled) {
    return Fail(EncodeUtf8(cancelled.GetErrorDescription()), exit_code::cancelled);
  } catch (ZaM::BaseException const& failure) {
    return Fail(EncodeUtf8(failure.GetErrorDescription()));
  } catch (std::bad_alloc const&) {
    return Fail(EncodeUtf8(ZaM::BaseException(5).GetErrorDescription()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (std::optional<int> const exitCode = ParseOptions(argc, argv, options)) return *exitCode;
  CatchInterrupt();
  Notes notes;
  int const exitCode = RunAndExplain(options, notes);
  if (!options.quiet) notes.Print(std::cerr);
  return exitCode;
}

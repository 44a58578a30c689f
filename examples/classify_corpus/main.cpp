// From a folder of documents to a confusion matrix, or to classes that new documents are classified by.
//
// The way of a document: a file (corpus.h, document_source.h) becomes terms (text_file.h, term_extractor.h), these a
// vector over the vocabulary (vocabulary.h, word_vector.h) that hangs on a document node; classes learn their models
// (class_learning.h, trainer.h, class_model.h), which a file keeps (classes_file.h); the library scores the documents
// against the classes (document_classifier.h). What becomes of new documents is told in records (record_format.h); what
// becomes of tested ones (experiment.h, findings.h) is kept (result_file.h), or brought back without all that
// (result_loader.h); the library counts it (evaluation.h), and the counts are told (report.h).
#include <zam/zam.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>

#include "commands.h"
#include "communicator.h"
#include "interrupt.h"
#include "notes.h"
#include "options.h"
#include "run_error.h"
#include "utf8.h"

namespace {

using namespace classify;

int Run(Options const& options, Notes& notes, Communicator& ranks) {
  switch (options.command) {
    case Command::Learn:
      return Learn(options, notes, ranks);
    case Command::Apply:
      return Apply(options, ranks);
    case Command::Evaluate:
      break;
  }
  return Evaluate(options, notes, ranks);
}

int RunAndExplain(Options const& options, Notes& notes, Communicator& ranks) {
  auto const fail = [&](std::string const& message) {
    std::string const speaker = ranks.IsAlone() ? "" : ", rank " + std::to_string(ranks.Rank());
    std::cerr << "classify_corpus" + speaker + ": " + message + '\n';
    return exit_code::failed;
  };
  try {
    return Run(options, notes, ranks);
  } catch (RunError const& failure) {
    return fail(failure.message);
  } catch (ZaM::UserCanceledException const& cancelled) {
    // Among ranks it says that another one has failed, or what mpirun says.
    if (ranks.IsAlone()) fail(cancelled.what());
    return exit_code::cancelled;
  } catch (ZaM::BaseException const& failure) {
    return fail(failure.what());
  } catch (std::filesystem::filesystem_error const& failure) {
    return fail(Printable(failure.what()));
  } catch (std::system_error const& failure) {
    return fail(failure.what());
  } catch (std::bad_alloc const&) {
    return fail(ZaM::BaseException(ZaM::ErrorId::OutOfMemory).what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  CatchInterrupt();
  std::unique_ptr<Communicator> const ranks = Connect();
  Options options;
  if (std::optional<int> const exitCode = ParseOptions(argc, argv, *ranks, options)) return *exitCode;
  Notes notes;
  int const exitCode = RunAndExplain(options, notes, *ranks);
  if (ranks->IsFirst()) notes.Print(std::cerr, !options.quiet);
  // A second reason to end makes mpirun impatient, and the first rank may still be taking its unfinished files away.
  if (exitCode == exit_code::cancelled && !ranks->IsFirst())
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
  if (exitCode != exit_code::done && exitCode != exit_code::unreadDocuments) ranks->Abort(exitCode);
  return exitCode;
}

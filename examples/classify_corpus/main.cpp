// From a folder of documents to a confusion matrix, or to classes that new documents are classified by.
//
// The way of a document: a file (corpus.h, document_source.h) becomes terms (text_file.h, term_extractor.h), these a
// vector over the vocabulary (vocabulary.h, word_vector.h) that hangs on a document node; classes learn their models
// (class_learning.h, trainer.h, class_model.h), which a file keeps (classes_file.h); the library scores the documents
// against the classes (document_classifier.h). What becomes of new documents is told in records (record_format.h); what
// becomes of tested ones (experiment.h, findings.h) is kept (result_file.h), or brought back without all that
// (result_loader.h); the library counts it (evaluation.h), and the counts are told (report.h).
#include <zam/zam.h>

#include <filesystem>
#include <iostream>
#include <new>
#include <optional>
#include <string>

#include "commands.h"
#include "interrupt.h"
#include "notes.h"
#include "options.h"
#include "run_error.h"
#include "utf8.h"

namespace {

using namespace classify;

int Run(Options const& options, Notes& notes) {
  switch (options.command) {
    case Command::Learn:
      return Learn(options, notes);
    case Command::Apply:
      return Apply(options);
    case Command::Evaluate:
      break;
  }
  return Evaluate(options, notes);
}

int Fail(std::string const& message, int exitCode = exit_code::failed) {
  std::cerr << "classify_corpus: " << message << '\n';
  return exitCode;
}

int RunAndExplain(Options const& options, Notes& notes) {
  try {
    return Run(options, notes);
  } catch (RunError const& failure) {
    return Fail(failure.message);
  } catch (ZaM::UserCanceledException const& cancelled) {
    return Fail(cancelled.what(), exit_code::cancelled);
  } catch (ZaM::BaseException const& failure) {
    return Fail(failure.what());
  } catch (std::filesystem::filesystem_error const& failure) {
    return Fail(Printable(failure.what()));
  } catch (std::bad_alloc const&) {
    return Fail(ZaM::BaseException(ZaM::ErrorId::OutOfMemory).what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (std::optional<int> const exitCode = ParseOptions(argc, argv, options)) return *exitCode;
  CatchInterrupt();
  Notes notes;
  int const exitCode = RunAndExplain(options, notes);
  notes.Print(std::cerr, !options.quiet);
  return exitCode;
}

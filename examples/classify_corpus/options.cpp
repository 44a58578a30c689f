#include "options.h"

#include <CLI/CLI.hpp>
#include <string>

#include "fold.h"

namespace classify {

namespace {

constexpr char description[] =
    R"(Learns to tell the classes of a corpus apart from four fifths of its documents, and tests that on the rest.

The corpus is a folder with a folder for each class; every file in that, at any depth, is a document of the class, and
should be plain text in UTF-8. Files that aren't text are left out and named. Which documents are for testing is fixed
by their names: the FNV-1a hash, 32 bits, of the file name modulo 5. So every run tests on the same documents.)";

constexpr char footer[] = R"(Examples:
  classify_corpus corpora/topics                        test on one fifth
  classify_corpus corpora/topics --cross-validate       test on every document once
  classify_corpus mail --best-threshold 0.4             leave the unsure ones to a person
  classify_corpus mail --results mail.tsv               what became of each document

Texts in a script that the text filter of the library doesn't know, such as Devanagari or Thai, are seen by their other
words alone, and are rejected if there are none.

The lines of --results: document, its class, best class, its confidence, second class, its confidence, with tabs in
between; - for no class. They are about what the classifier found, before the thresholds, and --max-results 1 leaves no
second.

How to read a confidence: 0 is a document that is clearly of another class, 1 a typical one; it may exceed 1.
A document is rejected if no class has a confidence above 0, if a threshold says so, or if it holds no known word.

Exit codes:
    0  done
    1  the corpus can't be used, the results can't be written, or memory ran out
    2  wrong usage
  130  cancelled by Ctrl-C; nothing was written)";

// CLI::Range lets through what isn't a number.
std::string CheckShare(std::string const& text) {
  double value = -1;
  bool const isShare = CLI::detail::lexical_cast(text, value) && value >= 0 && value <= 1;
  return isShare ? std::string() : text + " isn't a number from 0 to 1";
}

void AddInput(CLI::App& app, Options& options) {
  app.add_option("CORPUS", options.corpus, "The folder with the classes")->required()->option_text(" ");
  auto* const fold = app.add_option("--fold", options.fold, "The fifth to test on, 0 to 4; 0 unless given")
                         ->check(CLI::Range(0U, FoldCount - 1))
                         ->option_text("N");
  app.add_flag("--cross-validate", options.crossValidate, "Test on each fifth in turn, and add up the counts")
      ->excludes(fold)
      ->option_text(" ");
  app.add_option("--min-word-length", options.minWordLength,
                 "Leave shorter words out, but no ideographs; 1, which keeps all, unless given")
      ->check(CLI::Range(1U, 255U))
      ->option_text("N");
  auto* const digits = app.add_flag_callback(
      "--digits", [&] { options.useDigits = true; }, "Digits are parts of words, as they are unless said otherwise");
  app.add_flag_callback(
         "--no-digits", [&] { options.useDigits = false; }, "Digits separate words")
      ->excludes(digits)
      ->option_text(" ");
}

void AddOutput(CLI::App& app, Options& options) {
  app.add_option("--max-results", options.maxResults,
                 "Best classes to keep for each document, 3 unless given; 0 keeps all values")
      ->option_text("N");
  app.add_option("--best-threshold", options.bestThreshold, "Reject documents whose best class has less confidence")
      ->check(CheckShare)
      ->option_text("X");
  app.add_option("--distance-threshold", options.distanceThreshold,
                 "Reject documents whose best class is ahead of the second by less")
      ->check(CheckShare)
      ->option_text("X");
  app.add_option("--results", options.results, "Write a line for each tested document to this file; see below")
      ->option_text("FILE");
  app.add_flag("-q,--quiet", options.quiet, "No progress bar and no notes; errors only");
}

}  // namespace

std::optional<int> ParseOptions(int argc, char const* const* argv, Options& options) {
  CLI::App app(description, "classify_corpus");
  app.footer(footer);
  app.get_formatter()->column_width(28);
  AddInput(app, options);
  AddOutput(app, options);
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    return app.exit(error) == 0 ? exit_code::done : exit_code::wrongUsage;
  }
  return std::nullopt;
}

}  // namespace classify

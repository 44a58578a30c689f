#include "options.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "fold.h"
#include "shard.h"

namespace classify {

namespace {

constexpr char description[] =
    R"(Learns to tell the classes of a corpus apart from four fifths of its documents, and tests that on the rest.

The corpus is a folder with a folder for each class; every file in that, at any depth, is a document of the class, and
should be plain text in UTF-8, or a help page in XML if its name ends in .page. Files that are neither are left out and
named. Which documents are for testing is fixed by their names: the FNV-1a hash, 32 bits, of the file name modulo 5. So
every run tests on the same documents.)";

constexpr char footer[] = R"(Examples:
  classify_corpus corpora/topics                        test on one fifth
  classify_corpus corpora/topics --cross-validate       test on every document once
  classify_corpus mail --best-threshold 0.4             leave the unsure ones to a person
  classify_corpus mail --results mail.xml.gz            keep what became of each document
  classify_corpus --load-results mail.xml.gz            evaluate that once more, without classifying
  classify_corpus mail --shard 1/2 --results part1.xml  test on half of them; the other half elsewhere
  classify_corpus --load-results part1.xml part2.xml    evaluate the halves together
  classify_corpus mail --map mail.svg                   draw the tested documents as points, coloured by class
  classify_corpus mail --report mail-report             show all of it in mail-report/index.html

Texts in a script that the text filter of the library doesn't know, such as Devanagari or Thai, are seen by their other
words alone, and are rejected if there are none.

The file of --results is one XML document with the path, the class and the best classes of each tested document, before
the thresholds, which may differ from one evaluation to the next. Figures are the same from a run and from its files.

How to read a confidence: 0 is a document that is clearly of another class, 1 a typical one; it may exceed 1.
A document is rejected if no class has a confidence above 0, if a threshold says so, or if it holds no known word.

Exit codes:
    0  done
    1  the corpus or a file can't be used, the results can't be written, or memory ran out
    2  wrong usage
  130  cancelled by Ctrl-C; nothing was written)";

// CLI::Range lets through what isn't a number.
std::string CheckShare(std::string const& text) {
  double value = -1;
  bool const isShare = CLI::detail::lexical_cast(text, value) && value >= 0 && value <= 1;
  return isShare ? std::string() : text + " isn't a number from 0 to 1";
}

std::string CheckShard(std::string const& text) {
  return ParseShard(text) ? std::string() : text + " isn't a share such as 2/3";
}

// What decides how documents are classified. Where results are loaded nothing is: then all of these are refused.
void AddClassifying(CLI::App& app, Options& options) {
  app.add_option("CORPUS", options.corpus, "The folder with the classes")->option_text(" ");
  auto* const fold = app.add_option("--fold", options.fold, "The fifth to test on, 0 to 4; 0 unless given")
                         ->check(CLI::Range(0U, FoldCount - 1))
                         ->option_text("N");
  app.add_flag("--cross-validate", options.crossValidate, "Test on each fifth in turn, and add up the counts")
      ->excludes(fold)
      ->option_text(" ");
  app.add_option_function<std::string>(
         "--shard", [&](std::string const& text) { options.shard = *ParseShard(text); },
         "Test on every N-th document alone, from the I-th on; learn from as many as ever")
      ->check(CheckShard)
      ->option_text("I/N");
  app.add_option("--min-word-length", options.settings.minWordLength,
                 "Leave shorter words out, but no ideographs; 1, which keeps all, unless given")
      ->check(CLI::Range(1U, 255U))
      ->option_text("N");
  auto* const digits = app.add_flag_callback(
      "--digits", [&] { options.settings.useDigits = true; },
      "Digits are parts of words, as they are unless said otherwise");
  app.add_flag_callback(
         "--no-digits", [&] { options.settings.useDigits = false; }, "Digits separate words")
      ->excludes(digits)
      ->option_text(" ");
  app.add_option("--map", options.map,
                 "Draw the tested documents of the first fold, by their principal components, into this SVG file")
      ->option_text("FILE.svg");
  app.add_option("--model", options.model,
                 "Take the plane of the map from this file; if there is none, learn the plane and write the file")
      ->option_text("FILE");
  app.add_option("--max-results", options.settings.maxResults,
                 "Best classes to keep for each document, 3 unless given; 0 keeps all values")
      ->option_text("N");
}

void AddLoading(CLI::App& app, Options& options) {
  std::vector<CLI::Option*> const classifying = app.get_options();
  auto* const load = app.add_option("--load-results", options.loadResults,
                                    "Evaluate the results in these files, together, instead of classifying a corpus")
                         ->option_text("FILE...");
  for (CLI::Option* option : classifying)
    if (option != app.get_help_ptr()) load->excludes(option);
}

void AddOutput(CLI::App& app, Options& options) {
  app.add_option("--best-threshold", options.bestThreshold, "Reject documents whose best class has less confidence")
      ->check(CheckShare)
      ->option_text("X");
  app.add_option("--distance-threshold", options.distanceThreshold,
                 "Reject documents whose best class is ahead of the second by less")
      ->check(CheckShare)
      ->option_text("X");
  app.add_option("--report", options.report, "Write a page for a browser, index.html, and its pictures to this folder")
      ->option_text("FOLDER");
  auto* const results = app.add_option("--results", options.results,
                                       "Keep the results in this XML file; compressed if its name ends in .gz")
                            ->option_text("FILE");
  app.get_option("--shard")->needs(results);
  app.add_flag("-q,--quiet", options.quiet, "No progress bar, and notes without names");
}

}  // namespace

std::optional<int> ParseOptions(int argc, char const* const* argv, Options& options) {
  CLI::App app(description, "classify_corpus");
  app.footer(footer);
  app.get_formatter()->column_width(28);
  AddClassifying(app, options);
  AddLoading(app, options);
  AddOutput(app, options);
  try {
    app.parse(argc, argv);
    if (!options.model.empty() && !options.WantsMap())
      throw CLI::ValidationError("--model", "is for the map of --map or --report");
    if (options.corpus.empty() && options.loadResults.empty()) throw CLI::RequiredError("CORPUS");
  } catch (CLI::ParseError const& error) {
    return app.exit(error) == 0 ? exit_code::done : exit_code::wrongUsage;
  }
  return std::nullopt;
}

}  // namespace classify

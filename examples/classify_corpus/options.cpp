#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <climits>
#include <iostream>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "fold.h"
#include "shard.h"

namespace classify {

namespace {

constexpr char evaluation[] =
    R"(Learns to tell the classes of a corpus apart from four fifths of its documents, and tests that on the rest.

The corpus is a folder with a folder for each class; every file in that, at any depth, is a document of the class, and
should be plain text in UTF-8, or a help page in XML if its name ends in .page. Files that are neither are left out and
named. Which documents are for testing is fixed by their names: the FNV-1a hash, 32 bits, of the file name modulo 5. So
every run tests on the same documents.

This is what the program does without a command, too. The others are learn and apply: see classify_corpus learn --help.)";

constexpr char evaluationFooter[] = R"(Examples:
  classify_corpus corpora/topics                        test on one fifth
  classify_corpus corpora/topics --cross-validate       test on every document once
  classify_corpus mail --best-threshold 0.4             leave the unsure ones to a person
  classify_corpus mail --results mail.xml.gz            keep what became of each document
  classify_corpus --load-results mail.xml.gz            evaluate that once more, without classifying
  classify_corpus mail --shard 1/2 --results part1.xml  test on half of them
  classify_corpus mail --shard 2/2 --results part2.xml  test on the other half, elsewhere
  classify_corpus --load-results part1.xml part2.xml    evaluate the halves together
  classify_corpus mail --classes most.classes           test classes that were learned with --fold 0
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

constexpr char learning[] =
    R"(Learns to tell the classes of a corpus apart from all of its documents, and keeps the classes in a file.

The corpus is a folder with a folder for each class, as for evaluating. The same documents give the same file.)";

constexpr char learningFooter[] = R"(Examples:
  classify_corpus learn mail --classes mail.classes             learn from all documents
  classify_corpus learn mail --classes most.classes --fold 0    from all but the fifth that an evaluation tests on
  classify_corpus learn mail --classes few.classes --list few   from those in the list, such as offers/x.txt

Exit codes:
    0  done
    1  the corpus can't be used, the file can't be written, or memory ran out
    2  wrong usage
  130  cancelled by Ctrl-C; nothing was written)";

constexpr char applying[] =
    R"(Classifies documents by classes that were learned before, and writes a record for each, in the order of the input.

A path is that of a document, or of a folder, which stands for the files in it, at any depth, but for names that begin
with a dot and for links to folders. Without a path they come from standard input, a line each: records appear as soon
as there is input, so that the program may be a part of a pipe.

A record holds the path, the best class with its confidence, the second with its own, and whether the document is
rejected: 1 or 0. A document that can't be read has a record without classes, and is named on standard error.)";

constexpr char applyingFooter[] = R"(Examples:
  classify_corpus apply --classes mail.classes letter.txt            one document
  classify_corpus apply --classes mail.classes inbox                 all in a folder
  find inbox -type f -print0 | classify_corpus apply --classes mail.classes --null
  classify_corpus apply --classes mail.classes inbox --format csv --header --output inbox.csv
  classify_corpus apply --classes mail.classes inbox --shard 1/2     every second document; the others elsewhere

Exit codes:
    0  done
    1  the classes can't be used, the records can't be written, or memory ran out
    2  wrong usage
    3  done, but some documents couldn't be read
  130  cancelled by Ctrl-C; with --output nothing was written)";

// CLI::Range lets through what isn't a number.
std::string CheckShare(std::string const& text) {
  double value = -1;
  bool const isShare = CLI::detail::lexical_cast(text, value) && value >= 0 && value <= 1;
  return isShare ? std::string() : text + " isn't a number from 0 to 1";
}

std::string CheckShard(std::string const& text) {
  return ParseShard(text) ? std::string() : text + " isn't a share such as 2/3";
}

void AddJobs(CLI::App& app, Options& options) {
  app.add_option("-j,--jobs", options.jobs,
                 "Threads to work on; one for each processor unless given, under mpirun one alone")
      ->check(CLI::Range(1U, 1024U))
      ->option_text("N");
}

void AddWords(CLI::App& app, Options& options) {
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
}

void AddThresholds(CLI::App& app, Options& options) {
  app.add_option("--best-threshold", options.bestThreshold, "Reject documents whose best class has less confidence")
      ->check(CheckShare)
      ->option_text("X");
  app.add_option("--distance-threshold", options.distanceThreshold,
                 "Reject documents whose best class is ahead of the second by less")
      ->check(CheckShare)
      ->option_text("X");
  app.add_option("--max-results", options.settings.maxResults,
                 "Best classes to keep for each document, 3 unless given; 0 keeps all values")
      ->check(CLI::Range(0U, UINT_MAX))
      ->option_text("N");
}

CLI::Option* AddShard(CLI::App& app, Options& options, char const* description) {
  return app
      .add_option_function<std::string>(
          "--shard", [&](std::string const& text) { options.shard = *ParseShard(text); }, description)
      ->check(CheckShard)
      ->option_text("I/N");
}

// What decides how documents are classified. Where results are loaded nothing is: then all of these are refused.
void AddClassifying(CLI::App& app, Options& options) {
  app.add_option("CORPUS", options.corpus, "The folder with the classes")->option_text(" ");
  auto* const fold = app.add_option("--fold", options.fold, "The fifth to test on, 0 to 4; 0 unless given")
                         ->check(CLI::Range(0U, foldCount - 1))
                         ->option_text("N");
  app.add_flag("--cross-validate", options.crossValidate, "Test on each fifth in turn, and add up the counts")
      ->excludes(fold)
      ->option_text(" ");
  AddShard(app, options, "Test on every N-th document alone, from the I-th on; learn from as many as ever");
  app.add_option("--classes", options.classes,
                 "Test the classes in this file, of `learn --fold N`, instead of learning")
      ->option_text("FILE");
  AddWords(app, options);
  app.add_option("--map", options.map,
                 "Draw the tested documents of the first fold, by their principal components, into this file")
      ->option_text("FILE.svg");
  app.add_option("--model", options.model,
                 "Take the plane of the map from this file; if there is none, learn it and write the file")
      ->option_text("FILE");
  for (char const* other : {"--cross-validate", "--min-word-length", "--digits", "--no-digits", "--map"})
    app.get_option("--classes")->excludes(app.get_option(other));
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
  app.add_option("--report", options.report, "Write a page for a browser, index.html, to this folder")
      ->option_text("FOLDER");
  auto* const results = app.add_option("--results", options.results,
                                       "Keep the results in this XML file; compressed if its name ends in .gz")
                            ->option_text("FILE");
  app.get_option("--shard")->needs(results);
}

void AddQuiet(CLI::App& app, Options& options) {
  app.add_flag("-q,--quiet", options.quiet, "No progress bar, and notes without names");
}

// One of the commands; what it checks once all options are known throws as the parser does.
struct Syntax {
  char const* name;
  char const* description;
  char const* footer;
  void (*add)(CLI::App& app, Options& options);
  void (*check)(Options const& options);
};

void AddEvaluation(CLI::App& app, Options& options) {
  AddClassifying(app, options);
  AddLoading(app, options);
  AddThresholds(app, options);
  app.get_option("--load-results")->excludes(app.get_option("--max-results"));
  AddOutput(app, options);
  AddJobs(app, options);
  AddQuiet(app, options);
}

void CheckDistance(Options const& options) {
  if (options.distanceThreshold > 0 && options.settings.maxResults == 1)
    throw CLI::ValidationError("--distance-threshold", "needs a second class, which --max-results 1 doesn't keep");
}

void CheckEvaluation(Options const& options) {
  if (!options.model.empty() && !options.WantsMap())
    throw CLI::ValidationError("--model", "is for the map of --map or --report");
  if (options.corpus.empty() && options.loadResults.empty()) throw CLI::RequiredError("CORPUS");
  CheckDistance(options);
}

void AddLearning(CLI::App& app, Options& options) {
  options.command = Command::Learn;
  app.add_option("CORPUS", options.corpus, "The folder with the classes")->required()->option_text(" ");
  app.add_option("--classes", options.classes, "Keep the classes in this file")->required()->option_text("FILE");
  app.add_option("--fold", options.leftOut, "Don't learn from this fifth, 0 to 4")
      ->check(CLI::Range(0U, foldCount - 1))
      ->option_text("N");
  app.add_option("--list", options.list,
                 "Learn from the documents in this file alone, a path below CORPUS in each line")
      ->option_text("FILE");
  AddWords(app, options);
  AddJobs(app, options);
  AddQuiet(app, options);
}

void AddApplying(CLI::App& app, Options& options) {
  options.command = Command::Apply;
  app.add_option("PATH", options.inputs, "Documents, and folders of documents; from standard input unless given")
      ->option_text("...");
  app.add_option("--classes", options.classes, "The file that the classes are kept in")
      ->required()
      ->option_text("FILE");
  app.add_flag("-0,--null", options.nullSeparated, "Paths of standard input end with a zero byte instead of a line");
  std::map<std::string, OutputFormat> const formats{
      {"tsv", OutputFormat::Tsv}, {"csv", OutputFormat::Csv}, {"json", OutputFormat::Json}, {"xml", OutputFormat::Xml}};
  app.add_option_function<std::string>(
         "--format",
         [formats, &options](std::string const& name) { options.format = formats.at(CLI::detail::to_lower(name)); },
         "How to write records: tsv (unless given), csv, json (a line each) or xml")
      ->check(CLI::IsMember({"tsv", "csv", "json", "xml"}, CLI::ignore_case).description(""))
      ->option_text("FORMAT");
  app.add_flag("--header", options.header, "Begin tsv and csv with the names of the columns");
  app.add_option("--output", options.output, "Write the records to this file, whole or not at all")
      ->option_text("FILE");
  AddThresholds(app, options);
  AddShard(app, options, "Classify every N-th document alone, from the I-th on");
  AddJobs(app, options);
}

constexpr Syntax evaluate{"evaluate", evaluation, evaluationFooter, AddEvaluation, CheckEvaluation};
constexpr Syntax learn{"learn", learning, learningFooter, AddLearning, [](Options const& /*options*/) {}};
constexpr Syntax apply{"apply", applying, applyingFooter, AddApplying, CheckDistance};

std::optional<int> Parse(Syntax const& syntax, int argc, char const* const* argv, Communicator const& ranks,
                         Options& options) {
  CLI::App app(syntax.description, std::string("classify_corpus ") + syntax.name);
  app.footer(syntax.footer);
  app.set_version_flag("--version", "classify_corpus " CLASSIFY_CORPUS_VERSION);
  app.get_formatter()->column_width(28);
  options.jobs = ranks.IsAlone() ? std::max(1U, std::thread::hardware_concurrency()) : 1;
  syntax.add(app, options);
  try {
    app.parse(argc, argv);
    syntax.check(options);
    if (!ranks.IsAlone() && options.shard.count > 1)
      throw CLI::ValidationError("--shard", "mpirun divides the documents already");
    if (!ranks.IsFirst()) options.quiet = true;
  } catch (CLI::ParseError const& error) {
    std::ostream silent(nullptr);
    return app.exit(error, ranks.IsFirst() ? std::cout : silent, ranks.IsFirst() ? std::cerr : silent) == 0
               ? exit_code::done
               : exit_code::wrongUsage;
  }
  return std::nullopt;
}

}  // namespace

std::optional<int> ParseOptions(int argc, char const* const* argv, Communicator const& ranks, Options& options) {
  std::string_view const first = argc > 1 ? argv[1] : "";
  for (Syntax const& syntax : {evaluate, learn, apply})
    if (first == syntax.name) return Parse(syntax, argc - 1, argv + 1, ranks, options);
  return Parse(evaluate, argc, argv, ranks, options);
}

}  // namespace classify

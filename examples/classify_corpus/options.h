// What the user asks for on the command line.
#ifndef CLASSIFY_CORPUS_OPTIONS_H
#define CLASSIFY_CORPUS_OPTIONS_H

#include <filesystem>
#include <optional>
#include <vector>

#include "communicator.h"
#include "settings.h"
#include "shard.h"

namespace classify {

enum class Command { Evaluate, Learn, Apply };

enum class OutputFormat { Tsv, Csv, Json, Xml };

struct Options {
  Command command = Command::Evaluate;
  std::size_t jobs = 1;
  std::filesystem::path corpus;  // empty where results are loaded
  unsigned int fold = 0;         // the one to test on
  bool crossValidate = false;    // each fold in turn, instead of that one
  Shard shard;                   // of the documents to test on
  Settings settings;
  double bestThreshold = 0.0;
  double distanceThreshold = 0.0;
  std::filesystem::path results;                   // empty: no such file
  std::vector<std::filesystem::path> loadResults;  // not empty: these instead of classifying
  std::filesystem::path map;                       // empty: no such picture
  std::filesystem::path report;                    // a folder; empty: no report
  std::filesystem::path model;                     // of the map; empty: no such file
  bool quiet = false;

  std::filesystem::path classes;  // the file that keeps them; where empty, an evaluation learns

  // For learning and applying alone.
  std::filesystem::path list;                 // of the documents to learn from; empty: all
  std::optional<unsigned int> leftOut;        // the fold not to learn from
  std::vector<std::filesystem::path> inputs;  // files and folders to classify; empty: from standard input
  bool nullSeparated = false;                 // these
  OutputFormat format = OutputFormat::Tsv;
  bool header = false;
  std::filesystem::path output;  // empty: standard output

  bool WantsMap() const { return loadResults.empty() && classes.empty() && (!map.empty() || !report.empty()); }
};

/// What the program ends with.
namespace exit_code {
inline constexpr int done = 0;
inline constexpr int failed = 1;
inline constexpr int wrongUsage = 2;
inline constexpr int unreadDocuments = 3;
inline constexpr int cancelled = 130;  // 128 + SIGINT, as shells have it
}  // namespace exit_code

/// Reads the command line, which is the same on all ranks. After `--help`, or if it is wrong, gives the exit code, and
/// the first rank prints what there is to say.
std::optional<int> ParseOptions(int argc, char const* const* argv, Communicator const& ranks, Options& options);

}  // namespace classify

#endif

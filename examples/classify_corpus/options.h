// What the user asks for on the command line.
#ifndef CLASSIFY_CORPUS_OPTIONS_H
#define CLASSIFY_CORPUS_OPTIONS_H

#include <filesystem>
#include <optional>

namespace classify {

struct Options {
  std::filesystem::path corpus;
  unsigned int fold = 0;       // the one to test on
  bool crossValidate = false;  // each fold in turn, instead of that one
  unsigned int minWordLength = 1;
  bool useDigits = true;
  unsigned int maxResults = 3;  // 0: a value for every class
  double bestThreshold = 0.0;
  double distanceThreshold = 0.0;
  std::filesystem::path results;  // empty: no such file
  bool quiet = false;
};

/// What the program ends with.
namespace exit_code {
inline constexpr int done = 0;
inline constexpr int failed = 1;
inline constexpr int wrongUsage = 2;
inline constexpr int cancelled = 130;  // 128 + SIGINT, as shells have it
}  // namespace exit_code

/// Reads the command line. After `--help`, or if it is wrong, prints what there is to say and gives the exit code.
std::optional<int> ParseOptions(int argc, char const* const* argv, Options& options);

}  // namespace classify

#endif

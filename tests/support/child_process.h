// Runs another program to its end.
#ifndef TESTS_SUPPORT_CHILD_PROCESS_H
#define TESTS_SUPPORT_CHILD_PROCESS_H

#include <string>
#include <vector>

namespace ZaM::test {

struct ProcessResult {
  int exitCode;        // -1 if it didn't end by itself
  std::string output;  // what it wrote to its standard output and error, in the order of writing
};

/// `words` are the program and its arguments, taken as they are. A program gets variables of its own through
/// `{"env", "name=value", program, …}`.
ProcessResult RunProcess(std::vector<std::string> const& words);

}  // namespace ZaM::test

#endif

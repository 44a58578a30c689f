#include "tests/support/child_process.h"

#include <sys/wait.h>

#include <cstdio>
#include <stdexcept>

namespace ZaM::test {

namespace {

std::string Quoted(std::string const& word) {
  std::string quoted = "'";
  for (char const character : word) quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
  return quoted + "' ";
}

}  // namespace

ProcessResult RunProcess(std::vector<std::string> const& words) {
  std::string command;
  for (std::string const& word : words) command += Quoted(word);
  std::FILE* const pipe = popen((command + "2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("can't run " + command);

  ProcessResult result{};
  char buffer[4096];
  for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    result.output.append(buffer, count);
  int const status = pclose(pipe);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

}  // namespace ZaM::test

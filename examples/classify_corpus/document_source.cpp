#include "document_source.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "interrupt.h"
#include "reading_error.h"
#include "run_error.h"

namespace classify {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t longestLine = 65536;

}  // namespace

DocumentSource::DocumentSource(std::vector<fs::path> paths, char end, Complain complaint)
    : pending(paths.rbegin(), paths.rend()),
      takesInput(paths.empty()),
      separator(end),
      complain(std::move(complaint)) {}

std::optional<fs::path> DocumentSource::Next(bool mayWait) {
  while (true) {
    if (pending.empty()) {
      std::optional<fs::path> line = nextLine(mayWait);
      if (!line) return std::nullopt;
      pending.push_back(std::move(*line));
    }
    fs::path path = std::move(pending.back());
    pending.pop_back();
    std::error_code isUnknown;
    if (!fs::is_directory(path, isUnknown)) return path;
    open(path);
  }
}

std::optional<fs::path> DocumentSource::nextLine(bool mayWait) {
  while (takesInput) {
    std::size_t const end = input.find(separator, begin);
    if (end != std::string::npos) {
      std::string line = input.substr(begin, end - begin);
      begin = end + 1;
      if (!line.empty()) return line;
      continue;
    }
    if (input.size() - begin > longestLine) throw RunError{"standard input is no list of paths: a line is too long"};
    if (!readInput(mayWait)) return std::nullopt;
  }
  // The last line needs no separator.
  std::string line = input.substr(begin);
  input.clear();
  begin = 0;
  return line.empty() ? std::nullopt : std::optional<fs::path>(std::move(line));
}

// Whether there may be more to look at, the end of the input included.
bool DocumentSource::readInput(bool mayWait) {
  constexpr int milliseconds = 50;
  pollfd ready{STDIN_FILENO, POLLIN, 0};
  while (poll(&ready, 1, mayWait ? milliseconds : 0) <= 0) {
    StopIfInterrupted(CancelId::Reading);
    if (!mayWait) return false;
  }
  input.erase(0, std::exchange(begin, 0));
  char block[65536];
  ssize_t const count = read(STDIN_FILENO, block, sizeof block);
  if (count == -1 && errno != EINTR)
    throw RunError{"can't read standard input: " + std::generic_category().message(errno)};
  if (count == 0) takesInput = false;
  if (count > 0) input.append(block, static_cast<std::size_t>(count));
  return true;
}

void DocumentSource::open(fs::path const& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->path().filename().native().starts_with('.')) continue;
    std::error_code unknown;
    bool const mayLoop = entry->is_symlink(unknown) && entry->is_directory(unknown);
    if (!mayLoop) entries.push_back(entry->path());
  }
  if (error) {
    CheckMayLeaveOut(folder, error);
    complain(folder, error.message());
  }
  std::sort(entries.begin(), entries.end(), [](auto const& a, auto const& b) { return a.native() > b.native(); });
  std::ranges::move(entries, std::back_inserter(pending));
}

}  // namespace classify

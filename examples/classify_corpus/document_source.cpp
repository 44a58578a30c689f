#include "document_source.h"

#include <dirent.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
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
    : takesInput(paths.empty()), separator(end), complain(std::move(complaint)) {
  for (auto path = paths.rbegin(); path != paths.rend(); ++path) pending.push_back({path->native(), {}});
}

std::optional<std::string> DocumentSource::Next(bool mayWait) {
  while (true) {
    if (pending.empty()) {
      std::optional<std::string> line = NextLine(mayWait);
      if (!line) return std::nullopt;
      pending.push_back({std::move(*line), {}});
    }
    Place place = std::move(pending.back());
    pending.pop_back();
    std::error_code isUnknown;
    if (place.isDocument || !fs::is_directory(place.path, isUnknown)) return std::move(place.path);
    Open(place);
  }
}

std::optional<std::string> DocumentSource::NextLine(bool mayWait) {
  while (takesInput) {
    std::size_t const end = input.find(separator, begin);
    if (end != std::string::npos) {
      std::string line = input.substr(begin, end - begin);
      begin = end + 1;
      if (!line.empty()) return line;
      continue;
    }
    if (input.size() - begin > longestLine) throw RunError{"standard input is no list of paths: a line is too long"};
    if (!ReadInput(mayWait)) return std::nullopt;
  }
  // The last line needs no separator.
  std::string line = input.substr(begin);
  input.clear();
  begin = 0;
  return line.empty() ? std::nullopt : std::optional(std::move(line));
}

// Whether there may be more to look at, the end of the input included.
bool DocumentSource::ReadInput(bool mayWait) {
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

// The first of the names that are left. What follows is found by another listing, rather than held.
void DocumentSource::Open(Place const& folder) {
  struct Entry {
    std::string name;
    bool isDocument;
  };
  std::vector<Entry> entries;
  bool isCut = false;
  auto const cut = [&] {
    std::ranges::nth_element(entries, entries.begin() + mostNames, {}, &Entry::name);
    entries.resize(mostNames);
    isCut = true;
  };
  std::unique_ptr<DIR, int (*)(DIR*)> const listing(opendir(folder.path.c_str()), &closedir);
  std::string const prefix = folder.path.ends_with('/') ? folder.path : folder.path + '/';
  int error = listing ? 0 : errno;
  while (listing) {
    errno = 0;
    dirent const* const found = readdir(listing.get());
    error = errno;
    if (!found) break;
    std::string name = found->d_name;
    if (name.starts_with('.') || name <= folder.after) continue;
    StopIfInterrupted(CancelId::Reading);
    bool const isDocument = found->d_type == DT_REG;
    std::error_code unknown;
    bool const mayLoop =
        !isDocument && fs::is_symlink(prefix + name, unknown) && fs::is_directory(prefix + name, unknown);
    if (mayLoop) continue;
    entries.push_back({std::move(name), isDocument});
    if (entries.size() == 2 * mostNames) cut();
  }
  if (error != 0) {
    std::error_code const reason(error, std::generic_category());
    CheckMayLeaveOut(folder.path, reason);
    complain(folder.path, reason.message());
  }
  if (entries.size() > mostNames) cut();
  std::ranges::sort(entries, std::greater(), &Entry::name);
  if (isCut) pending.push_back({folder.path, entries.front().name});
  for (auto const& [name, isDocument] : entries) pending.push_back({prefix + name, {}, isDocument});
}

}  // namespace classify

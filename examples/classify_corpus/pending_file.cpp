#include "pending_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;

namespace {

std::string LastError() {
  return std::generic_category().message(errno);
}

// A folder has to be synced, too, or a crash of the machine may undo a renaming. Not all file systems can.
void SyncFolder(fs::path const& folder) {
  int const descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor == -1) return;
  fsync(descriptor);
  close(descriptor);
}

}  // namespace

PendingFile::PendingFile(fs::path const& given) : name(given), target(given) {
  std::error_code error;
  fs::file_status const there = fs::status(target, error);
  if (there.type() == fs::file_type::none) Fail(error.message());
  if (!fs::exists(there)) {
    CreatePart();
    return;
  }
  if (!fs::is_regular_file(there)) Fail("it is there, and no file");
  target = fs::canonical(target, error);
  if (error) Fail(error.message());
  CreatePart();
  if (fchmod(descriptor, static_cast<mode_t>(there.permissions())) == 0) return;
  std::string const reason = LastError();
  Discard();
  Fail(reason);
}

PendingFile::PendingFile(PendingFile&& other) noexcept
    : name(std::move(other.name)),
      target(std::move(other.target)),
      part(std::exchange(other.part, {})),
      descriptor(std::exchange(other.descriptor, -1)) {}

PendingFile::~PendingFile() {
  Discard();
}

// Other processes on this machine have other numbers; a name that is in use all the same, by another machine or by what
// a killed process has left, isn't taken.
void PendingFile::CreatePart() {
  static std::atomic<unsigned int> count{0};
  constexpr mode_t readableAndWritable = 0666;
  constexpr int attempts = 1000;
  for (int i = 0; i < attempts && descriptor == -1; ++i) {
    part = target.parent_path() / (".part-" + std::to_string(getpid()) + '-' + std::to_string(++count));
    descriptor = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, readableAndWritable);
    if (descriptor == -1 && errno != EEXIST) break;
  }
  if (descriptor != -1) return;
  part.clear();
  Fail("its folder can't be written to: " + LastError());
}

void PendingFile::Discard() {
  if (descriptor != -1) close(std::exchange(descriptor, -1));
  if (!part.empty()) unlink(std::exchange(part, {}).c_str());
}

void PendingFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t const count = write(descriptor, bytes.data(), bytes.size());
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) Fail(LastError());
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void PendingFile::Commit() {
  if (fsync(descriptor) != 0) Fail(LastError());
  if (close(std::exchange(descriptor, -1)) != 0 || rename(part.c_str(), target.c_str()) != 0) Fail(LastError());
  part.clear();
  SyncFolder(target.parent_path());
}

void PendingFile::Fail(std::string const& reason) const {
  throw RunError{"can't write " + Printable(name.native()) + ": " + reason};
}

}  // namespace classify

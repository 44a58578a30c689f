// A file that gets into its place whole or not at all.
#ifndef CLASSIFY_CORPUS_PENDING_FILE_H
#define CLASSIFY_CORPUS_PENDING_FILE_H

#include <filesystem>
#include <string>
#include <string_view>

namespace classify {

/// Is written beside its place and moves there when all of it is on the disk. Until then what stood there stays, and no
/// other program sees half of the new one. Processes that write to one place don't disturb each other: each has a
/// hidden name of its own for its part, and the last one to commit stays.
///
///     PendingFile file("mail.svg");  // before the work, so that a long run isn't lost
///     file.Write(picture);
///     file.Commit();
///
/// A link is followed, and permissions of a former file are kept. What is there and isn't a file, such as a device, is
/// refused.
/// Errors: RunError, which names the target, of every operation; nothing is left of the part then.
class PendingFile {
 public:
  explicit PendingFile(std::filesystem::path const& given);
  PendingFile(PendingFile&& other) noexcept;
  PendingFile& operator=(PendingFile&&) = delete;
  /// Takes away what wasn't committed.
  ~PendingFile();

  /// Where others may write to until `Commit`, into the file that is there.
  std::filesystem::path const& Part() const { return part; }

  void Write(std::string_view bytes);

  /// Brings what was written to the disk, and the file to its place.
  void Commit();

  [[noreturn]] void Fail(std::string const& reason) const;

 private:
  void CreatePart();
  void Discard();

  std::filesystem::path name;    // as it was given, for messages
  std::filesystem::path target;  // the same with its links followed
  std::filesystem::path part;    // empty when there is none any more
  int descriptor = -1;           // of the part
};

}  // namespace classify

#endif

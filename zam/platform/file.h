// One open file. The advisory locks that every reader and writer of the library takes through it let a reader see a
// complete file or none.
#ifndef ZAM_PLATFORM_FILE_H
#define ZAM_PLATFORM_FILE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace ZaM::platform {

/// Owns an open file, or none; where it can't be opened, IsOpen tells. Closes it at its end.
///
/// Regular files are locked while they are open: many readers, or one writer. Nobody waits: opening a file that is in
/// the way of another's lock fails, as it does on systems that have sharing modes. On a file system without locks
/// there is no such protection. Pipes and devices are opened without a lock; folders aren't opened.
class File {
 public:
  /// No file.
  File() = default;
  /// Takes an open file over.
  explicit File(int openFile) : descriptor(openFile) {}
  File(File&& other) noexcept : descriptor(other.Detach()) {}
  File& operator=(File&& other) noexcept;
  ~File() { Close(); }

  /// Opens an existing file. The path is UTF-16, with `\` and `/` as separators.
  [[nodiscard]] static File OpenForReading(std::u16string_view path);

  /// Makes a file, or empties the one that is there once nobody else has it open. What was in it is kept where this
  /// fails. A new file gets the permissions that the process gives to new files.
  [[nodiscard]] static File CreateForWriting(std::u16string_view path);

  [[nodiscard]] bool IsOpen() const { return descriptor >= 0; }

  /// Writes all of `bytes`; false where not all could be written. Beyond a limit on the size of files the system ends a
  /// process that doesn't ignore SIGXFSZ.
  [[nodiscard]] bool Write(std::string_view bytes);

  /// Closes the file, if there is one; false where the system reports what it couldn't write before.
  bool Close();

  /// The system's number of the open file, or -1; still owned by this object.
  [[nodiscard]] int Descriptor() const { return descriptor; }

  /// The same open file once more, with the same lock: that goes when the first of both is closed. No file where the
  /// system gives none.
  [[nodiscard]] File Duplicate() const;

  /// Hands the number over to the caller, who closes it; this object is left without a file. Closed in that way, the
  /// file may stay locked by a child that was forked meanwhile.
  int Detach() { return std::exchange(descriptor, -1); }

 private:
  int descriptor = -1;
};

/// Takes a lock (LOCK_SH or LOCK_EX) without waiting. False where another's lock is in the way; true also on file
/// systems that have no locks.
[[nodiscard]] bool TryLock(int descriptor, int kind);

/// Protects a file that is to lose its name: nobody begins to write to it, or takes it as a lock, while this object
/// lives. Not allowed for a file that somebody writes to or holds as a lock.
class NameRemoval {
 public:
  /// A file that can't be opened, and what is no regular file, may always be removed.
  NameRemoval(int folder, char const* name);
  [[nodiscard]] bool IsAllowed() const { return isAllowed; }

 private:
  File file;
  bool isAllowed;
};

/// The permissions of a new file, less what the process's mask takes away.
inline constexpr unsigned int readableAndWritable = 0666;

/// Gives a file that was made without a name its first one; false, with the system's reason, where there is something
/// of this name. The way leads through /proc.
[[nodiscard]] bool NameUnnamed(int file, int folder, char const* name);

/// Makes a file for writing that nobody can open before it is locked: it gets its name last. `permissions` are cut by
/// the process's mask. The caller closes the descriptor; -1 where there is something of this name already, or where the
/// file system has no files without a name.
[[nodiscard]] int CreateLocked(std::string const& nativePath, unsigned int permissions);

}  // namespace ZaM::platform

#endif

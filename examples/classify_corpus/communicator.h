// Processes that work on one run together, on one machine or on many.
#ifndef CLASSIFY_CORPUS_COMMUNICATOR_H
#define CLASSIFY_CORPUS_COMMUNICATOR_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace classify {

/// What the processes of a run, its ranks, tell each other. A run in a single process is its only rank, and talks to
/// itself.
///
/// All ranks make the same calls in the same order; each call waits for the others.
/// Threads: that which made the object.
/// Errors:  UserCanceledException while it waits, after Ctrl-C. A rank that fails ends the others by `Abort`.
class Communicator {
 public:
  Communicator() = default;
  Communicator(Communicator const&) = delete;
  Communicator& operator=(Communicator const&) = delete;
  virtual ~Communicator() = default;

  virtual std::size_t Rank() const = 0;
  virtual std::size_t Size() const = 0;

  /// The first one lists documents, collects what the others find, and writes files.
  bool IsFirst() const { return Rank() == 0; }
  bool IsAlone() const { return Size() == 1; }

  /// Sends `parts[r]` to rank r, and gives what each rank sent to this one, by rank.
  virtual std::vector<std::string> AllToAll(std::vector<std::string> parts) = 0;

  /// What rank `sender` passes, on all ranks. What others pass plays no part.
  virtual std::string Broadcast(std::size_t sender, std::string bytes) = 0;

  /// Ends all ranks; a single process goes on.
  virtual void Abort(int exitCode) = 0;

  /// On the first rank what each rank passes, by rank; empty texts on the others.
  std::vector<std::string> Gather(std::string bytes);

  /// The sum of what the ranks pass, on all of them.
  std::uint64_t Sum(std::uint64_t number);
};

/// A run in a single process.
class SingleProcess : public Communicator {
 public:
  std::size_t Rank() const override { return 0; }
  std::size_t Size() const override { return 1; }
  std::vector<std::string> AllToAll(std::vector<std::string> parts) override { return parts; }
  std::string Broadcast(std::size_t /*sender*/, std::string bytes) override { return bytes; }
  void Abort(int /*exitCode*/) override {}
};

/// The ranks that a launcher of MPI programs, such as mpirun, has started this process among. Without a launcher, and
/// in a program that was built without MPI, it is a single process, and nothing is started. Called once.
std::unique_ptr<Communicator> Connect();

}  // namespace classify

#endif

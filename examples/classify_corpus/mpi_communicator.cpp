// Ranks that talk through MPI. A build without it takes single_process.cpp instead.
#include <mpi.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <utility>

#include "communicator.h"
#include "interrupt.h"

namespace classify {

namespace {

// Sizes are ints in MPI: longer messages go in pieces.
constexpr std::size_t longestPiece = std::size_t{1} << 30;

int PieceOf(std::size_t rest) {
  return static_cast<int>(std::min(rest, longestPiece));
}

// MPI's own waiting keeps a processor busy, which another rank may need, and doesn't end at Ctrl-C.
template <std::size_t count>
void Await(std::array<MPI_Request, count> requests) {
  constexpr std::chrono::microseconds longestPause{1000};
  for (std::chrono::microseconds pause{1};; pause = std::min(2 * pause, longestPause)) {
    int isDone = 0;
    MPI_Testall(count, requests.data(), &isDone, MPI_STATUSES_IGNORE);
    if (isDone) return;
    StopIfInterrupted(CancelId::Classifying);
    std::this_thread::sleep_for(pause);
  }
}

// Failures of MPI itself end all ranks, as MPI has it unless told otherwise.
class MpiCommunicator : public Communicator {
 public:
  MpiCommunicator() {
    int provided = 0;
    MPI_Init_thread(nullptr, nullptr, MPI_THREAD_FUNNELED, &provided);
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
  }
  ~MpiCommunicator() override { MPI_Finalize(); }

  std::size_t Rank() const override { return static_cast<std::size_t>(rank); }
  std::size_t Size() const override { return static_cast<std::size_t>(size); }

  // In turns, in each of which a rank sends to another one and receives from a third: no rank is beset by all others.
  std::vector<std::string> AllToAll(std::vector<std::string> parts) override {
    std::vector<std::string> received(Size());
    received[Rank()] = std::move(parts[Rank()]);
    for (int turn = 1; turn < size; ++turn) {
      int const to = (rank + turn) % size;
      int const from = (rank - turn + size) % size;
      received[static_cast<std::size_t>(from)] = Swap(std::move(parts[static_cast<std::size_t>(to)]), to, from);
    }
    return received;
  }

  std::string Broadcast(std::size_t sender, std::string bytes) override {
    std::uint64_t length = bytes.size();
    BroadcastPiece(&length, sizeof length, sender);
    bytes.resize(static_cast<std::size_t>(length));
    for (std::size_t done = 0; done < bytes.size(); done += longestPiece)
      BroadcastPiece(bytes.data() + done, PieceOf(bytes.size() - done), sender);
    return bytes;
  }

  void Abort(int exitCode) override { MPI_Abort(MPI_COMM_WORLD, exitCode); }

 private:
  static void BroadcastPiece(void* bytes, int count, std::size_t sender) {
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Ibcast(bytes, count, MPI_BYTE, static_cast<int>(sender), MPI_COMM_WORLD, &request);
    Await<1>({request});
  }

  static std::string Swap(std::string sent, int to, int from) {
    std::uint64_t const length = sent.size();
    std::uint64_t expected = 0;
    SwapPiece(&length, sizeof length, to, &expected, sizeof expected, from);
    std::string received(static_cast<std::size_t>(expected), '\0');
    for (std::size_t done = 0; done < std::max(sent.size(), received.size()); done += longestPiece) {
      std::size_t const out = std::min(done, sent.size());
      std::size_t const in = std::min(done, received.size());
      SwapPiece(sent.data() + out, PieceOf(sent.size() - out), to, received.data() + in, PieceOf(received.size() - in),
                from);
    }
    return received;
  }

  // A piece of nothing isn't sent: the other side doesn't wait for it.
  static void SwapPiece(void const* out, int outCount, int to, void* in, int inCount, int from) {
    std::array<MPI_Request, 2> requests{MPI_REQUEST_NULL, MPI_REQUEST_NULL};
    if (inCount > 0) MPI_Irecv(in, inCount, MPI_BYTE, from, 0, MPI_COMM_WORLD, requests.data());
    if (outCount > 0) MPI_Isend(out, outCount, MPI_BYTE, to, 0, MPI_COMM_WORLD, requests.data() + 1);
    Await(requests);
  }

  int rank = 0;
  int size = 1;
};

// What mpirun and other launchers tell the processes that they start. To ask MPI itself would start its daemons.
bool IsLaunched() {
  for (char const* variable : {"OMPI_COMM_WORLD_SIZE", "PMIX_RANK", "PMI_RANK"})
    if (std::getenv(variable)) return true;
  return false;
}

}  // namespace

std::unique_ptr<Communicator> Connect() {
  if (!IsLaunched()) return std::make_unique<SingleProcess>();
  return std::make_unique<MpiCommunicator>();
}

}  // namespace classify

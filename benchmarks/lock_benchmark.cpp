// Taking and releasing a lock file in hosts of several sizes, against a file that is locked and removed without a
// guard: what it costs that the file goes even with a holder that is killed. The third peer forks, as a guard would be
// started without a program of its own.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>

#include "zam/foundation/lock_file.h"

namespace {

using Clock = std::chrono::steady_clock;

std::string const& Path() {
  static std::string const path = "/tmp/zam-lock-benchmark-" + std::to_string(getpid());
  return path;
}

struct Ours {
  void* Take() { return ZaM::ZamLockfileCreate(ZaM::wstring(Path().begin(), Path().end()), 0, 0); }
  void Release(void* lock) { ZaM::ZamLockfileRelease(lock); }
};

struct OpenAndFlock {
  int Take() {
    int const file = open(Path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (flock(file, LOCK_EX | LOCK_NB) != 0) std::abort();
    return file;
  }
  void Release(int file) {
    unlink(Path().c_str());
    close(file);
  }
};

struct ExclusiveOpen {
  int Take() { return open(Path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }
  void Release(int file) {
    unlink(Path().c_str());
    close(file);
  }
};

/// As the second one, and a process comes and goes.
struct FlockAndFork : OpenAndFlock {
  int Take() {
    int const file = OpenAndFlock::Take();
    pid_t const child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    return file;
  }
};

double MicrosecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

template <class Lock>
void TakeAndRelease(benchmark::State& state) {
  auto const size = static_cast<std::size_t>(state.range(0)) << 30;
  auto const host = std::make_unique<char[]>(size);  // zeroed, so all of it is in memory
  benchmark::DoNotOptimize(host.get());
  Lock lock;
  double taking = 0;
  double releasing = 0;
  for (auto _ : state) {
    auto const begin = Clock::now();
    auto const taken = lock.Take();
    taking += MicrosecondsSince(begin);
    auto const middle = Clock::now();
    lock.Release(taken);
    releasing += MicrosecondsSince(middle);
  }
  auto const times = static_cast<double>(state.iterations());
  state.counters["take_us"] = taking / times;
  state.counters["release_us"] = releasing / times;
}

#define ZAM_LOCK_BENCHMARKS(gigabytes)                                                                              \
  BENCHMARK(TakeAndRelease<Ours>)->Name("lock_in_" #gigabytes "GB/zam")->Arg(gigabytes)->UseRealTime();             \
  BENCHMARK(TakeAndRelease<OpenAndFlock>)->Name("lock_in_" #gigabytes "GB/flock")->Arg(gigabytes)->UseRealTime();   \
  BENCHMARK(TakeAndRelease<ExclusiveOpen>)->Name("lock_in_" #gigabytes "GB/o_excl")->Arg(gigabytes)->UseRealTime(); \
  BENCHMARK(TakeAndRelease<FlockAndFork>)                                                                           \
      ->Name("lock_in_" #gigabytes "GB/flock_and_fork")                                                             \
      ->Arg(gigabytes)                                                                                              \
      ->UseRealTime()

ZAM_LOCK_BENCHMARKS(0);
ZAM_LOCK_BENCHMARKS(1);
ZAM_LOCK_BENCHMARKS(2);

}  // namespace

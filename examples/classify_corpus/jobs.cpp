#include "jobs.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace classify {

namespace {

class Crew {
 public:
  Crew(std::size_t itemCount, Work const& given) : count(itemCount), work(given), firstFailed(itemCount) {}

  void Run(std::size_t workers, Progress& progress, CancelId id) {
    {
      running = workers;
      std::vector<std::jthread> threads;
      try {
        threads.reserve(workers);
        Start(threads, workers);
        if (threads.empty()) Labour(0);
        Watch(progress, id);
      } catch (...) {
        next = count;
        throw;
      }
    }
    if (failure) std::rethrow_exception(failure);
    progress.Step(id, static_cast<unsigned int>(done - shown));
  }

 private:
  // The work is the same with fewer threads than asked for, or with the caller's alone.
  void Start(std::vector<std::jthread>& threads, std::size_t workers) {
    try {
      for (std::size_t i = 0; i < workers; ++i) threads.emplace_back([this, i] { Labour(i); });
    } catch (std::system_error const&) {
      std::lock_guard const lock(mutex);
      running -= workers - std::max(threads.size(), std::size_t{1});
    }
  }

  void Labour(std::size_t worker) {
    for (std::size_t item; (item = next++) < count; ++done) {
      try {
        work(worker, item);
      } catch (...) {
        next = count;
        std::lock_guard const lock(mutex);
        if (item < firstFailed) failure = std::current_exception();
        firstFailed = std::min(firstFailed, item);
      }
    }
    std::lock_guard const lock(mutex);
    if (--running == 0) ended.notify_one();
  }

  // The bar is the caller's, so that the workers needn't know of it.
  void Watch(Progress& progress, CancelId id) {
    constexpr std::chrono::milliseconds interval{50};
    std::unique_lock lock(mutex);
    while (!ended.wait_for(lock, interval, [this] { return running == 0; })) {
      std::size_t const now = done;
      progress.Step(id, static_cast<unsigned int>(now - shown));
      shown = now;
    }
  }

  std::size_t const count;
  Work const& work;
  std::atomic<std::size_t> next = 0;
  std::atomic<std::size_t> done = 0;
  std::size_t shown = 0;
  std::mutex mutex;
  std::condition_variable ended;
  std::size_t running = 0;
  std::exception_ptr failure;
  std::size_t firstFailed;
};

}  // namespace

void ForEach(std::size_t jobs, std::size_t count, Progress& progress, CancelId id, Work const& work) {
  if (jobs > 1 && count > 1) return Crew(count, work).Run(std::min(jobs, count), progress, id);
  for (std::size_t i = 0; i < count; ++i) {
    progress.Step(id, 0);
    work(0, i);
    progress.Step(id);
  }
}

}  // namespace classify

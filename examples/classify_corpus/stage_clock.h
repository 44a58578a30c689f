// How long each stage of a run takes.
#ifndef CLASSIFY_CORPUS_STAGE_CLOCK_H
#define CLASSIFY_CORPUS_STAGE_CLOCK_H

#include <array>
#include <chrono>
#include <cstdint>
#include <utility>

namespace classify {

/// Adds up the time and the documents of one stage.
class StageClock {
 public:
  /// Runs `work` on so many documents; gives what it gives. Work that throws counts as well.
  template <class Work>
  auto Time(std::uint64_t documentCount, Work work) {
    Span const span{*this, documentCount};
    return work();
  }

  /// More documents, whose time is counted already.
  void Add(std::uint64_t documentCount) { documents += documentCount; }

  std::uint64_t Documents() const { return documents; }
  double Seconds() const { return std::chrono::duration<double>(time).count(); }

 private:
  using Clock = std::chrono::steady_clock;

  struct Span {
    ~Span() {
      clock.time += Clock::now() - start;
      clock.documents += count;
    }
    StageClock& clock;
    std::uint64_t count;
    Clock::time_point start = Clock::now();
  };

  Clock::duration time{};
  std::uint64_t documents = 0;
};

/// Stages that a run doesn't come to stay at 0.
struct StageClocks {
  StageClock load;
  StageClock read;
  StageClock train;
  StageClock classify;
  StageClock map;
  StageClock evaluate;

  /// In the order of a run, with their names.
  std::array<std::pair<char const*, StageClock const*>, 6> Stages() const {
    return {{{"load", &load},
             {"read", &read},
             {"train", &train},
             {"classify", &classify},
             {"map", &map},
             {"evaluate", &evaluate}}};
  }
};

}  // namespace classify

#endif

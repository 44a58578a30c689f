#include "progress.h"

#include <algorithm>
#include <iostream>

#include "interrupt.h"
#include "number_text.h"
#include "utf8.h"

namespace classify {

namespace {

constexpr std::size_t barWidth = 40;
constexpr std::chrono::milliseconds drawInterval{50};

}  // namespace

Progress::~Progress() {
  erase();
}

void Progress::Begin(std::string const& stage, std::size_t steps) {
  bool ignored = false;
  SetCurrent(0, &ignored);
  SetMaximum(static_cast<unsigned int>(steps));
  SetStatus(std::u16string(stage.begin(), stage.end()), &ignored);
  nextDraw = {};
}

void Progress::Step(CancelId id, unsigned int steps) {
  bool cancelled = false;
  Increment(steps, &cancelled);
  if (cancelled) throw ZaM::UserCanceledException(static_cast<std::int32_t>(id));
}

void Progress::Increment(unsigned int step, bool* cancelRun) {
  CallBack::Increment(step, cancelRun);
  if (IsInterrupted()) *cancelRun = true;
  if (isShown && Clock::now() >= nextDraw) draw();
}

void Progress::draw() {
  std::size_t const steps = std::max(GetMaximum(), 1U);
  std::size_t const done = barWidth * GetCurrent() / steps;
  std::string const line = Left(EncodeUtf8(GetStatus()), 12) + " [" + std::string(done, '#') +
                           std::string(barWidth - done, '.') + "] " + Grouped(GetCurrent()) + " of " +
                           Grouped(GetMaximum());
  std::cerr << '\r' << Left(line, width) << std::flush;
  width = line.size();
  nextDraw = Clock::now() + drawInterval;
}

void Progress::erase() {
  if (width > 0) std::cerr << '\r' << std::string(width, ' ') << '\r' << std::flush;
  width = 0;
}

}  // namespace classify

#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iostream>

#include "interrupt.h"
#include "number_text.h"
#include "utf8.h"

namespace classify {

namespace {

constexpr std::size_t mostMarks = 40;
constexpr std::size_t fewestMarks = 5;
constexpr std::size_t stageWidth = 12;
constexpr std::chrono::milliseconds drawInterval{50};

std::size_t TerminalColumns() {
  winsize size{};
  constexpr std::size_t usual = 80;
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : usual;
}

}  // namespace

Progress::~Progress() {
  Erase();
}

void Progress::Begin(std::string const& stage, std::size_t steps) {
  bool ignored = false;
  SetCurrent(0, &ignored);
  SetMaximum(static_cast<unsigned int>(steps));
  SetStatus(std::u16string(stage.begin(), stage.end()), &ignored);
  nextDraw = {};
  begun = Clock::now();
  if (isShown) Draw();
}

void Progress::Step(CancelId id, unsigned int steps) {
  bool cancelled = false;
  Increment(steps, &cancelled);
  if (cancelled) throw ZaM::UserCanceledException(static_cast<std::int32_t>(id));
}

void Progress::Increment(unsigned int step, bool* cancelRun) {
  CallBack::Increment(step, cancelRun);
  if (IsInterrupted()) *cancelRun = true;
  if (isShown && Clock::now() >= nextDraw) Draw();
}

void Progress::Draw() {
  std::size_t const steps = std::max(GetMaximum(), 1U);
  std::string const stage = ZaM::ToUtf8(GetStatus());
  std::string const rest = Grouped(GetCurrent()) + " of " + Grouped(GetMaximum()) + TimeLeft();
  // One column stays free: a line that fills all of them may move on to the next.
  std::size_t const columns = TerminalColumns() - 1;
  std::size_t const taken = std::max(stage.size(), stageWidth) + rest.size() + 4;
  std::string line = Left(stage, stageWidth);
  if (GetMaximum() == 0) {
    line = stage;
  } else if (taken + fewestMarks <= columns) {
    std::size_t const marks = std::min(mostMarks, columns - taken);
    std::size_t const done = std::min<std::size_t>(marks * GetCurrent() / steps, marks);
    line += " [" + std::string(done, '#') + std::string(marks - done, '.') + "] " + rest;
  } else {
    line = stage + ' ' + std::to_string(100 * std::size_t{GetCurrent()} / steps) + " %";
  }
  line = line.substr(0, columns);
  std::cerr << '\r' << Left(line, std::min(width, columns)) << std::flush;
  width = line.size();
  nextDraw = Clock::now() + drawInterval;
}

// By the speed of the stage so far, once that says something.
std::string Progress::TimeLeft() {
  double const passed = std::chrono::duration<double>(Clock::now() - begun).count();
  if (passed < 1 || GetCurrent() == 0 || GetCurrent() >= GetMaximum()) return "";
  auto const seconds = static_cast<std::uint64_t>(std::llround(passed * (GetMaximum() - GetCurrent()) / GetCurrent()));
  std::string const rest = std::to_string(seconds % 60);
  return ", " + Grouped(seconds / 60) + (rest.size() < 2 ? ":0" : ":") + rest + " left";
}

void Progress::Erase() {
  if (width > 0) std::cerr << '\r' << std::string(width, ' ') << '\r' << std::flush;
  width = 0;
}

}  // namespace classify

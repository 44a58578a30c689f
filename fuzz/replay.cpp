// Runs a fuzz target without libFuzzer, as a test: on each seed of its corpus, on each beginning of one, and on seeds
// with a byte changed. A target ends the process where something is wrong; the last line tells on what.
//
//   NAME CORPUS
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

char input[4096];  // what runs now

void TellInput(int signal) {
  static_cast<void>(!write(STDERR_FILENO, input, std::strlen(input)));
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

/// Allocated to the byte, for sanitizers.
void Run(std::vector<std::uint8_t> const& bytes, std::string const& seed, char const* change, std::size_t place) {
  std::snprintf(input, sizeof input, "failed on %s, %s %zu\n", seed.c_str(), change, place);
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

void Replay(std::filesystem::path const& seed) {
  std::ifstream file(seed, std::ios::binary);
  std::vector<std::uint8_t> const whole(std::istreambuf_iterator<char>(file), {});
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    Run({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}, seed.string(), "cut to", size);
  }
  for (std::size_t place = 0; place < whole.size(); ++place) {
    for (unsigned int const mask : {0x01u, 0x20u, 0x80u, 0xFFu}) {
      std::vector<std::uint8_t> changed = whole;
      changed[place] = static_cast<std::uint8_t>(changed[place] ^ mask);
      Run(changed, seed.string(), "changed at", place);
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("usage: NAME CORPUS\n", stderr);
    return 2;
  }
  for (int const signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) std::signal(signal, TellInput);
  int seeds = 0;
  for (auto const& entry : std::filesystem::directory_iterator(arguments[1])) {
    Replay(entry.path());
    ++seeds;
  }
  std::printf("%d seeds\n", seeds);
  return seeds > 0 ? 0 : 1;
}

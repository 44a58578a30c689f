#include "gnuplot.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>
#include <utility>

#include "interrupt.h"
#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace {

[[noreturn]] void Fail(std::string const& reason) {
  throw RunError{"can't draw a picture: " + reason};
}

using MemoryFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// In memory: the folder for temporary files may be full, or missing.
MemoryFile MakeMemoryFile(std::string_view content) {
  int const descriptor = memfd_create("gnuplot", MFD_CLOEXEC);
  MemoryFile file(descriptor == -1 ? nullptr : fdopen(descriptor, "r+"), &std::fclose);
  if (!file || std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
      std::fflush(file.get()) != 0)
    Fail(std::generic_category().message(errno));
  std::rewind(file.get());
  return file;
}

// The first line that says something.
std::string FirstLine(std::FILE* file) {
  std::rewind(file);
  std::array<char, 400> line;
  while (std::fgets(line.data(), line.size(), file)) {
    std::string text(line.data());
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    if (!text.empty() && text.find_first_not_of(" ^") != std::string::npos) return Printable(text);
  }
  return "gnuplot doesn't say why";
}

/// A running gnuplot, which is ended where it isn't waited for.
class Gnuplot {
 public:
  Gnuplot(std::FILE* script, std::FILE* complaints) {
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) Fail(std::generic_category().message(errno));
    output = ends[0];
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, fileno(script), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, fileno(complaints), STDERR_FILENO);
    std::string program = "gnuplot";
    std::string defaults = "--default-settings";  // not those of the user's home
    std::array<char*, 3> const words{program.data(), defaults.data(), nullptr};
    int const error = posix_spawnp(&child, program.c_str(), &files, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    close(ends[1]);
    if (error == 0) return;
    close(output);
    Fail(error == ENOENT ? "gnuplot isn't installed (package gnuplot-nox)" : std::generic_category().message(error));
  }
  Gnuplot(Gnuplot const&) = delete;
  Gnuplot& operator=(Gnuplot const&) = delete;
  ~Gnuplot() {
    close(output);
    if (child <= 0) return;
    kill(child, SIGKILL);
    Wait();
  }

  // All that it writes. Looks out for Ctrl-C, which may have reached this process alone.
  std::string Read() {
    constexpr int milliseconds = 50;
    std::string text;
    std::array<char, 65536> block;
    while (true) {
      pollfd ready{output, POLLIN, 0};
      int const count = poll(&ready, 1, milliseconds);
      StopIfInterrupted(CancelId::Classifying);
      if (count <= 0) continue;
      ssize_t const size = read(output, block.data(), block.size());
      if (size == 0) return text;
      if (size > 0) text.append(block.data(), static_cast<std::size_t>(size));
      if (size == -1 && errno != EINTR) Fail(std::generic_category().message(errno));
    }
  }

  // The exit status as `waitpid` gives it.
  int Wait() {
    int status = 0;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    child = 0;
    return status;
  }

 private:
  pid_t child = 0;
  int output = -1;
};

std::string Run(std::string_view script) {
  MemoryFile const input = MakeMemoryFile(script);
  MemoryFile const complaints = MakeMemoryFile("");
  Gnuplot gnuplot(input.get(), complaints.get());
  std::string drawn = gnuplot.Read();
  if (gnuplot.Wait() != 0) Fail(FirstLine(complaints.get()));
  return drawn;
}

}  // namespace

std::string Quoted(std::string_view text) {
  std::string quoted = "'";
  for (char const character : text) {
    if (character == '\'') quoted += '\'';
    quoted += character == '\n' ? ' ' : character;
  }
  return quoted + '\'';
}

void CheckGnuplot() {
  Run("");
}

std::string DrawPicture(unsigned int width, unsigned int height, std::string const& script) {
  std::string const frame = "set encoding utf8\nset terminal svg size " + std::to_string(width) + ',' +
                            std::to_string(height) +
                            " background '#ffffff' font 'DejaVu Sans,Arial,sans-serif' fontscale 1 noenhanced\n";
  std::string picture = Run(frame + script + "\nset output\n");
  if (!picture.ends_with("</svg>\n\n") && !picture.ends_with("</svg>\n")) Fail("gnuplot has left it incomplete");
  return picture;
}

}  // namespace classify

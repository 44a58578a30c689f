#include "gnuplot.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <system_error>

#include "part_path.h"
#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;

namespace {

using TemporaryFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

TemporaryFile MakeTemporaryFile(std::string_view content) {
  TemporaryFile file(std::tmpfile(), &std::fclose);
  if (!file || std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
      std::fflush(file.get()) != 0)
    throw RunError{"can't draw a picture: there is no room for a temporary file"};
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
  return "it doesn't say why";
}

// The exit status as `waitpid` gives it.
int RunGnuplot(std::FILE* script, std::FILE* complaints) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, fileno(script), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, fileno(complaints), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, fileno(complaints), STDERR_FILENO);
  std::string program = "gnuplot";
  std::string defaults = "--default-settings";  // not those of the user's home
  std::array<char*, 3> const words{program.data(), defaults.data(), nullptr};
  pid_t child = 0;
  int const error = posix_spawnp(&child, program.c_str(), &files, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  if (error == ENOENT) throw RunError{"can't draw a picture: gnuplot isn't installed (package gnuplot-nox)"};
  if (error != 0) throw RunError{"can't draw a picture: " + std::generic_category().message(error)};

  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return status;
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

void CheckPicture(fs::path const& target) {
  TemporaryFile const nothing = MakeTemporaryFile("");
  TemporaryFile const complaints = MakeTemporaryFile("");
  if (RunGnuplot(nothing.get(), complaints.get()) != 0)
    throw RunError{"can't draw pictures: gnuplot says " + FirstLine(complaints.get())};
  fs::path const part = PartOf(target);
  if (!std::ofstream(part))
    throw RunError{"can't write " + Printable(target.native()) + ": its folder can't be written to"};
  std::error_code ignored;
  fs::remove(part, ignored);
}

void DrawPicture(fs::path const& target, unsigned int width, unsigned int height, std::string const& script) {
  fs::path const part = PartOf(target);
  std::string const frame = "set encoding utf8\nset terminal svg size " + std::to_string(width) + ',' +
                            std::to_string(height) +
                            " background '#ffffff' font 'DejaVu Sans,Arial,sans-serif' fontscale 1 noenhanced\n"
                            "set output " +
                            Quoted(part.native()) + '\n';
  TemporaryFile const input = MakeTemporaryFile(frame + script + "\nset output\n");
  TemporaryFile const complaints = MakeTemporaryFile("");
  int const status = RunGnuplot(input.get(), complaints.get());

  std::error_code error;
  if (status == 0) fs::rename(part, target, error);
  if (status == 0 && !error) return;
  std::string const reason = status == 0 ? error.message() : FirstLine(complaints.get());
  fs::remove(part, error);
  throw RunError{"can't draw " + Printable(target.native()) + ": " + reason};
}

}  // namespace classify

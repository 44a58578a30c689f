#include "zam/platform/files.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "zam/platform/unicode.h"

namespace ZaM::platform {

namespace {

class Descriptor {
 public:
  explicit Descriptor(int openFile) : number(openFile) {}
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  ~Descriptor() {
    if (number >= 0) close(number);
  }

  int const number;
};

std::optional<std::string> ReadAll(int descriptor, std::size_t limit) {
  std::string bytes;
  char buffer[16384];
  for (;;) {
    ssize_t const count = read(descriptor, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return bytes;
    if (static_cast<std::size_t>(count) > limit - bytes.size()) return std::nullopt;
    bytes.append(buffer, static_cast<std::size_t>(count));
  }
}

}  // namespace

std::string NativePath(std::u16string_view path) {
  std::string bytes = Utf8FromUtf16(path);
  std::replace(bytes.begin(), bytes.end(), '\\', '/');
  return bytes;
}

std::optional<std::string> ReadFile(std::u16string_view path, std::size_t limit) {
  std::string const native = NativePath(path);
  // The system would open what stands before the zero.
  if (native.find('\0') != std::string::npos) return std::nullopt;

  // Without O_NONBLOCK a pipe under this name would wait for its other end.
  Descriptor const file(open(native.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status = {};
  if (file.number < 0 || fstat(file.number, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return ReadAll(file.number, limit);
}

std::u16string FolderOfThisLibrary() {
  static char const addressInThisLibrary = 0;
  Dl_info info = {};
  if (dladdr(&addressInThisLibrary, &info) == 0) return {};
  std::unique_ptr<char, decltype(&std::free)> const path(realpath(info.dli_fname, nullptr), &std::free);
  if (path == nullptr) return {};
  std::string_view const whole = path.get();
  return Utf16FromUtf8(whole.substr(0, whole.rfind('/')));
}

}  // namespace ZaM::platform

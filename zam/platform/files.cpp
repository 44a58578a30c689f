#include "zam/platform/files.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include "zam/platform/descriptor.h"
#include "zam/platform/retry.h"
#include "zam/platform/surrogates.h"
#include "zam/platform/unicode.h"

namespace ZaM::platform {

namespace {

constexpr char16_t escape = 0xDC00;  // plus a byte

bool IsEscape(char16_t unit) {
  return unit == escape + '\\' || (unit >= escape + 0x80 && unit <= escape + 0xFF);
}

/// The place of the first escape, which no surrogate before it takes for its other half.
std::size_t FindEscape(std::u16string_view path) {
  for (std::size_t n = 0; n < path.size(); ++n) {
    bool const halfOfAPair = n > 0 && IsHighSurrogate(path[n - 1]);
    if (IsEscape(path[n]) && !halfOfAPair) return n;
  }
  return path.size();
}

std::optional<std::string> ReadAll(int descriptor, std::size_t limit) {
  std::string bytes;
  char buffer[16384];
  for (;;) {
    ssize_t const count = Retry([&] { return read(descriptor, buffer, sizeof buffer); });
    if (count < 0) return std::nullopt;
    if (count == 0) return bytes;
    if (static_cast<std::size_t>(count) > limit - bytes.size()) return std::nullopt;
    bytes.append(buffer, static_cast<std::size_t>(count));
  }
}

}  // namespace

std::string NativePath(std::u16string_view path) {
  std::string bytes;
  for (;;) {
    std::size_t const end = FindEscape(path);
    std::string text = Utf8FromUtf16(path.substr(0, end));
    std::replace(text.begin(), text.end(), '\\', '/');
    bytes += text;
    if (end == path.size()) return bytes;
    bytes += static_cast<char>(path[end] - escape);
    path.remove_prefix(end + 1);
  }
}

std::string OpenablePath(std::u16string_view path) {
  if (path.size() >= PATH_MAX) return {};  // no unit becomes less than a byte
  std::string native = NativePath(path);
  if (native.find('\0') != std::string::npos) native.clear();
  return native;
}

std::u16string WidePath(std::string_view bytes) {
  std::u16string units = Utf16FromUtf8(bytes);
  if (Utf8FromUtf16(units) != bytes) {
    units.clear();
    for (char const byte : bytes) {
      auto const value = static_cast<unsigned char>(byte);
      units += static_cast<char16_t>(value < 0x80 ? value : escape + value);
    }
  }
  std::replace(units.begin(), units.end(), u'\\', static_cast<char16_t>(escape + '\\'));
  return units;
}

std::optional<std::string> ReadFile(std::u16string_view path, std::size_t limit) {
  std::string const native = OpenablePath(path);
  // Without O_NONBLOCK a pipe under this name would wait for its other end.
  Descriptor const file(open(native.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status = {};
  if (!file.IsOpen() || fstat(file.Number(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return ReadAll(file.Number(), limit);
}

std::u16string FolderOfThisLibrary() {
  static char const addressInThisLibrary = 0;
  Dl_info info = {};
  if (dladdr(&addressInThisLibrary, &info) == 0) return {};
  std::unique_ptr<char, decltype(&std::free)> const path(realpath(info.dli_fname, nullptr), &std::free);
  if (path == nullptr) return {};
  std::string_view const whole = path.get();
  return WidePath(whole.substr(0, whole.rfind('/')));
}

}  // namespace ZaM::platform

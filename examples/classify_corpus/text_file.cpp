#include "text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

#include "help_page.h"
#include "reading_error.h"
#include "term_extractor.h"
#include "utf8.h"

namespace classify {

namespace {

// Nobody writes a text of this length: what is longer is a log, a dump or a device, and would only use up memory.
constexpr std::size_t maxBytes = std::size_t{16} << 20;
static_assert(6 * maxBytes <= TermExtractor::maxUnits, "a page can have six times as many units as bytes");

class Descriptor {
 public:
  // Without waiting for the other end of a pipe.
  explicit Descriptor(std::filesystem::path const& path)
      : number(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  ~Descriptor() {
    if (number != -1) close(number);
  }

  int const number;  // -1 if it isn't open
};

[[noreturn]] void FailToRead(std::filesystem::path const& path) {
  CheckMayLeaveOut(path, {errno, std::generic_category()});
  throw UnusableFile{"can't be read, left out"};
}

std::string ReadBytes(std::filesystem::path const& path) {
  Descriptor const file(path);
  struct stat status;
  if (file.number == -1 || fstat(file.number, &status) != 0) FailToRead(path);
  if (!S_ISREG(status.st_mode)) throw UnusableFile{"no file, left out"};
  std::string bytes;
  for (char block[65536];;) {
    ssize_t const count = read(file.number, block, sizeof block);
    if (count == 0) return bytes;
    if (count == -1 && errno != EINTR) FailToRead(path);
    if (count > 0) bytes.append(block, static_cast<std::size_t>(count));
    if (bytes.size() > maxBytes) throw UnusableFile{"larger than 16 MiB, left out"};
  }
}

std::u16string PlainText(std::string const& bytes) {
  std::optional<std::u16string> text = ZaM::DecodeText(bytes);
  if (!text || text->find(u'\0') != std::u16string::npos) throw UnusableFile{"not text in UTF-8, left out"};
  return std::move(*text);
}

std::u16string PageText(std::string const& bytes) {
  try {
    std::optional<std::u16string> text = HelpPageText(bytes);
    if (!text) throw UnusableFile{"not well-formed XML, left out"};
    return std::move(*text);
  } catch (ZaM::LimitExceededException const&) {
    throw UnusableFile{"beyond the limits of XML, left out"};
  }
}

}  // namespace

std::u16string ReadText(std::filesystem::path const& path) {
  std::string const bytes = ReadBytes(path);
  return path.extension() == ".page" ? PageText(bytes) : PlainText(bytes);
}

}  // namespace classify

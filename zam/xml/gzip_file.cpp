#include "zam/xml/gzip_file.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

#include "zam/foundation/exceptions.h"

namespace ZaM::detail {

namespace {

/// What is read in one call: zlib drops what a call has read in front of damaged data, and it isn't to be much.
constexpr std::size_t blockSize = 1024;

/// What is written in one call, whose result is an int.
constexpr std::size_t mostAtOnce = std::numeric_limits<int>::max();

}  // namespace

void GzipFile::Closer::operator()(gzFile_s* stream) const {
  gzclose(stream);
}

GzipFile::GzipFile(platform::File file, Mode mode)
    : stream(gzdopen(file.Descriptor(), mode == Mode::read ? "rb" : "wb9")) {
  if (stream == nullptr) throw BaseException(5);
  file.Detach();
}

std::optional<std::size_t> GzipFile::Read(std::span<char> bytes) {
  std::size_t total = 0;
  while (total < bytes.size()) {
    auto const wanted = static_cast<unsigned int>(std::min(bytes.size() - total, blockSize));
    int const count = gzread(stream.get(), bytes.data() + total, wanted);
    if (count < 0 && total == 0) return std::nullopt;
    if (count <= 0) break;
    total += static_cast<unsigned int>(count);
  }
  return total;
}

bool GzipFile::IsCutOff() const {
  int error = Z_OK;
  gzerror(stream.get(), &error);
  return error == Z_BUF_ERROR;
}

bool GzipFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    auto const length = static_cast<unsigned int>(std::min(bytes.size(), mostAtOnce));
    if (gzwrite(stream.get(), bytes.data(), length) != static_cast<int>(length)) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

bool GzipFile::Close() {
  return stream == nullptr || gzclose(stream.release()) == Z_OK;
}

}  // namespace ZaM::detail

#include "zam/xml/gzip_file.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "zam/foundation/exceptions.h"

namespace ZaM::detail {

namespace {

/// What zlib reads of a file at once. (xml_parser_benchmark: with its usual 8 KiB, inflating takes a tenth longer.)
constexpr unsigned int inputSize = 32768;

/// What is read in one call: what zlib inflates at once, and then it does so without a copy. What it has inflated in
/// the same step as damaged data is lost.
constexpr std::size_t blockSize = std::size_t{2} * inputSize;

/// What is written in one call, whose result is an int.
constexpr std::size_t mostAtOnce = std::numeric_limits<int>::max();

bool IsOutOfMemory(gzFile_s* stream) {
  int error = Z_OK;
  gzerror(stream, &error);
  return error == Z_MEM_ERROR;
}

}  // namespace

void GzipFile::Closer::operator()(gzFile_s* opened) const {
  gzclose(opened);
}

GzipFile::GzipFile(platform::File openFile, Mode mode) : file(std::move(openFile)) {
  platform::File second = file.Duplicate();
  if (second.IsOpen()) stream.reset(gzdopen(second.Descriptor(), mode == Mode::Read ? "rb" : "wb9"));
  if (stream == nullptr) throw BaseException(ErrorId::OutOfMemory);
  second.Detach();
  gzbuffer(stream.get(), inputSize);
  // With nothing to compress yet this only takes the memory that all further writing needs.
  if (mode == Mode::Write && gzflush(stream.get(), Z_NO_FLUSH) == Z_MEM_ERROR)
    throw BaseException(ErrorId::OutOfMemory);
}

std::optional<std::size_t> GzipFile::Read(std::span<char> bytes) {
  std::size_t total = 0;
  while (total < bytes.size()) {
    std::size_t const atOnce = gzdirect(stream.get()) != 0 ? mostAtOnce : blockSize;
    auto const wanted = static_cast<unsigned int>(std::min(bytes.size() - total, atOnce));
    z_off_t const position = gztell(stream.get());
    int const count = gzread(stream.get(), bytes.data() + total, wanted);
    // A read that fails may have delivered what lies in front of the damage, without saying how much.
    total += static_cast<std::size_t>(count >= 0 ? count : gztell(stream.get()) - position);
    if (count < 0 && IsOutOfMemory(stream.get())) throw BaseException(ErrorId::OutOfMemory);
    if (count < 0 && total == 0) return std::nullopt;
    if (count <= 0) break;
  }
  return total;
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
  bool const complete = stream == nullptr || gzclose(stream.release()) == Z_OK;
  return file.Close() && complete;
}

}  // namespace ZaM::detail

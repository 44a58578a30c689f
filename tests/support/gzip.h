// Text as a gzip file has it.
#ifndef TESTS_SUPPORT_GZIP_H
#define TESTS_SUPPORT_GZIP_H

#include <zlib.h>

#include <stdexcept>
#include <string>

namespace ZaM::test {

/// What zlib writes to a file that is opened with the mode "wb9".
inline std::string Gzip(std::string text) {
  z_stream stream = {};
  constexpr int gzipHeader = 16;
  deflateInit2(&stream, 9, Z_DEFLATED, MAX_WBITS + gzipHeader, 8, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(text.data());
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  int const result = deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("can't compress");
  return packed;
}

}  // namespace ZaM::test

#endif

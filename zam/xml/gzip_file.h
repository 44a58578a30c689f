// Files through zlib's gzip layer: read with what is compressed inflated, or written as one gzip stream.
#ifndef ZAM_XML_GZIP_FILE_H
#define ZAM_XML_GZIP_FILE_H

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "zam/platform/file.h"

struct gzFile_s;

namespace ZaM::detail {

/// One open file behind zlib's gzip layer, or none after Close.
///
/// Reading: a file that begins with the gzip signature is inflated, and so are further gzip streams that follow the
///          first at once; other bytes after a stream are ignored, as `gzip -d` does. Any other file is passed on as
///          it is, compressed in another way or not.
/// Writing: one gzip stream at level 9. A full disk may show as late as in Close.
/// Errors:  BaseException with id 5 where memory runs out, in the constructor and in Read; all else is reported by the
///          results.
class GzipFile {
 public:
  enum class Mode { Read, Write };

  /// Takes `openFile`, which is open, over; closes it where this throws.
  GzipFile(platform::File openFile, Mode mode);

  /// Fills `bytes` and returns its size. The count is smaller in two cases: at the end of the file, and just before a
  /// place that can't be read or is damaged. The next call then returns 0 for the end, nothing for the fault. A gzip
  /// stream that is cut off ends like a complete one; Close tells the difference.
  [[nodiscard]] std::optional<std::size_t> Read(std::span<char> bytes);

  /// Compresses all of `bytes`; false where zlib knows already that they can't be written.
  [[nodiscard]] bool Write(std::string_view bytes);

  /// Writes what is left and closes the file; false where not all of it could be written, or where the reading ended
  /// inside a gzip stream that breaks off.
  bool Close();

 private:
  struct Closer {
    void operator()(gzFile_s* opened) const;
  };

  platform::File file;                       // outlives the stream, and lets the lock go
  std::unique_ptr<gzFile_s, Closer> stream;  // null after Close; closes a number of its own
};

}  // namespace ZaM::detail

#endif

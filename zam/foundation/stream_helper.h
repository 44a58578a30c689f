// Single values of basic types in binary files.
#ifndef ZAM_FOUNDATION_STREAM_HELPER_H
#define ZAM_FOUNDATION_STREAM_HELPER_H

#include <cstdint>
#include <iosfwd>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

/// Writes and reads one value at a time, and throws where the stream fails, so that code that saves or loads needs no
/// checks of its own:
///
///     StreamHelper::WriteLong(&file, count);
///     StreamHelper::WriteString(&file, name);
///
/// Values follow each other without tags or padding, the lowest byte first on any machine:
///
///     bool           1 byte, 0 or 1
///     short, long    2 or 4 bytes, two's complement
///     double         8 bytes, IEEE 754 binary64
///     string         a long n, then n bytes: the 16-bit units and a zero unit. "ab" is 06 00 00 00 61 00 62 00 00 00.
///
/// Streams have to be open in binary mode and must not be null. They are neither cleared nor repositioned, also not
/// after a failure.
///
/// Errors: FileIOException with id 2001 if the stream has failed after writing, and with id 2004 if it has failed after
///         reading, as it does when it ends too early; the path is empty. A value that ends with the stream is fine.
///         This is the outcome also for a stream that was told to throw (`std::ios::exceptions`).
/// Threads: holds nothing; different streams may be used at once.
class ZAM_EXPORT StreamHelper {
 public:
  /// Write one value.
  static void WriteBool(std::ostream* s, bool value);
  static void WriteLong(std::ostream* s, std::int32_t value);
  static void WriteDouble(std::ostream* s, double value);

  /// Writes all units, also zeros, after which `ReadString` will lose some. The string isn't changed. The count is in
  /// bytes and has to fit its 31 bits: a string of 2³⁰ - 1 units or more is id 2001 before anything is written. Another
  /// failure may leave the count and a part of the text in the stream.
  static void WriteString(std::ostream* s, ZaM::wstring& value);

  /// Read one value. Bytes that arrive before a failure replace the lowest ones of the target, the others stay. Any
  /// byte but 0 is true.
  static void ReadBool(std::istream* s, bool& value);
  static void ReadShort(std::istream* s, std::int16_t& value);
  static void ReadLong(std::istream* s, std::int32_t& value);
  static void ReadDouble(std::istream* s, double& value);

  /// Replaces the target. The text is taken in chunks of 1,024 bytes, each up to its first zero unit; so a zero unit
  /// inside a string loses what follows it in its chunk. The terminator may be missing, and after an odd count the
  /// last byte is a unit of its own. A negative count is id 2004.
  ///
  /// The target keeps its content if the count can't be read; a later failure leaves the chunks read before it. Memory
  /// is taken as text arrives, whatever the count says. Throws BaseException with id 5 when it runs out.
  static void ReadString(std::istream* s, ZaM::wstring& value);
};

#endif

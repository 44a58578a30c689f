// UUIDs: numbers of 128 bits that no two things in the world share.
//
// Threads: any, at any time.
// Errors:  ZaMUuidFromString throws std::out_of_range for an empty text, and BaseException with id 1 for any other that
//          isn't of its form; `uuid` is untouched then. BaseException with id 5 when memory runs out, be it for the
//          text of one of these. ZaMUuidCreate throws nothing.
#ifndef ZAM_FOUNDATION_UUID_H
#define ZAM_FOUNDATION_UUID_H

#include <cstdint>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// A UUID as a record of 16 bytes without gaps. The first three fields are numbers in the machine's own byte order, so
/// that on most machines their bytes lie the other way round than the text shows them.
struct _ZAMGUID {
  /// The groups of 8, 4 and 4 digits of the text, and its last 16 digits, two for each byte.
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
};

/// Puts a new UUID into `uuid`, which must not be null. It is made of the time and this machine's network address
/// (version 1), or of a random number where there is no such address. While the clock isn't set back, one that is made
/// later has a later time in it. A forked process has another clock sequence than its parent.
ZAM_EXPORT void ZaMUuidCreate(_ZAMGUID* uuid);

/// Reads the text form: 36 characters, hexadecimal digits of either case in groups of 8, 4, 4, 4 and 12 with `-`
/// between them, nothing before or after. `uuid` must not be null.
///
///     f81d4fae-7dec-11d0-a765-00a0c91e6bf6
ZAM_EXPORT void ZaMUuidFromString(wstring const& text, _ZAMGUID* uuid);

/// The text form with digits in lower case; `uuid` must not be null.
[[nodiscard]] ZAM_EXPORT wstring ZaMUuidToString(_ZAMGUID* uuid);

}  // namespace ZaM

#endif

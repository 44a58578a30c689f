#include "zam/platform/text_encoding.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

namespace ZaM::platform {

namespace {

struct Close {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};

using Converter = std::unique_ptr<UConverter, Close>;

void CheckMemory(UErrorCode status) {
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

/// ICU lists its names when it is first asked for one, and lacks them for good where there is no memory for that: while
/// the library is loaded.
[[maybe_unused]] std::uint16_t const namesAtLoad = [] {
  UErrorCode status = U_ZERO_ERROR;
  return ucnv_countAliases("UTF-8", &status);
}();

/// Stops at what is malformed. Null without an encoding of this name.
Converter Open(char const* encoding) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(encoding, &status));
  CheckMemory(status);
  if (converter) ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  return converter;
}

}  // namespace

bool IsEncoding(char const* name) {
  return *name != 0 && Open(name) != nullptr;
}

std::optional<std::u16string> DecodeBytes(std::string_view bytes, char const* encoding) {
  Converter const converter = Open(encoding);
  if (!converter) return std::nullopt;
  std::u16string text;
  char const* next = bytes.data();
  char const* const end = next + bytes.size();
  UErrorCode status = U_ZERO_ERROR;
  bool isLast = false;
  do {
    // ICU takes no more than 2^31 bytes at once.
    char const* const pieceEnd = next + std::min<std::ptrdiff_t>(end - next, 1 << 30);
    isLast = pieceEnd == end;
    char16_t units[4096];
    char16_t* unitsEnd = units;
    status = U_ZERO_ERROR;
    ucnv_toUnicode(converter.get(), &unitsEnd, units + std::size(units), &next, pieceEnd, nullptr, isLast, &status);
    text.append(units, unitsEnd);
  } while (status == U_BUFFER_OVERFLOW_ERROR || (U_SUCCESS(status) && !isLast));
  CheckMemory(status);
  return U_SUCCESS(status) ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace ZaM::platform

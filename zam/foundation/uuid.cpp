#include "zam/foundation/uuid.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/platform/identity.h"

namespace ZaM {

namespace {

static_assert(sizeof(_ZAMGUID) == 16);

/// In the order of the text, two digits each.
using Bytes = std::array<std::uint8_t, 16>;

constexpr std::size_t textLength = 36;
constexpr std::u16string_view digits = u"0123456789abcdef";

constexpr bool IsHyphenAt(std::size_t position) {
  return position == 8 || position == 13 || position == 18 || position == 23;
}

_ZAMGUID RecordOf(Bytes const& bytes) {
  _ZAMGUID record = {};
  for (std::size_t i = 0; i < 4; ++i) record.data1 = record.data1 << 8 | bytes[i];
  record.data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  record.data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  std::copy_n(bytes.begin() + 8, 8, record.data4);
  return record;
}

Bytes BytesOf(_ZAMGUID const& record) {
  Bytes bytes = {};
  for (unsigned int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(record.data1 >> (24 - 8 * i));
  for (unsigned int i = 0; i < 2; ++i) {
    bytes[4 + i] = static_cast<std::uint8_t>(record.data2 >> (8 - 8 * i));
    bytes[6 + i] = static_cast<std::uint8_t>(record.data3 >> (8 - 8 * i));
  }
  std::copy_n(record.data4, 8, bytes.begin() + 8);
  return bytes;
}

/// 16 for what is no hexadecimal digit.
std::size_t ValueOf(wchar character) {
  if (character >= u'A' && character <= u'F') character = static_cast<wchar>(character - u'A' + u'a');
  return std::min(digits.find(character), digits.size());
}

/// False for a text of another form.
bool Parse(std::u16string_view text, Bytes& bytes) {
  if (text.size() != textLength) return false;
  std::size_t count = 0;  // of digits
  for (std::size_t i = 0; i < textLength; ++i) {
    if (IsHyphenAt(i)) {
      if (text[i] != u'-') return false;
      continue;
    }
    std::size_t const value = ValueOf(text[i]);
    if (value == digits.size()) return false;
    bytes[count / 2] = static_cast<std::uint8_t>(std::size_t{bytes[count / 2]} * 16 + value);
    ++count;
  }
  return true;
}

}  // namespace

void ZaMUuidCreate(_ZAMGUID* uuid) {
  *uuid = RecordOf(platform::NewUuid());
}

void ZaMUuidFromString(wstring const& text, _ZAMGUID* uuid) {
  Bytes bytes = {};
  ReportOutOfMemory([&] {  // for the texts of the exceptions
    static_cast<void>(text.at(0));
    if (!Parse(text, bytes)) throw BaseException(ErrorId::InvalidArgument, u"Invalid UUID passed to ZaMUuidFromString");
  });
  *uuid = RecordOf(bytes);
}

wstring ZaMUuidToString(_ZAMGUID* uuid) {
  Bytes const bytes = BytesOf(*uuid);
  return ReportOutOfMemory([&] {
    wstring text;
    text.reserve(textLength);
    for (std::uint8_t const byte : bytes) {
      if (IsHyphenAt(text.size())) text += u'-';
      text += {digits[byte >> 4], digits[byte & 0xF]};
    }
    return text;
  });
}

}  // namespace ZaM

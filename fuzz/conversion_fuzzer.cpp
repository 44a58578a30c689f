// Any bytes as text, as UUID and as numbers, and any units as bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "fuzz/units.h"
#include "zam/zam.h"

namespace {

using namespace ZaM;

bool IsWellFormed(wstring const& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((text[i] & 0xF800) != 0xD800) continue;
    if (text[i] >= 0xDC00 || i + 1 == text.size() || (text[++i] & 0xFC00) != 0xDC00) return false;
  }
  return true;
}

/// What is well-formed comes back as it was; anything else is made well-formed.
void ConvertBytes(std::string const& bytes) {
  wstring wide;
  Require(ConvertA2W(bytes, wide) && IsWellFormed(wide));
  std::string again;
  Require(ConvertW2A(wide, again));
  if (wide.find(u'\uFFFD') == wstring::npos) Require(again == bytes.substr(0, bytes.find('\0')));
  wstring byParser;
  XmlSaxParser().ConvertString(reinterpret_cast<unsigned char const*>(bytes.data()),
                               static_cast<int>(std::strlen(bytes.c_str())), byParser);
  Require(byParser == wide);
}

/// In the encoding that the first byte chooses.
void Decode(std::string_view bytes) {
  constexpr char const* names[] = {"UTF-8",       "UTF-16LE", "UTF-16", "UTF-32", "windows-1252", "Shift_JIS",
                                   "ISO-2022-JP", "GB18030",  "EUC-JP", "Big5",   "UTF-7",        "KOI8-R"};
  if (bytes.empty()) return;
  auto const text = DecodeText(bytes.substr(1), names[static_cast<unsigned char>(bytes[0]) % std::size(names)]);
  if (text) Require(IsWellFormed(*text) && FromUtf8(ToUtf8(*text)) == *text);
  Require(IsUtf8(bytes) == (ToUtf8(FromUtf8(bytes)) == bytes));
}

void ConvertUnits(wstring const& units) {
  std::string bytes;
  Require(ConvertW2A(units, bytes));
  std::string room(bytes.size() + 1, 'x');
  Require(ConvertW2A(units, room.data(), static_cast<std::int32_t>(room.size())));
  Require(room.back() == '\0' && room.compare(0, bytes.size(), bytes) == 0);
  Require(!ConvertW2A(units, room.data(), static_cast<std::int32_t>(bytes.size())));
  wstring again;
  Require(ConvertA2W(bytes, again));
  if (IsWellFormed(units)) Require(again == units.substr(0, units.find(u'\0')));
  Require(ZamStrToLower(units).size() == units.size() && ZamStrToUpper(units).size() == units.size());
}

/// Where a UUID was read its text form differs from what was given in case alone.
void ReadUuid(wstring const& text) {
  _ZAMGUID uuid = {1, 2, 3, {4}};
  try {
    ZaMUuidFromString(text, &uuid);
    Require(ZaMUuidToString(&uuid) == ZamStrToLower(text));
  } catch (BaseException const& failure) {
    Require(failure.GetErrorId() == ErrorId::InvalidArgument && uuid.data1 == 1 && uuid.data4[0] == 4);
  } catch (std::out_of_range const&) {
    Require(text.empty());
  }
}

/// Whatever the bytes are, they make a UUID, whose text form gives it back.
void WriteUuid(Bytes bytes) {
  unsigned char given[sizeof(_ZAMGUID)];
  for (unsigned char& byte : given) byte = static_cast<unsigned char>(bytes.Take());
  _ZAMGUID uuid;
  std::memcpy(&uuid, given, sizeof uuid);
  _ZAMGUID again;
  ZaMUuidFromString(ZaMUuidToString(&uuid), &again);
  Require(std::memcmp(&again, given, sizeof again) == 0);
}

/// As the C library reads it, where it fits.
void ReadNumber(std::string const& bytes) {
  auto const* const value = reinterpret_cast<unsigned char const*>(bytes.c_str());
  XmlSaxParser parser;
  long long const number = std::strtoll(bytes.c_str(), nullptr, 10);
  if (number > INT32_MIN && number < INT32_MAX) Require(parser.GetLongValue(value, 0) == number);
  if (number != 0 && number > INT64_MIN && number < INT64_MAX) Require(parser.GetTimetValue(value, 0) == number);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const bytes(reinterpret_cast<char const*>(data), size);
  wstring const units = Bytes(data, size).TakeText(size);
  ConvertBytes(bytes);
  Decode(bytes);
  ConvertUnits(units);
  ReadUuid(units);
  WriteUuid(Bytes(data, size));
  ReadNumber(bytes);
  return 0;
}

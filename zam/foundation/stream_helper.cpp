#include "zam/foundation/stream_helper.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <exception>
#include <istream>
#include <limits>
#include <ostream>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"

namespace {

static_assert(std::endian::native == std::endian::little || std::endian::native == std::endian::big);
static_assert(sizeof(double) == 8 && std::numeric_limits<double>::is_iec559);

constexpr std::int32_t writeFailure = ZaM::ErrorId::FileWrite;
constexpr std::int32_t readFailure = ZaM::ErrorId::FileRead;

constexpr std::size_t chunkUnits = 512;
constexpr std::size_t chunkBytes = 2 * chunkUnits;

/// The longest text whose count of bytes, terminator included, is a positive 32-bit number.
constexpr std::size_t maxUnits = (std::numeric_limits<std::int32_t>::max() - 2) / 2;

/// Where byte `i` of a number of `width` bytes, counted from the lowest, lies in this machine's memory.
constexpr std::size_t PlaceOf(std::size_t i, std::size_t width) {
  return std::endian::native == std::endian::little ? i : width - 1 - i;
}

/// Runs `use` on the stream, and throws if the stream has failed then.
template <class Stream, class Use>
void Checked(Stream* s, std::int32_t failure, Use use) {
  try {
    use();
  } catch (std::exception const&) {
    if (!s->fail()) throw;  // a stream that was told to throw lets pass what its buffer throws
  }
  if (s->fail()) throw ZaM::FileIOException(failure);
}

void WriteBytes(std::ostream* s, char const* bytes, std::size_t count) {
  Checked(s, writeFailure, [&] { s->write(bytes, static_cast<std::streamsize>(count)); });
}

void ReadBytes(std::istream* s, char* bytes, std::size_t count) {
  Checked(s, readFailure, [&] { s->read(bytes, static_cast<std::streamsize>(count)); });
}

template <class Number>
void WriteNumber(std::ostream* s, Number value) {
  auto const* const memory = reinterpret_cast<char const*>(&value);
  char bytes[sizeof(Number)];
  for (std::size_t i = 0; i < sizeof(Number); ++i) bytes[i] = memory[PlaceOf(i, sizeof(Number))];
  WriteBytes(s, bytes, sizeof(Number));
}

/// Puts the bytes that arrived into the target, and only then reports that others didn't. Doesn't look at the old
/// value, which may never have been set.
template <class Number>
void ReadNumber(std::istream* s, Number& value) {
  char bytes[sizeof(Number)];
  auto* const memory = reinterpret_cast<char*>(&value);
  auto const store = [&] {
    auto const arrived = static_cast<std::size_t>(s->gcount());
    for (std::size_t i = 0; i < arrived; ++i) memory[PlaceOf(i, sizeof(Number))] = bytes[i];
  };
  try {
    ReadBytes(s, bytes, sizeof(Number));
  } catch (ZaM::FileIOException const&) {
    store();
    throw;
  }
  store();
}

/// Unit `index` of a text whose units are stored the lower byte first.
ZaM::wchar UnitAt(char const* bytes, std::size_t index) {
  auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  return static_cast<ZaM::wchar>(byte(2 * index) | byte(2 * index + 1) << 8);
}

/// Reads `count` bytes, at most a chunk, and appends them up to the first zero unit.
void AppendChunk(std::istream* s, std::size_t count, ZaM::wstring& value) {
  char bytes[chunkBytes] = {};
  ReadBytes(s, bytes, count);
  ZaM::wchar units[chunkUnits];
  std::size_t length = 0;
  while (length < chunkUnits && (units[length] = UnitAt(bytes, length)) != 0) ++length;
  ZaM::ReportOutOfMemory([&] { value.append(units, length); });
}

}  // namespace

void StreamHelper::WriteBool(std::ostream* s, bool value) {
  char const byte = value ? 1 : 0;
  WriteBytes(s, &byte, 1);
}

void StreamHelper::WriteLong(std::ostream* s, std::int32_t value) {
  WriteNumber(s, value);
}

void StreamHelper::WriteDouble(std::ostream* s, double value) {
  WriteNumber(s, value);
}

void StreamHelper::WriteString(std::ostream* s, ZaM::wstring& value) {
  if (value.size() > maxUnits) throw ZaM::FileIOException(writeFailure);
  WriteLong(s, static_cast<std::int32_t>(2 * value.size() + 2));
  char bytes[chunkBytes];
  std::size_t const units = value.size() + 1;
  for (std::size_t done = 0; done < units; done += chunkUnits) {
    std::size_t const count = std::min(chunkUnits, units - done);
    for (std::size_t i = 0; i < count; ++i) {
      ZaM::wchar const unit = value.c_str()[done + i];
      bytes[2 * i] = static_cast<char>(unit & 0xFF);
      bytes[2 * i + 1] = static_cast<char>(unit >> 8);
    }
    WriteBytes(s, bytes, 2 * count);
  }
}

void StreamHelper::ReadBool(std::istream* s, bool& value) {
  char byte;
  ReadBytes(s, &byte, 1);
  // A `bool` with any other byte in it would be undefined behaviour for whoever looks at it.
  value = byte != 0;
}

void StreamHelper::ReadShort(std::istream* s, std::int16_t& value) {
  ReadNumber(s, value);
}

void StreamHelper::ReadLong(std::istream* s, std::int32_t& value) {
  ReadNumber(s, value);
}

void StreamHelper::ReadDouble(std::istream* s, double& value) {
  ReadNumber(s, value);
}

void StreamHelper::ReadString(std::istream* s, ZaM::wstring& value) {
  std::int32_t count = 0;
  ReadLong(s, count);
  value.clear();
  if (count < 0) Checked(s, readFailure, [&] { s->setstate(std::ios_base::failbit); });
  auto rest = static_cast<std::size_t>(count);
  // A count of 0 takes its pass too: it reads nothing, but sees a stream that has failed.
  do {
    std::size_t const chunk = std::min(chunkBytes, rest);
    AppendChunk(s, chunk, value);
    rest -= chunk;
  } while (rest > 0);
}

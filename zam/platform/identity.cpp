#include "zam/platform/identity.h"

#include <unistd.h>
#include <uuid/uuid.h>

#include <algorithm>
#include <atomic>

#include "zam/platform/unicode.h"

namespace ZaM::platform {

namespace {

/// Microseconds since 1582, from the 60-bit number of 100 ns that a time-based UUID spreads over its first 8 bytes.
std::uint64_t Microseconds(std::array<std::uint8_t, 16> const& uuid) {
  std::uint64_t time = uuid[6] & 0x0Fu;  // the version is in the other half of this byte
  for (std::size_t const byte : {7u, 4u, 5u, 0u, 1u, 2u, 3u}) time = time << 8 | uuid[byte];
  return time / 10;
}

}  // namespace

std::optional<std::u16string> HostName() {
  char name[256];
  if (gethostname(name, sizeof name) != 0) return std::nullopt;
  name[sizeof name - 1] = '\0';  // a name that was cut may come without its end
  return Utf16FromUtf8(name);
}

std::int32_t ProcessId() {
  return getpid();
}

std::int32_t ProcessorCount() {
  return static_cast<std::int32_t>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
}

std::array<std::uint8_t, 16> NewUuid() {
  // Where it can't keep its state in a file, the generator gives each thread a random clock sequence of 14 bits. Two
  // threads with the same one would count the same time, so no microsecond serves twice. The generator runs ahead of
  // the clock by a microsecond at most: a time further back means that the clock was set, which changes the sequence.
  static std::atomic<std::uint64_t> latest = 0;
  std::array<std::uint8_t, 16> uuid = {};
  for (;;) {
    std::uint64_t before = latest.load();
    uuid_generate_time(uuid.data());
    std::uint64_t const now = Microseconds(uuid);
    bool const served = now <= before && now + 1 >= before;
    if (!served && latest.compare_exchange_strong(before, now)) break;
  }
  // A forked child goes on from the state of its parent, and would come to the same numbers. So each process has a
  // clock sequence of its own: the generator's, changed by the number of the process.
  int const process = getpid();
  uuid[8] = static_cast<std::uint8_t>(uuid[8] ^ (process >> 8 & 0x3F));  // the variant is in the other two bits
  uuid[9] = static_cast<std::uint8_t>(uuid[9] ^ (process & 0xFF));
  return uuid;
}

}  // namespace ZaM::platform

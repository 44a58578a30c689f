// Language satellites from hostile hands: the decoder accepts only what the encoder writes, and whatever texts come out
// of it can be formatted.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "zam/foundation/format_text.h"
#include "zam/foundation/satellite_file.h"

namespace {

using namespace ZaM::detail;

void Decode(std::string const& bytes) {
  auto const texts = DecodeSatellite(bytes);
  if (!texts) return;
  if (EncodeSatellite(*texts) != bytes) std::abort();
  FormatArgument const arguments[] = {u"a %s", std::int32_t{-1}, std::uint32_t{255}};
  for (auto const& [id, text] : *texts) {
    if (FormatText(text, arguments, 1024).size() > 1023) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string bytes(reinterpret_cast<char const*>(data), size);
  Decode(bytes);

  // With the right checksum, which no mutation finds, the rest of the decoder has its turn too.
  if (bytes.size() >= 8) bytes.resize(bytes.size() - 8);
  std::uint64_t const checksum = SatelliteChecksum(bytes);
  for (int i = 0; i < 8; ++i) bytes += static_cast<char>(checksum >> 8 * i & 0xFF);
  Decode(bytes);
  return 0;
}

// Any text, settings and buffer: every way to filter gives the stream and the positions of the plainly told rules, and
// touches nothing after them.
//
// The first six bytes are the settings: the minimum length, flags (bit 0 digits, bit 1 16-bit text, bit 2 all the room
// there may be need of), and the buffer's size, the lowest byte first, where it isn't all. The rest is the text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/every_kernel.h"
#include "zam/foundation/ref.h"

namespace {

using namespace ZaM;

constexpr std::size_t headSize = 6;

/// The units of a text, the low byte of each first.
wstring ToUnits(std::string const& bytes) {
  wstring units;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units += static_cast<wchar>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  return units;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < headSize) return 0;
  std::string const text(reinterpret_cast<char const*>(data) + headSize, size - headSize);
  bool const wide = (data[1] & 2) != 0;
  bool const allRoom = (data[1] & 4) != 0;
  auto const needed = static_cast<std::int64_t>(wide ? 2 * text.size() + 3 : text.size() + 2);
  auto const wanted = std::int64_t{data[2] | data[3] << 8 | data[4] << 16 | (data[5] & 0x7F) << 24};
  test::Settings const settings{data[0], (data[1] & 1) != 0, allRoom ? needed : std::min(wanted, needed)};
  static Ref<AsciiTextFilter> const filter(AsciiTextFilter::Create(1, true));
  filter->SetMinWordLen(data[0]);
  if (filter->GetUseDigits() != settings.useDigits) filter->SetUseDigits(settings.useDigits);
  auto const compare = [&](auto const& units) {
    auto const expected = test::FilterPlainly(units, settings);
    for (auto const& kernel : test::Kernels()) {
      if (kernel.runs && !test::Difference(*filter, kernel, units, settings, expected).empty()) std::abort();
    }
  };
  if (wide) {
    compare(ToUnits(text));
  } else {
    compare(text);
  }
  return 0;
}

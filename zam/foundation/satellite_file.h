// The stored form of a language satellite; docs/formats.md shows it byte by byte.
#ifndef ZAM_FOUNDATION_SATELLITE_FILE_H
#define ZAM_FOUNDATION_SATELLITE_FILE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "zam/foundation/types.h"

namespace ZaM::detail {

/// Numbered texts.
using TextMap = std::map<unsigned int, wstring>;

/// The most bytes that a satellite may have; a longer one counts as damaged.
inline constexpr std::size_t satelliteLimit = std::size_t{4} << 20;

/// The most units that one text may have.
inline constexpr std::size_t satelliteTextLimit = 0xFFFF;

/// The file's bytes. Empty texts are left out. Requires that no text is longer than satelliteTextLimit; a longer one is
/// cut.
[[nodiscard]] std::string EncodeSatellite(TextMap const& texts);

/// The texts in a satellite, none of them empty; nothing if `bytes` aren't what EncodeSatellite writes for them, to the
/// last bit. So bytes that were cut off at any place and any single byte that differs are noticed.
[[nodiscard]] std::optional<TextMap> DecodeSatellite(std::string_view bytes);

/// The FNV-1a hash, 64 bits, that ends a satellite. Every step maps the state one-to-one, so that a change of one byte
/// always changes the hash.
[[nodiscard]] std::uint64_t SatelliteChecksum(std::string_view bytes);

}  // namespace ZaM::detail

#endif

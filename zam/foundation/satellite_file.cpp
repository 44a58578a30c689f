#include "zam/foundation/satellite_file.h"

#include <array>
#include <vector>

namespace ZaM::detail {

namespace {

constexpr std::string_view magic = "ZaMTexts";
constexpr std::uint32_t version = 1;
constexpr std::uint32_t directoryOffset = 16;
constexpr std::uint32_t directoryEntrySize = 8;

constexpr unsigned int textsPerBlock = 16;
using Block = std::array<std::u16string_view, textsPerBlock>;

/// The texts by block; text 0 is the first of block 1. Blocks without a text don't occur.
std::map<std::uint32_t, Block> Blocks(TextMap const& texts) {
  std::map<std::uint32_t, Block> blocks;
  for (auto const& [id, text] : texts) {
    if (text.empty()) continue;
    blocks[id / textsPerBlock + 1][id % textsPerBlock] = std::u16string_view(text).substr(0, satelliteTextLimit);
  }
  return blocks;
}

std::uint32_t StoredSize(Block const& block) {
  std::size_t size = 0;
  for (std::u16string_view const text : block) size += 2 + 2 * text.size();
  return static_cast<std::uint32_t>(size);
}

template <class Integer>
void Append(std::string& bytes, Integer value) {
  for (std::size_t i = 0; i < sizeof value; ++i) bytes += static_cast<char>(value >> 8 * i & 0xFF);
}

/// Takes values off the front. Where too little is left, `good` becomes false and what is taken is 0.
struct Reader {
  std::string_view rest;
  bool good = true;

  template <class Integer>
  Integer Take() {
    good = good && rest.size() >= sizeof(Integer);
    if (!good) return 0;
    Integer value = 0;
    for (std::size_t i = sizeof value; i-- > 0;) {
      value = static_cast<Integer>(value << 8 | static_cast<unsigned char>(rest[i]));
    }
    rest.remove_prefix(sizeof value);
    return value;
  }

  wstring TakeText() {
    wstring text(Take<std::uint16_t>(), u'\0');
    for (wchar& unit : text) unit = Take<std::uint16_t>();
    return text;
  }
};

std::vector<std::uint32_t> TakeDirectory(Reader& reader) {
  std::vector<std::uint32_t> numbers;
  for (auto count = reader.Take<std::uint32_t>(); count > 0 && reader.good; --count) {
    numbers.push_back(reader.Take<std::uint32_t>());
    reader.Take<std::uint32_t>();  // the offset; the blocks follow one another anyway
  }
  return numbers;
}

}  // namespace

std::string EncodeSatellite(TextMap const& texts) {
  auto const blocks = Blocks(texts);
  auto const count = static_cast<std::uint32_t>(blocks.size());

  std::string bytes(magic);
  Append(bytes, version);
  Append(bytes, count);
  std::uint32_t offset = directoryOffset + count * directoryEntrySize;
  for (auto const& [number, block] : blocks) {
    Append(bytes, number);
    Append(bytes, offset);
    offset += StoredSize(block);
  }
  for (auto const& [number, block] : blocks) {
    for (std::u16string_view const text : block) {
      Append(bytes, static_cast<std::uint16_t>(text.size()));
      for (wchar const unit : text) Append(bytes, std::uint16_t{unit});
    }
  }
  Append(bytes, SatelliteChecksum(bytes));
  return bytes;
}

std::optional<TextMap> DecodeSatellite(std::string_view bytes) {
  if (bytes.size() > satelliteLimit || !bytes.starts_with(magic)) return std::nullopt;
  Reader reader{bytes.substr(magic.size())};
  reader.Take<std::uint32_t>();  // the version

  TextMap texts;
  for (std::uint32_t const number : TakeDirectory(reader)) {
    for (unsigned int entry = 0; entry < textsPerBlock && reader.good; ++entry) {
      wstring text = reader.TakeText();
      if (!text.empty()) texts[(number - 1) * textsPerBlock + entry] = std::move(text);
    }
  }

  // Each set of texts has exactly one form, so that one comparison finds every kind of damage: a wrong version, number,
  // offset or checksum, blocks that are out of order or empty, and bytes that are missing or left over.
  if (!reader.good || EncodeSatellite(texts) != bytes) return std::nullopt;
  return texts;
}

std::uint64_t SatelliteChecksum(std::string_view bytes) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (char const byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  return hash;
}

}  // namespace ZaM::detail

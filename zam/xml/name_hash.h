// A hash of names that documents can't be written against; internal.
#ifndef ZAM_XML_NAME_HASH_H
#define ZAM_XML_NAME_HASH_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ZaM::detail {

/// Its seed differs from process to process: nobody can write a document whose names all fall together.
class NameHash {
 public:
  using is_transparent = void;

  std::size_t operator()(std::string_view text) const {
    std::uint64_t hash = seed ^ text.size();
    for (; text.size() > 8; text.remove_prefix(8)) hash = Mixed(hash, WordAt<std::uint64_t>(text.data()));
    return Mixed(hash, Rest(text) ^ seed);
  }

 private:
  static std::uint64_t ProcessSeed();

  template <class Word>
  static std::uint64_t WordAt(char const* bytes) {
    Word value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  }

  /// Up to 8 bytes, without a loop or a call.
  static std::uint64_t Rest(std::string_view text) {
    std::size_t const size = text.size();
    char const* const bytes = text.data();
    if (size >= 4) return WordAt<std::uint32_t>(bytes) << 32 | WordAt<std::uint32_t>(bytes + size - 4);
    if (size == 0) return 0;
    return WordAt<std::uint8_t>(bytes) << 16 | WordAt<std::uint8_t>(bytes + size / 2) << 8 |
           WordAt<std::uint8_t>(bytes + size - 1);
  }

  /// Two words into one whose every bit depends on every bit of both.
  static std::uint64_t Mixed(std::uint64_t a, std::uint64_t b) {
    __extension__ using Wide = unsigned __int128;
    Wide const product = static_cast<Wide>(a ^ 0x9E3779B97F4A7C15U) * (b ^ 0xD6E8FEB86659FD93U);
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
  }

  std::uint64_t seed = ProcessSeed();
};

}  // namespace ZaM::detail

#endif

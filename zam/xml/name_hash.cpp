#include "zam/xml/name_hash.h"

#include <random>

namespace ZaM::detail {

std::uint64_t NameHash::ProcessSeed() {
  static std::uint64_t const seed = std::uint64_t{std::random_device{}()} << 32 | std::random_device{}();
  return seed;
}

}  // namespace ZaM::detail

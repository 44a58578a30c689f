#include "shard.h"

#include <charconv>

namespace classify {

std::optional<Shard> ParseShard(std::string_view text) {
  Shard shard;
  char const* const end = text.data() + text.size();
  auto const number = std::from_chars(text.data(), end, shard.number);
  if (number.ec != std::errc() || number.ptr == end || *number.ptr != '/') return std::nullopt;
  auto const count = std::from_chars(number.ptr + 1, end, shard.count);
  bool const isWhole = count.ec == std::errc() && count.ptr == end;
  return isWhole && shard.number >= 1 && shard.number <= shard.count ? std::optional(shard) : std::nullopt;
}

}  // namespace classify

// A share of the documents, so that processes and machines can divide them among themselves.
#ifndef CLASSIFY_CORPUS_SHARD_H
#define CLASSIFY_CORPUS_SHARD_H

#include <cstddef>
#include <optional>
#include <string_view>

namespace classify {

/// Share `number` of `count`, from 1 on. The shares of one count hold each document once.
struct Shard {
  std::size_t number = 1;
  std::size_t count = 1;

  /// Whether the document at this place, from 0 on, belongs to it.
  bool Has(std::size_t place) const { return place % count == number - 1; }
};

/// Reads "2/3"; nothing for what is no share.
std::optional<Shard> ParseShard(std::string_view text);

}  // namespace classify

#endif

// Values as bytes, for other ranks.
#ifndef CLASSIFY_CORPUS_MESSAGE_H
#define CLASSIFY_CORPUS_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "run_error.h"

namespace classify {

// The ranks of a run are copies of one program: numbers keep the form that they have in memory.

template <class Value>
concept Plain = std::is_trivially_copyable_v<Value>;

/// Puts values one after the other.
class MessageWriter {
 public:
  template <Plain Value>
  void Put(Value const& value) {
    bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
  }

  /// A list, with its length in front.
  template <Plain Value>
  void PutAll(std::span<Value const> values) {
    Put(std::uint64_t{values.size()});
    bytes.append(reinterpret_cast<char const*>(values.data()), values.size_bytes());
  }

  void PutText(std::string_view text) { PutAll(std::span<char const>(text)); }

  std::string Take() { return std::move(bytes); }

 private:
  std::string bytes;
};

/// Gives them back in the same order. The bytes outlive the object. Throws RunError beyond their end, which only ranks
/// of different programs come to.
class MessageReader {
 public:
  explicit MessageReader(std::string_view bytes) : rest(bytes) {}

  bool IsAtEnd() const { return rest.empty(); }

  template <Plain Value>
  Value Get() {
    Value value;
    std::memcpy(&value, Take(sizeof value, 1), sizeof value);
    return value;
  }

  template <Plain Value>
  std::vector<Value> GetAll() {
    auto const count = static_cast<std::size_t>(Get<std::uint64_t>());
    char const* const bytes = Take(sizeof(Value), count);
    std::vector<Value> values(count);
    if (count > 0) std::memcpy(values.data(), bytes, count * sizeof(Value));
    return values;
  }

  std::string GetText() {
    auto const length = static_cast<std::size_t>(Get<std::uint64_t>());
    return {Take(1, length), length};
  }

 private:
  char const* Take(std::size_t size, std::size_t count) {
    if (count > rest.size() / size) throw RunError{"the ranks don't understand each other: are all of one version?"};
    char const* const place = rest.data();
    rest.remove_prefix(count * size);
    return place;
  }

  std::string_view rest;
};

}  // namespace classify

#endif

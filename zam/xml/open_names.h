// The names of the elements that are open while a document is scanned; internal.
#ifndef ZAM_XML_OPEN_NAMES_H
#define ZAM_XML_OPEN_NAMES_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "zam/xml/xml_characters.h"

namespace ZaM::detail {

/// A stack of names in one piece of memory, each with a zero byte after it. Names are copied and compared by blocks,
/// without a call for each. (See xml_parser_benchmark.)
class OpenNames {
 public:
  OpenNames() = default;
  OpenNames(OpenNames const&) = delete;
  OpenNames& operator=(OpenNames const&) = delete;

  [[nodiscard]] std::size_t Count() const { return starts.size(); }
  [[nodiscard]] std::string_view operator[](std::size_t i) const {
    std::size_t const next = i + 1 == starts.size() ? used : starts[i + 1];
    return {area.get() + starts[i], next - starts[i] - 1};
  }
  [[nodiscard]] std::string_view Last() const { return {area.get() + starts.back(), used - starts.back() - 1}; }

  /// scanPadding follows the name.
  void Push(std::string_view name) {
    std::size_t const after = used + name.size() + 1;
    if (after + scanPadding > capacity) Grow(after + scanPadding);
    starts.push_back(used);
    for (std::size_t i = 0; i < name.size(); i += scanPadding) {
      std::memcpy(area.get() + used + i, name.data() + i, scanPadding);
    }
    area[after - 1] = '\0';
    used = after;
  }

  void Pop() {
    used = starts.back();
    starts.pop_back();
  }

  /// Whether `text`, which a zero byte and scanPadding follow, begins with the last name.
  [[nodiscard]] bool IsLastAt(char const* text) const {
    std::string_view const name = Last();
    for (std::size_t i = 0; i < name.size(); i += scanPadding) {
      unsigned int const equal = platform::Vector128(text + i).Equal(platform::Vector128(name.data() + i));
      std::size_t const size = std::min(name.size() - i, scanPadding);
      if ((~equal & ((1U << size) - 1)) != 0) return false;
    }
    return true;
  }

 private:
  void Grow(std::size_t needed) {
    std::size_t const larger = std::max(needed, 2 * capacity);
    auto moved = std::make_unique_for_overwrite<char[]>(larger);
    std::copy_n(area.get(), used, moved.get());
    area = std::move(moved);
    capacity = larger;
  }

  std::unique_ptr<char[]> area;
  std::size_t capacity = 0;
  std::size_t used = 0;
  std::vector<std::size_t> starts;
};

}  // namespace ZaM::detail

#endif

// What the references of a document may stand for, and the prefixes that its type declares; internal.
#ifndef ZAM_XML_XML_EXPANSION_H
#define ZAM_XML_XML_EXPANSION_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "zam/foundation/types.h"

namespace ZaM::detail {

/// Counts what references stand for, against what was fed. No document may grow without bound, whoever parses it.
class XmlExpansion {
 public:
  static constexpr wchar name[] = u"bytes that references in an XML document stand for";

  // XML_PARSER_ALLOWED_EXPANSION, XML_MAX_AMPLIFICATION_DEFAULT and XML_ENT_FIXED_COST of libxml2 2.11.
  static constexpr std::uint64_t free = 1'000'000;
  static constexpr std::uint64_t mostPerByte = 5;
  static constexpr std::size_t costOfReference = 20;

  /// What an element in an entity costs beyond its characters: a reference takes time and memory for its nodes rather
  /// than for their text.
  static constexpr std::size_t costOfNode = 20;

  /// What one reference to an entity with this content counts, without the references in it.
  static std::size_t Cost(std::string_view content) {
    auto const tags = static_cast<std::size_t>(std::count(content.begin(), content.end(), '<'));
    return content.size() + costOfReference + tags * costOfNode;
  }

  /// What the prefixes count that a type declares in each element of a name.
  static std::size_t CostOfPrefixes(std::size_t count) { return count * costOfReference; }

  void AddFed(std::size_t bytes) { fed += bytes; }
  void Add(std::size_t cost) { total += cost; }

  [[nodiscard]] std::uint64_t Fed() const { return fed; }
  [[nodiscard]] std::uint64_t Total() const { return total; }
  [[nodiscard]] std::uint64_t Most() const { return std::max(free, mostPerByte * fed); }

 private:
  std::uint64_t fed = 0;
  std::uint64_t total = 0;
};

}  // namespace ZaM::detail

#endif

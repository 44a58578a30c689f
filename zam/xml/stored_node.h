// A node that was read, in the memory of its document; internal.
#ifndef ZAM_XML_STORED_NODE_H
#define ZAM_XML_STORED_NODE_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <string_view>

#include "zam/foundation/types.h"
#include "zam/xml/xml_node.h"

namespace ZaM::detail {

/// The attributes of an element as they were read: this, the entries, and the bytes of the values.
struct StoredAttributes {
  struct Entry {
    wstring const* name;
    std::uint32_t start;  // of the value, from the front of this record
    std::uint32_t size;
  };
  std::size_t count;

  [[nodiscard]] std::span<Entry const> Entries() const { return {reinterpret_cast<Entry const*>(this + 1), count}; }
  [[nodiscard]] std::string_view Value(Entry const& entry) const {
    return {reinterpret_cast<char const*>(this) + entry.start, entry.size};
  }
};

/// Nothing but another way to end: its chunk gets the memory back, and goes with the last node in it.
class StoredNode final : public XmlNode {
 public:
  /// `place` is how far behind the front of its chunk the node is made, in units of its alignment.
  StoredNode(std::uint16_t place, wstring const& sharedName, StoredAttributes const* attributes, StoredText const* text)
      : XmlNode(sharedName, attributes, text), offset(place) {}

  static void* operator new(std::size_t /*size*/, void* place) { return place; }
  static void operator delete(StoredNode* node, std::destroying_delete_t);

 private:
  ~StoredNode() override = default;

  std::uint16_t const offset;  // takes no room: it lies in what XmlNode's fields leave over
};

}  // namespace ZaM::detail

#endif

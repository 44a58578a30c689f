// The memory that the nodes of one document are made in while it is read; internal.
#ifndef ZAM_XML_NODE_STORE_H
#define ZAM_XML_NODE_STORE_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zam/foundation/types.h"
#include "zam/xml/name_index.h"

namespace ZaM {

class XmlNode;

namespace detail {

class NameTable;
struct Chunk;

/// Makes nodes out of large chunks of memory, each node in one piece with its attributes and its text, and their names
/// once for all of them.
///
/// A chunk counts the nodes that live in it, and is freed with the last: so nodes may outlive the store, and a node
/// that is kept keeps no more than its chunk and the names. Nodes of one document may end on different threads.
///
/// Errors: BaseException with id 5 where memory runs out, LimitExceededException where `mostBytes` would be passed; no
///         node is made then.
class NodeStore {
 public:
  struct Attribute {
    wstring const* name;  // from Name
    std::string_view value;
  };

  /// `most` is what all chunks together may take.
  explicit NodeStore(std::uint64_t most = std::numeric_limits<std::uint64_t>::max());
  NodeStore(NodeStore const&) = delete;
  NodeStore& operator=(NodeStore const&) = delete;
  ~NodeStore();

  /// The wide form of a name, the same object each time.
  [[nodiscard]] wstring const* Name(std::string_view utf8);

  /// A node with a count of 1. Its attributes have different names.
  [[nodiscard]] XmlNode* NewElement(wstring const* name, std::span<Attribute const> attributes);

  /// A node with a count of 1, which is content unless `text` is empty.
  [[nodiscard]] XmlNode* NewContent(wstring const* name, std::string_view text);

 private:
  struct Place {
    char* memory;
    std::uint16_t offset;  // from the front of its chunk, in units of the alignment
  };
  Place PlaceFor(std::size_t size);
  static Place PlaceIn(Chunk& home, std::size_t start);
  Chunk* NewChunk(std::size_t size, std::uint32_t live);
  void OpenChunk(std::size_t least);
  void CloseChunk();
  void Count(std::uint64_t more);

  std::uint64_t const mostBytes;
  std::uint64_t bytes = 0;                // of all chunks and names so far
  NameTable* names;                       // counted
  NameIndex index;                        // of the names in it
  std::vector<wstring const*> wideNames;  // by their numbers
  Chunk* chunk = nullptr;                 // the one that is being filled, or null
  std::size_t chunkSize = 0;
  std::size_t used = 0;    // of its bytes
  std::uint32_t made = 0;  // nodes in it
};

}  // namespace detail
}  // namespace ZaM

#endif

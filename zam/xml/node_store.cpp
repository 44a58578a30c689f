#include "zam/xml/node_store.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <limits>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/xml/stored_node.h"
#include "zam/xml/xml_conversion.h"

namespace ZaM::detail {

namespace {

constexpr std::size_t firstChunkSize = 1024;

/// With what the heap needs for itself, so much that a page more or less doesn't matter, and so little that a node
/// which is kept doesn't keep much else. (See xml_tree_benchmark.)
constexpr std::size_t mostChunkSize = 65536 - 32;

/// What is no node of its chunk, while the chunk is being filled.
constexpr std::uint32_t fillingCount = std::uint32_t{1} << 31;

/// What one node may hold.
constexpr std::size_t mostTextSize = std::numeric_limits<std::uint32_t>::max();

constexpr std::size_t Aligned(std::size_t size) {
  return (size + alignof(StoredNode) - 1) / alignof(StoredNode) * alignof(StoredNode);
}

}  // namespace

/// The names of one document. Each chunk holds a reference, and so does the store.
class NameTable {
 public:
  struct Name {
    std::string utf8;
    wstring wide;
  };

  Name const& Add(std::string_view utf8) { return names.emplace_back(Name{std::string(utf8), ToWide(utf8)}); }

  void Share() { users.fetch_add(1, std::memory_order_relaxed); }
  void Release() {
    if (users.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 private:
  std::atomic<std::uint32_t> users = 1;
  std::deque<Name> names;
};

/// In front of the nodes.
struct alignas(StoredNode) Chunk {
  NameTable* names;
  std::atomic<std::uint32_t> live;

  void Release(std::uint32_t count) {
    // The last one needs no locked instruction: nobody else is left.
    if (live.load(std::memory_order_acquire) != count && live.fetch_sub(count, std::memory_order_acq_rel) != count) {
      return;
    }
    names->Release();
    this->~Chunk();
    ::operator delete(static_cast<void*>(this));
  }
};

void StoredNode::operator delete(StoredNode* node, std::destroying_delete_t) {
  Chunk& home = *reinterpret_cast<Chunk*>(reinterpret_cast<char*>(node) - node->offset * alignof(StoredNode));
  node->~StoredNode();
  home.Release(1);
}

NodeStore::NodeStore(std::uint64_t most) : mostBytes(most), names(ReportOutOfMemory([] { return new NameTable; })) {}

NodeStore::~NodeStore() {
  CloseChunk();
  names->Release();
}

wstring const* NodeStore::Name(std::string_view utf8) {
  std::uint32_t const found = index.Find(utf8);
  if (found != NameIndex::none) return wideNames[found];
  // Beside the texts, which are in UTF-16 too: places in the table, in the index and in `wideNames`.
  constexpr std::uint64_t places = sizeof(NameTable::Name) + 64;
  Count(places + 3 * utf8.size());
  return ReportOutOfMemory([&] {
    NameTable::Name const& name = names->Add(utf8);
    wideNames.resize(index.Count() + std::size_t{1});
    wideNames.back() = &name.wide;
    index.Insert(name.utf8);
    return &name.wide;
  });
}

XmlNode* NodeStore::NewElement(wstring const* name, std::span<Attribute const> attributes) {
  std::size_t const entriesSize = attributes.size() * sizeof(StoredAttributes::Entry);
  std::size_t size = sizeof(StoredAttributes) + entriesSize;
  for (Attribute const& attribute : attributes) size += attribute.value.size();
  RequireAtMost(u"bytes of attributes", size, mostTextSize);

  auto const [memory, offset] = PlaceFor(sizeof(StoredNode) + (attributes.empty() ? 0 : size));
  StoredAttributes* stored = nullptr;
  if (!attributes.empty()) {
    stored = new (memory + sizeof(StoredNode)) StoredAttributes{attributes.size()};
    char* entry = reinterpret_cast<char*>(stored + 1);
    char* value = entry + entriesSize;
    for (Attribute const& attribute : attributes) {
      auto const start = static_cast<std::uint32_t>(value - reinterpret_cast<char*>(stored));
      new (entry) StoredAttributes::Entry{attribute.name, start, static_cast<std::uint32_t>(attribute.value.size())};
      entry += sizeof(StoredAttributes::Entry);
      value = std::copy(attribute.value.begin(), attribute.value.end(), value);
    }
  }
  auto* const node = new (memory) StoredNode(offset, *name, stored, nullptr);
  node->AddRefCount();
  return node;
}

XmlNode* NodeStore::NewContent(wstring const* name, std::string_view text) {
  RequireAtMost(u"bytes of text", text.size(), mostTextSize);
  auto const [memory, offset] = PlaceFor(sizeof(StoredNode) + (text.empty() ? 0 : sizeof(StoredText) + text.size()));
  StoredText* stored = nullptr;
  if (!text.empty()) {
    stored = new (memory + sizeof(StoredNode)) StoredText{static_cast<std::uint32_t>(text.size())};
    std::copy(text.begin(), text.end(), reinterpret_cast<char*>(stored + 1));
  }
  auto* const node = new (memory) StoredNode(offset, *name, nullptr, stored);
  node->AddRefCount();
  return node;
}

/// Room for one node, which is counted.
NodeStore::Place NodeStore::PlaceFor(std::size_t size) {
  size = Aligned(size);
  // What is large gets a chunk of its own, so that no more than a quarter of any is left over.
  if (size > mostChunkSize / 4) return PlaceIn(*NewChunk(sizeof(Chunk) + size, 1), sizeof(Chunk));
  if (chunk == nullptr || size > chunkSize - used) OpenChunk(size);
  ++made;
  used += size;
  return PlaceIn(*chunk, used - size);
}

NodeStore::Place NodeStore::PlaceIn(Chunk& home, std::size_t start) {
  return {reinterpret_cast<char*>(&home) + start, static_cast<std::uint16_t>(start / alignof(StoredNode))};
}

void NodeStore::OpenChunk(std::size_t least) {
  std::size_t size = chunk == nullptr ? firstChunkSize : chunkSize * 2;
  while (size < sizeof(Chunk) + least) size *= 2;
  size = std::min(size, mostChunkSize);
  Chunk* const opened = NewChunk(size, fillingCount);
  CloseChunk();
  chunk = opened;
  chunkSize = size;
  used = sizeof(Chunk);
}

Chunk* NodeStore::NewChunk(std::size_t size, std::uint32_t live) {
  Count(size);
  void* const memory = ReportOutOfMemory([=] { return ::operator new(size); });
  names->Share();
  return new (memory) Chunk{names, live};
}

void NodeStore::Count(std::uint64_t more) {
  RequireAtMost(u"bytes of an XML tree", bytes + more, mostBytes);
  bytes += more;
}

/// From here on the chunk counts its nodes alone.
void NodeStore::CloseChunk() {
  if (chunk) chunk->Release(fillingCount - made);
  chunk = nullptr;
  made = 0;
}

}  // namespace ZaM::detail

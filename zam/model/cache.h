// A keyed store of nodes.
#ifndef ZAM_MODEL_CACHE_H
#define ZAM_MODEL_CACHE_H

#include <cstdint>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

class Node;

/// A contract for applications: the library has no store of its own, and never calls one. A node is kept under a number
/// or under a string; where it is kept, and how a string becomes a number, is for the derived class to say. In the base
/// every operation but the two on the count answers false or 0 and touches nothing.
///
/// Owning:   starts at a count of 0; the `Create` of a concrete class takes the first reference, `Release` ends it. A
///           copy takes over the count. Nodes that are saved and loaded stay the caller's.
/// Threads:  one thread at a time; the count is a plain number.
/// Errors:   the base throws nothing; what fails answers false.
class ZAM_EXPORT Cache {
 protected:
  Cache() = default;
  virtual ~Cache();

 public:
  Cache(Cache const&) = default;
  Cache& operator=(Cache const&) = default;

  /// Gives a reference back and returns the new count; at 0 and below the object ends.
  virtual std::int32_t Release();

  /// Takes a reference; returns the new count.
  virtual std::int32_t AddRefCount();

  /// Makes the store ready for use; returns whether that succeeded, as the operations below do.
  virtual bool Open();
  /// Ends its use.
  virtual bool Close();
  /// Writes out what is only in memory.
  virtual bool Flush();
  /// Deletes the files of the store.
  virtual bool DeleteFiles();

  /// Stores the content of `node` under a key.
  virtual bool Save(std::uint32_t key, Node* node);
  virtual bool Save(wstring const& key, Node* node);

  /// Whether something is stored under a key.
  virtual bool ItemExists(std::uint32_t key);
  virtual bool ItemExists(wstring const& key);

  /// Fills `node`, which the caller has made, with what is stored under a key.
  virtual bool Load(std::uint32_t key, Node* node);
  virtual bool Load(wstring const& key, Node* node);

  /// The number that stands for a string as a key.
  virtual std::uint32_t GetStringHash(wstring const& key);

  /// How many nodes are stored.
  virtual std::int32_t GetDocumentCount();

  /// Whether there is something to flush.
  virtual bool GetModified();

 private:
  std::int32_t refCount = 0;
};

}  // namespace ZaM

#endif

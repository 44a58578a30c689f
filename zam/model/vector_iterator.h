// The walk over an array of nodes, the form in which a DocumentNode holds its children.
#ifndef ZAM_MODEL_VECTOR_ITERATOR_H
#define ZAM_MODEL_VECTOR_ITERATOR_H

#include <cstddef>
#include <vector>

#include "zam/model/iterator.h"

namespace ZaM {

/// Walks an array. Adding or removing elements makes the place of the walk meaningless, but never leads it outside the
/// array.
///
/// Owning:  the array is somebody else's, and must outlive the iterator.
/// Threads: one thread at a time, together with the array.
/// Errors:  nothing is thrown; `Create` gives null where memory runs out.
class ZAM_EXPORT VectorIterator : public Iterator {
 public:
  /// A new iterator on the heap. Its owner ends it with `Release`.
  static VectorIterator* Create(std::vector<Node*>& nodes);

  /// Walks the same array, from its first element: the place of `other` isn't taken over.
  VectorIterator(VectorIterator const& other) : VectorIterator(*other.nodes) {}
  VectorIterator& operator=(VectorIterator const&) = default;

  void Start() override { position = 0; }
  void Next() override { ++position; }
  bool Done() override { return position >= nodes->size(); }

  /// The element, or null after the last one.
  Node* Current() override { return position < nodes->size() ? (*nodes)[position] : nullptr; }

  ~VectorIterator() override = default;

 protected:
  explicit VectorIterator(std::vector<Node*>& walked) : nodes(&walked) {}

 private:
  friend class DocumentNode;

  std::vector<Node*>* nodes;  // never null, not owned
  std::size_t position = 0;
};

}  // namespace ZaM

#endif

// The walk over an array of nodes, the form in which a DocumentNode holds its children.
#ifndef ZAM_MODEL_VECTOR_ITERATOR_H
#define ZAM_MODEL_VECTOR_ITERATOR_H

#include <cstddef>
#include <vector>

#include "zam/model/iterator.h"

namespace ZaM {

/// Walks an array that somebody else owns. The array must outlive the iterator; adding or removing elements makes the
/// place of the walk meaningless, but never leads it outside the array.
class ZAM_EXPORT VectorIterator : public Iterator {
 public:
  /// A new iterator on the heap, or null if there is no memory. Its owner ends it with `Release`.
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

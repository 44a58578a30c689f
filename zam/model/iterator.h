// The abstract walk over the children of a composite.
#ifndef ZAM_MODEL_ITERATOR_H
#define ZAM_MODEL_ITERATOR_H

#include "zam/foundation/export.h"

namespace ZaM {

class Node;

/// A walk over children: `Start`, then `Current` and `Next` until `Done`. A new iterator stands at the first element,
/// so `Start` is needed only to walk again. The base class is an empty walk.
///
/// Owning:  an iterator has one owner and no count; `Release` destroys it.
/// Threads: one thread at a time, together with what it walks over.
/// Errors:  the library's own iterators throw nothing, and give null after the last element.
class ZAM_EXPORT Iterator {
 public:
  Iterator(Iterator const&) = default;
  Iterator& operator=(Iterator const&) = default;

  /// Goes to the first element.
  virtual void Start();

  /// Goes one element on.
  virtual void Next();

  /// Whether the walk is past the last element.
  virtual bool Done();

  /// The element, without a reference of its own. Meant to be called while `Done` is false.
  virtual Node* Current();

  /// Destroys the iterator.
  virtual void Release();

 protected:
  Iterator() = default;
  virtual ~Iterator();
};

}  // namespace ZaM

#endif

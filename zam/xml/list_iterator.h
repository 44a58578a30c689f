// The walk over a list of nodes, the form in which an XmlNode holds its children.
#ifndef ZAM_XML_LIST_ITERATOR_H
#define ZAM_XML_LIST_ITERATOR_H

#include <list>

#include "zam/foundation/export.h"
#include "zam/model/iterator.h"

namespace ZaM {

class XmlNode;

/// Walks a list, which must not change during the walk. A copy stands where its source stands, unlike a copy of a
/// VectorIterator.
///
/// Owning:  the list is somebody else's, and must outlive the iterator.
/// Threads: one thread at a time, together with the list.
/// Errors:  nothing is thrown; `Create` gives null where memory runs out.
class ZAM_EXPORT ListIterator : public Iterator {
 public:
  /// A new iterator on the heap. Its owner ends it with `Release`.
  static ListIterator* Create(std::list<XmlNode*>& nodes);

  ListIterator(ListIterator const&) = default;
  ListIterator& operator=(ListIterator const&) = default;

  void Start() override;
  void Next() override;
  bool Done() override;

  /// The element, or null after the last one.
  Node* Current() override;

 protected:
  explicit ListIterator(std::list<XmlNode*>& walked) : nodes(&walked), position(walked.begin()) {}
  ~ListIterator() override;

 private:
  std::list<XmlNode*>* nodes;  // never null, not owned
  std::list<XmlNode*>::iterator position;
};

}  // namespace ZaM

#endif

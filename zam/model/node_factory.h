// Makes nodes of a kind that only the maker knows.
#ifndef ZAM_MODEL_NODE_FACTORY_H
#define ZAM_MODEL_NODE_FACTORY_H

#include "zam/foundation/export.h"

namespace ZaM {

class Node;

/// A contract for applications; the library never calls it.
///
/// Owning:  a factory has one owner and no count; a `delete` ends it, through this class too.
/// Threads: for the derived class to say; the base holds nothing.
/// Errors:  the base throws nothing. What a derived class does without memory is for it to say.
class ZAM_EXPORT NodeFactory {
 public:
  virtual ~NodeFactory();

  /// A new node, whose first reference belongs to the caller. Null in the base.
  virtual Node* CreateNode();
};

}  // namespace ZaM

#endif

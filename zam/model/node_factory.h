// Makes nodes of a kind that only the maker knows.
#ifndef ZAM_MODEL_NODE_FACTORY_H
#define ZAM_MODEL_NODE_FACTORY_H

#include "zam/foundation/export.h"

namespace ZaM {

class Node;

/// A contract for applications; the library never calls it.
class ZAM_EXPORT NodeFactory {
 public:
  virtual ~NodeFactory();

  /// A new node, whose first reference belongs to the caller. Null in the base.
  virtual Node* CreateNode();
};

}  // namespace ZaM

#endif

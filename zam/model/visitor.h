// What is done at every node of a walk.
#ifndef ZAM_MODEL_VISITOR_H
#define ZAM_MODEL_VISITOR_H

#include "zam/foundation/export.h"

namespace ZaM {

class Node;

/// A caller's work at each node that `Visit` comes to.
///
/// A derived class that adds an overload of `DoVisit` for another type hides this one: it has to override this one too
/// and to pass on what it recognises.
///
/// Owning:  a visitor stays its maker's, and nodes stay their owners'.
/// Threads: called on the thread of the walk.
/// Errors:  an exception ends the walk and passes through it.
class ZAM_EXPORT Visitor {
 public:
  Visitor() = default;
  Visitor(Visitor const&) = default;
  Visitor& operator=(Visitor const&) = default;
  virtual ~Visitor();

  /// Does nothing in the base.
  virtual void DoVisit(Node* node);
};

}  // namespace ZaM

#endif

// Work that leads from one node to another.
#ifndef ZAM_MODEL_TRANSFORMER_H
#define ZAM_MODEL_TRANSFORMER_H

#include "zam/foundation/export.h"

namespace ZaM {

class Node;

/// A contract for applications; the library never calls it.
///
/// Owning:  a transformer has one owner and no count; `Release` destroys it at once.
/// Threads: for the derived class to say; the base holds nothing.
/// Errors:  the base throws nothing.
class ZAM_EXPORT Transformer {
 protected:
  Transformer() = default;
  virtual ~Transformer();

 public:
  Transformer(Transformer const&) = default;
  Transformer& operator=(Transformer const&) = default;

  /// Destroys the object.
  virtual void Release();

  /// The work. Nothing in the base; which node is the source is for the derived class to say.
  virtual void DoTransform(Node* first, Node* second);
};

}  // namespace ZaM

#endif

// Representations on a feature chain; internal.
#ifndef ZAM_MODEL_REPRESENTATION_CHAIN_H
#define ZAM_MODEL_REPRESENTATION_CHAIN_H

#include "zam/model/node.h"
#include "zam/model/representation.h"

namespace ZaM::detail {

/// A representation on a chain, and the object in whose feature slot it hangs. All are null where there is none.
struct ChainEntry {
  Node* predecessor = nullptr;
  Node* node = nullptr;
  Representation* representation = nullptr;
};

/// The first representation under `tag` on the chain of `start`. `cast` makes a Representation of a Node, or null.
template <class Cast>
ChainEntry FindRepresentation(Node& start, RepTag const& tag, Cast& cast) {
  Node* predecessor = &start;
  for (Node* node = start.GetFeature(); node; node = node->GetFeature()) {
    Representation* const representation = cast(node);
    if (representation && representation->GetTagId() == tag.id) return {predecessor, node, representation};
    predecessor = node;
  }
  return {};
}

/// Takes an entry off the chain of `start`, whose other objects stay in their order. Its reference passes to the
/// caller.
inline void Unhook(Node& start, ChainEntry const& entry) {
  entry.predecessor->RemoveFeature();
  if (Node* const rest = entry.node->RemoveFeature()) start.AddFeature(rest);
}

}  // namespace ZaM::detail

#endif

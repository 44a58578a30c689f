// The walk of the algorithms over a tree of documents or classes; internal.
#ifndef ZAM_ALGORITHMS_DOCUMENT_WALK_H
#define ZAM_ALGORITHMS_DOCUMENT_WALK_H

#include <deque>

#include "zam/foundation/create_counted.h"
#include "zam/model/cached_cast.h"
#include "zam/model/document_node.h"

namespace ZaM::detail {

/// Calls `visit(document)` for `root` and all below it, parents before their children and children in their order.
/// Where it gives false the walk doesn't go on below that document. Nodes of another kind, and null, are passed over
/// with all that is below them.
///
/// Trees may be deeper than the stack, so the path from the root is kept on the heap.
/// Throws BaseException with id 5 when there is no memory for it; what `visit` throws passes through.
template <class Visit>
void WalkDocuments(Node* root, Visit visit) {
  CachedCast<DocumentNode> asDocument;
  // No vector: it would move its elements, and a copied iterator starts anew.
  auto path = ReportOutOfMemory([] { return std::deque<VectorIterator>(); });
  auto const enter = [&](Node* node) {
    DocumentNode* const document = asDocument(node);
    if (!document || !visit(*document)) return;
    ReportOutOfMemory([&] { path.push_back(document->GetVectorIterator()); });
  };

  enter(root);
  while (!path.empty()) {
    VectorIterator& children = path.back();
    if (children.Done()) {
      path.pop_back();
      continue;
    }
    Node* const child = children.Current();
    children.Next();
    enter(child);
  }
}

}  // namespace ZaM::detail

#endif

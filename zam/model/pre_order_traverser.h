// A walk over a whole tree of documents, as a loop.
#ifndef ZAM_MODEL_PRE_ORDER_TRAVERSER_H
#define ZAM_MODEL_PRE_ORDER_TRAVERSER_H

#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/model/document_node.h"

namespace ZaM {

/// A walk over trees of a kind of node. There is one for `DocumentNode`.
template <class TreeNode>
class PreOrderTraverser;

/// Gives the documents of a tree one by one, in the order of `Composite::Visit`: a parent before its children, and the
/// children in their order.
///
///     auto* const documents = PreOrderTraverser<DocumentNode>::Create(root);
///     while (!documents->Done()) handle(documents->Next());
///     documents->Release();
///
/// The children of a document are listed when `Next` returns it: adding or removing children there later doesn't change
/// the walk. A child that isn't a DocumentNode is skipped with everything below it.
///
/// Owning:   one owner and no count; `Release` destroys the traverser. It holds plain pointers to the documents that it
///           has listed. They must live until `Next` has returned them, or until the traverser is released.
/// Threads:  one thread at a time, together with the tree.
/// Memory:   a pointer for each document that is listed and not yet returned. Trees may be of any depth.
/// Errors:   BaseException with id 5 when memory runs out; the walk can go on from where it was.
template <>
class ZAM_EXPORT PreOrderTraverser<DocumentNode> {
 public:
  /// A walk over `root` and all below it; over nothing if that is null.
  static PreOrderTraverser* Create(DocumentNode* root);

  PreOrderTraverser(PreOrderTraverser const&) = default;
  PreOrderTraverser& operator=(PreOrderTraverser const&) = default;

  /// Destroys the traverser.
  void Release();

  /// The next document, without a reference of its own; null when the walk is over.
  DocumentNode* Next();

  /// Whether the walk is over.
  bool Done() const { return waiting.empty(); }

 protected:
  PreOrderTraverser() = default;
  ~PreOrderTraverser() = default;

 private:
  detail::ReportingCopies<std::vector<DocumentNode*>> waiting;  // documents still to be returned, the next one last
};

}  // namespace ZaM

#endif

// A place in a tree of documents or of classes.
#ifndef ZAM_MODEL_DOCUMENT_NODE_H
#define ZAM_MODEL_DOCUMENT_NODE_H

#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/model/composite.h"
#include "zam/model/representation.h"
#include "zam/model/vector_iterator.h"

namespace ZaM {

/// A folder of documents, a document, a page, a class of a class tree: the composite that the algorithms walk.
///
/// It has the number of the class that it belongs to, a parent, children, and any number of representations. These are
/// the objects on its feature chain that are of type Representation; other nodes may stand between them and are
/// skipped. A class that derives from Representation as well becomes a class node of the classifier; that view of
/// itself isn't one of its representations.
///
/// Owning:   made by `Create` with a count of 1, ended by `Release`, which releases the children in their order and
///           the feature chain after them. The parent is a plain pointer, which says nothing about the parent's life.
/// Threads:  a tree belongs to one thread at a time.
/// Errors:   BaseException with id 5 when memory runs out; the node is then unchanged.
///
/// Copying is shallow: a copy shares the children, with a reference of its own to each, and doesn't become their
/// parent. It takes over the parent, but isn't added to its children. Representations hang in the slot, which isn't
/// copied.
class ZAM_EXPORT DocumentNode : public Composite {
 public:
  /// A node without class and parent.
  static DocumentNode* Create();

  /// A node with this class id, where 0 means none, and this parent. It isn't added to the parent's children: the
  /// caller also calls `parent->AddChild`.
  static DocumentNode* Create(unsigned int classId, DocumentNode* parent);

  /// Shares the children.
  DocumentNode(DocumentNode const& other);
  /// Shares the children of `other` and releases its own. Changes nothing when memory runs out.
  DocumentNode& operator=(DocumentNode const& other);

  /// Appends `child`, and makes this node its parent if it is a DocumentNode. The caller's reference passes to this
  /// node. A child that is added twice is released twice.
  void AddChild(Node* child) override;

  /// Takes the first child whose id is `id` out and returns it, with its reference; null if there is none. The child
  /// goes on naming this node as its parent.
  Node* RemoveChild(unsigned int id) override;

  unsigned int ChildCount() const override;
  Iterator* CreateIterator() override;

  /// The class of the node; 0 means none.
  unsigned int GetClassId() const { return classId; }
  void SetClassId(unsigned int id) { classId = id; }

  /// The parent, or null for a root.
  DocumentNode* GetParentDocument() { return parentDocument; }
  void SetParentDocument(DocumentNode* parent) { parentDocument = parent; }

  /// A walk over the children without an allocation, which stands at the first child.
  VectorIterator GetVectorIterator() { return VectorIterator(children); }

  /// Puts a representation at the end of the feature chain; the reference passes to the chain. False, with nothing
  /// changed, if the object is null or no Representation, and if it is this node or hangs on its chain already. Of two
  /// under one tag the one that was added first is found.
  bool AddRepresentation(Node* representation);

  /// The first representation under this tag, or null; no reference is taken.
  Representation* GetRepresentation(RepTag const& tag);

  /// The same as a `T`, such as a Result; also null where the first one under this tag is of another type. It stays the
  /// chain's, as long as it hangs there: `Ref<Result>::Share` keeps it for longer.
  ///
  ///     if (auto* const result = document->Get<Result>("Rslt"_tag)) use(result->GetBestResults(1));
  template <class T>
  T* Get(RepTag const& tag) {
    return dynamic_cast<T*>(GetRepresentation(tag));
  }

  /// Takes the first representation under this tag off the chain and returns it, with its reference and an empty
  /// feature slot; null if there is none. The order of the others doesn't change.
  Node* RemoveRepresentation(RepTag const& tag);

  /// No effect: neither class id, parent nor representations are stored.
  void SaveData(std::basic_ostream<char>* stream);
  void LoadData(std::basic_istream<char>* stream);

 protected:
  DocumentNode() = default;
  DocumentNode(unsigned int id, DocumentNode* parent) : classId(id), parentDocument(parent) {}
  ~DocumentNode() override;

 private:
  unsigned int classId = 0;                              // 0: no class
  DocumentNode* parentDocument = nullptr;                // not owned
  detail::ReportingCopies<std::vector<Node*>> children;  // one reference to each is ours
};

}  // namespace ZaM

#endif

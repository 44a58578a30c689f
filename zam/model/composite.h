// A node that may have children.
#ifndef ZAM_MODEL_COMPOSITE_H
#define ZAM_MODEL_COMPOSITE_H

#include "zam/foundation/export.h"
#include "zam/model/node.h"

namespace ZaM {

class Iterator;

/// The vocabulary of children, and the walks over them; how children are stored is the business of derived classes.
///
/// The walks are depth first, a parent before its children, and the children in the order of `CreateIterator`. Each
/// child is asked through its own virtual operation, so that a class may take over below itself.
///
/// Depth: trees of any depth can be walked, in this order at every depth. Below a DocumentNode proper the walks go on
/// from a list; below other classes they call each other, so that an override sees its children done when the operation
/// of this class returns. Where more than half of the thread's stack is in use, they go on from a list there, too: an
/// override then gets the control back before its children have had their turn, and for `Save` and `Load` with the
/// answer true (the walk as a whole still answers false if one of them does). That matters to a class that writes
/// something after its children, such as an end mark. It can rely on some 6,000 levels of such classes on a stack of
/// 8 MiB and on 400 on one of 512 KiB, if its own frame takes no more than 200 bytes; levels of DocumentNodes between
/// them take no stack.
///
/// Threads: one thread at a time, together with the tree.
/// Errors:  BaseException with id 5 if there is no memory for a walk or an iterator. What a visitor or a node throws
///          ends the walk and passes through. `Save` and `Load` answer false for other failures.
class ZAM_EXPORT Composite : public Node {
 public:
  Composite(Composite const&) = default;
  Composite& operator=(Composite const&) = default;

  Composite* GetComposite() override;

  /// Calls `visitor->DoVisit(this)`, and only then lists the children and calls `Visit` on each: children that the
  /// visitor adds here are visited too. A class without an iterator ends the walk there.
  void Visit(Visitor* visitor) override;

  /// Calls `Save` on each child up to the first that answers false, and returns whether all answered true. Writes
  /// nothing of the composite itself. True for a class without an iterator.
  bool Save(std::basic_ostream<char>* stream) override;

  /// The same walk with `Load`: a tree is loaded into a tree of the same shape that exists already.
  bool Load(std::basic_istream<char>* stream) override;

  /// Adds a child; the caller's reference passes to this node in classes that hold children. Nothing in the base.
  virtual void AddChild(Node* child);

  /// Takes the child with this id out and returns it, with its reference; null if there is none, as in the base.
  virtual Node* RemoveChild(unsigned int id);

  /// Number of children; 0 in the base.
  virtual unsigned int ChildCount() const;

  /// A new walk over the children, to be ended by `Iterator::Release`; null in the base.
  virtual Iterator* CreateIterator();

 protected:
  Composite() = default;
  ~Composite() override;
};

}  // namespace ZaM

#endif

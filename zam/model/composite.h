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
/// Depth: trees of any depth can be walked. The walks call each other while there is room on the stack. Where more than
/// half of it is in use, they go on from a list: in the same order, but an override that calls the operation of this
/// class gets the control back before its children have had their turn, and for `Save` and `Load` with the answer true
/// (the walk as a whole still answers false if one of them does). A class that writes something behind its children
/// has to bound the depth of its trees, or the stack of its threads accordingly: 8 MiB are enough for some ten thousand
/// levels.
class ZAM_EXPORT Composite : public Node {
 public:
  Composite(Composite const&) = default;
  Composite& operator=(Composite const&) = default;

  Composite* GetComposite() override;

  /// Calls `visitor->DoVisit(this)`, and only then lists the children and calls `Visit` on each: children that the
  /// visitor adds here are visited too. A class without an iterator ends the walk there.
  /// Exceptions of the visitor pass through; throws BaseException with id 5 if there is no memory for one of the
  /// library's iterators, or for a very deep walk.
  void Visit(Visitor* visitor) override;

  /// Calls `Save` on each child up to the first that answers false, and returns whether all answered true. Writes
  /// nothing of the composite itself. True for a class without an iterator. Exceptions as for `Visit`.
  bool Save(std::basic_ostream<char>* stream) override;

  /// The same walk with `Load`: a tree is loaded into a tree of the same shape that exists already.
  bool Load(std::basic_istream<char>* stream) override;

  /// Adds a child; the caller's reference passes to this node in classes that hold children. Nothing in the base.
  virtual void AddChild(Node* child);

  /// Takes the child with this id out and returns it, with its reference; null if there is none, as in the base.
  virtual Node* RemoveChild(unsigned int id);

  /// Number of children; 0 in the base.
  virtual unsigned int ChildCount() const;

  /// A new walk over the children, to be ended by `Iterator::Release`; null if there is no memory, and in the base.
  virtual Iterator* CreateIterator();

 protected:
  Composite() = default;
  ~Composite() override;
};

namespace detail {

/// What `composite.CreateIterator()` gives. Throws BaseException with id 5 if that is null because there is no memory
/// for an iterator of the library.
[[nodiscard]] ZAM_EXPORT Iterator* CreateWalk(Composite& composite);

}  // namespace detail
}  // namespace ZaM

#endif

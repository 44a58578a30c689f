// The root of everything that can hang in a tree or on another object.
#ifndef ZAM_MODEL_NODE_H
#define ZAM_MODEL_NODE_H

#include <cstdint>
#include <iosfwd>

#include "zam/foundation/export.h"
#include "zam/model/node_id.h"

namespace ZaM {

class Composite;
class Visitor;

/// A counted object with a slot for one feature, and hooks for visitors and for streams.
///
/// The feature in the slot is a node with a slot of its own, so that a node carries a chain: node, first feature,
/// second feature, and so on, in the order in which they were added.
///
/// Owning:   a concrete class has a static `Create`, which gives a node with a count of 1; `Release` ends it. A node
///           owns one reference to the object in its slot. Handing a node to `AddFeature` (or to a tree) passes the
///           caller's reference on; `RemoveFeature` passes it back.
/// Threads:  a node and all that can be reached from it belong to one thread at a time; counts are plain numbers.
/// Errors:   BaseException with id 5 if memory runs out on the first `GetId`, and LimitExceededException if no number
///           is left for it. What a visitor throws passes through. Nothing else throws here.
/// Depth:    chains and trees of any length can be released. While there is room on the stack, an object that a
///           destructor releases ends within that destructor. Where more than half of the stack is in use, what a node
///           owns by its slot or as a child ends after the owner's destructor instead, before the outermost of these
///           releases returns: parents before their children, in the same order, but the memory of the parent is gone
///           by then.
///
/// Copying takes the content alone, which is what derived classes add. The slot, the count and the id belong to the
/// object and not to its content: a copy starts with an empty slot, without a reference and without an id, and an
/// object that is assigned to keeps its own. So `*mine = *onDocument` is safe whatever hangs on the two.
class ZAM_EXPORT Node {
 public:
  /// With an empty slot and a count of 0.
  Node(Node const& /*other*/) noexcept {}
  /// Changes nothing.
  Node& operator=(Node const& /*other*/) noexcept { return *this; }  // NOLINT(bugprone-unhandled-self-assignment)

  /// Puts `added`, with all that hangs on it, at the end of the chain. The caller's reference passes to this node.
  /// It must hang in no slot yet: on the same chain twice, it would make a ring without an end.
  virtual void AddFeature(Node* added);

  /// Takes the first feature off and returns it, or null. The rest of the chain stays attached to what is returned,
  /// and this node's slot is empty afterwards. The reference passes to the caller.
  virtual Node* RemoveFeature();

  /// The first feature, or null; no reference is taken.
  virtual Node* GetFeature();

  /// 1 if there is a feature, else 0: the length of the chain isn't counted.
  virtual unsigned int FeatureCount() const;

  /// This object as a composite, or null: the cheap test of whether a node can have children.
  virtual Composite* GetComposite();

  /// Calls `visitor->DoVisit(this)`.
  virtual void Visit(Visitor* visitor);

  /// Takes a reference; returns the new count.
  virtual std::int32_t AddRefCount();

  /// Gives a reference back and returns the new count. At 0 and below the object ends; -1 is the answer for a node
  /// that never had a reference.
  virtual std::int32_t Release();

  /// Writes nothing and returns true.
  virtual bool Save(std::basic_ostream<char>* stream);

  /// Reads nothing and returns true.
  virtual bool Load(std::basic_istream<char>* stream);

  /// A number that no other live node has; it means nothing after the node's end, and is never stored.
  unsigned int GetId() const { return nodeId.Get(); }

  /// Whether `GetId` has given this number. A node that was never asked for its id has none.
  bool HasId(unsigned int number) const noexcept { return nodeId.Is(number); }

 protected:
  Node() = default;

  /// Empties the slot, then releases what was in it.
  virtual ~Node();

  /// For the destructors of nodes that own others: gives back the reference to `owned`, whose end may be put off as
  /// told above. Null is passed over. `Release` from a destructor works too, but needs stack for every level.
  static void ReleaseOwned(Node* owned);

 private:
  void Destroy() noexcept;

  Node* feature = nullptr;    // one reference is ours
  std::int32_t refCount = 0;  // a new node has none until Create takes it
  NodeId nodeId;
};

}  // namespace ZaM

#endif

// A range over the children of any composite, for `for`.
#ifndef ZAM_MODEL_CHILDREN_H
#define ZAM_MODEL_CHILDREN_H

#include <cstddef>
#include <iterator>
#include <memory>

#include "zam/model/composite.h"
#include "zam/model/iterator.h"

namespace ZaM {

/// The children of a composite as a range of `Node*`, in their order:
///
///     for (Node* child : Children(*document)) …
///
/// There is one walk in it: `begin` starts it anew. It is empty for a class without an iterator. Children must not be
/// added or removed during the walk; a null among them is delivered as it stands.
///
/// Owning:  the range owns the iterator that it takes from `CreateIterator`, and no child.
/// Threads: one thread at a time, together with the tree.
/// Errors:  what `CreateIterator` throws: BaseException with id 5 when memory runs out.
class Children {
 public:
  /// Takes an iterator from `parent`, which has to outlive the range.
  explicit Children(Composite& parent) : walk(parent.CreateIterator()) {}

  /// The place of a walk; at the end when it equals `std::default_sentinel`.
  class Place {
   public:
    /// What `std::input_iterator` asks for.
    using value_type = Node*;
    using difference_type = std::ptrdiff_t;

    /// Where `walked` stands.
    explicit Place(Iterator* walked) : walk(walked) {}
    /// The child, without a reference of its own.
    Node* operator*() const { return walk->Current(); }
    /// Goes one child on.
    Place& operator++() {
      walk->Next();
      return *this;
    }
    /// Goes one child on.
    void operator++(int) { walk->Next(); }
    /// Whether the walk is over.
    friend bool operator==(Place const& place, std::default_sentinel_t /*end*/) {
      return !place.walk || place.walk->Done();
    }

   private:
    Iterator* walk;  // null for an empty range
  };

  /// Starts the walk anew.
  Place begin() const {
    if (walk) walk->Start();
    return Place(walk.get());
  }
  /// The end of any walk.
  static std::default_sentinel_t end() { return std::default_sentinel; }

 private:
  struct Release {
    void operator()(Iterator* iterator) const { iterator->Release(); }
  };

  std::unique_ptr<Iterator, Release> walk;
};

/// The children that are of type `T`, in their order; others and nulls are passed over:
///
///     for (DocumentNode& child : ChildrenOf<DocumentNode>(*document)) …
///
/// What Children says of its walk holds here, too.
template <class T>
class ChildrenOf {
 public:
  /// Takes an iterator from `parent`, which has to outlive the range.
  explicit ChildrenOf(Composite& parent) : all(parent) {}

  /// The place of a walk; at the end when it equals `std::default_sentinel`.
  class Place {
   public:
    /// What `std::input_iterator` asks for.
    using value_type = T;
    using difference_type = std::ptrdiff_t;

    /// The first child of the type, from where `walked` stands.
    explicit Place(Children::Place walked) : place(walked) { Find(); }
    /// The child, without a reference of its own.
    T& operator*() const { return *child; }  // NOLINT(clang-analyzer-core.uninitialized.UndefReturn): not at the end
    T* operator->() const { return child; }
    /// Goes on to the next child of the type.
    Place& operator++() {
      ++place;
      Find();
      return *this;
    }
    /// Goes on to the next child of the type.
    void operator++(int) { ++*this; }
    /// Whether the walk is over.
    friend bool operator==(Place const& other, std::default_sentinel_t /*end*/) { return !other.child; }

   private:
    void Find() {
      for (child = nullptr; place != std::default_sentinel; ++place) {
        child = dynamic_cast<T*>(*place);
        if (child) return;
      }
    }

    Children::Place place;
    T* child = nullptr;  // null at the end
  };

  /// Starts the walk anew.
  Place begin() const { return Place(all.begin()); }
  /// The end of any walk.
  static std::default_sentinel_t end() { return std::default_sentinel; }

 private:
  Children all;
};

}  // namespace ZaM

#endif

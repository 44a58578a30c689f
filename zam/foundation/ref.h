// An owning handle for counted objects, and the two hooks that make boost::intrusive_ptr work on them.
#ifndef ZAM_FOUNDATION_REF_H
#define ZAM_FOUNDATION_REF_H

#include <concepts>
#include <cstddef>
#include <utility>

namespace ZaM {

/// An object that ends through its own reference count: a `Node`, an `Analyzer`, a `TextFilter`.
template <class T>
concept Counted = requires(T& object) {
  object.AddRefCount();
  object.Release();
};

/// Owns one reference to a counted object and gives it back when it goes.
///
/// The class of bugs it prevents: a `Create` whose `Release` is forgotten on one way out of a function, or is called
/// although the reference has passed to a tree.
///
///     Ref<DocumentNode> root(DocumentNode::Create());       // adopts the reference that Create took
///     Ref<DocumentNode> page(DocumentNode::Create(7, nullptr));
///     root->AddChild(page.Detach());                        // the tree owns the page from here on
///
/// Handing the same plain pointer to two handles by the adopting constructor releases it twice: use `Share` for a
/// pointer that somebody else owns. Copying a handle takes a reference, moving it doesn't.
///
/// Threads: as the object itself, whose count is a plain number.
/// Errors:  a handle throws nothing of its own, and the library's objects throw nothing when they are counted.
template <class T>
class Ref {
 public:
  Ref() = default;
  /// An empty handle.
  Ref(std::nullptr_t) {}

  /// Adopts the reference that the caller holds, such as the one from `Create`; the count doesn't change.
  explicit Ref(T* adopted) : object(adopted) {}

  /// A handle to an object that somebody else owns too: takes a reference of its own. Null gives an empty handle.
  [[nodiscard]] static Ref Share(T* shared) {
    if (shared) shared->AddRefCount();
    return Ref(shared);
  }

  /// A copy takes a reference of its own; moving leaves `other` empty.
  Ref(Ref const& other) : Ref(Share(other.object)) {}
  Ref(Ref&& other) noexcept : object(other.Detach()) {}
  template <class U>
  requires std::convertible_to<U*, T*> Ref(Ref<U> const& other) : Ref(Share(other.Get())) {}
  template <class U>
  requires std::convertible_to<U*, T*> Ref(Ref<U>&& other)
  noexcept : object(other.Detach()) {}
  /// Gives the former object's reference back.
  Ref& operator=(Ref other) noexcept {
    std::swap(object, other.object);
    return *this;
  }
  ~Ref() {
    if (object) object->Release();
  }

  /// Gives the reference up without releasing it: for `AddChild`, `AddRepresentation` and whoever else takes it over.
  [[nodiscard]] T* Detach() noexcept { return std::exchange(object, nullptr); }

  /// The object, which stays this handle's; null for an empty one.
  [[nodiscard]] T* Get() const noexcept { return object; }
  T* operator->() const noexcept { return object; }
  T& operator*() const noexcept { return *object; }
  explicit operator bool() const noexcept { return object != nullptr; }

  /// Whether it is the same object.
  template <class U>
  bool operator==(Ref<U> const& other) const noexcept {
    return object == other.Get();
  }

  /// Whether it is the same object.
  template <class U>
  bool operator==(U* other) const noexcept {
    return object == other;
  }

 private:
  T* object = nullptr;  // one reference is ours
};

/// `Ref page(DocumentNode::Create())` is meant to be written.
template <class T>
Ref(T*) -> Ref<T>;

/// Called by `boost::intrusive_ptr` when it takes a reference. Its constructor takes one by default; pass false as the
/// second argument to adopt what `Create` returned.
template <Counted T>
void intrusive_ptr_add_ref(T* object) {
  object->AddRefCount();
}

/// Called by `boost::intrusive_ptr` when it gives its reference back.
template <Counted T>
void intrusive_ptr_release(T* object) {
  object->Release();
}

}  // namespace ZaM

#endif

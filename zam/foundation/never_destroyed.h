// Static objects that outlive all others.
#ifndef ZAM_FOUNDATION_NEVER_DESTROYED_H
#define ZAM_FOUNDATION_NEVER_DESTROYED_H

#include <cstddef>
#include <new>
#include <utility>

namespace ZaM::detail {

/// Holds an object whose destructor doesn't run, for what a program's last static objects may still use while they are
/// destroyed. What the object has on the heap stays there: it is for static variables only.
template <class Object>
class NeverDestroyed {
 public:
  template <class... Arguments>
  explicit NeverDestroyed(Arguments&&... arguments) {
    new (storage) Object(std::forward<Arguments>(arguments)...);
  }
  NeverDestroyed(NeverDestroyed const&) = delete;
  NeverDestroyed& operator=(NeverDestroyed const&) = delete;

  Object& Get() { return *std::launder(reinterpret_cast<Object*>(storage)); }

 private:
  alignas(Object) std::byte storage[sizeof(Object)];
};

}  // namespace ZaM::detail

#endif

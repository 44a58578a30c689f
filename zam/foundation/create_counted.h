// The one way in which counted objects are made.
#ifndef ZAM_FOUNDATION_CREATE_COUNTED_H
#define ZAM_FOUNDATION_CREATE_COUNTED_H

#include <new>

#include "zam/foundation/exceptions.h"

namespace ZaM {

/// Makes a counted object and takes the first reference to it.
///
/// `make` is a callable without arguments that returns `new T(…)`; a class passes a lambda, which may reach its
/// protected constructor. Returns the object with a count of 1; the caller ends it with `Release`.
/// Throws BaseException with id 5 where `make` throws `std::bad_alloc`; other exceptions pass through.
template <class Make>
auto CreateCounted(Make make) {
  try {
    auto* object = make();
    object->AddRefCount();
    return object;
  } catch (std::bad_alloc const&) {
    throw BaseException(5);
  }
}

}  // namespace ZaM

#endif

// The one way in which counted objects are made, and in which a failed allocation becomes an exception of the library.
//
// Owning:  the first reference to a new object belongs to the caller of CreateCounted, and ends by `Release`.
// Threads: any, at any time; nothing is held.
// Errors:  BaseException with id 5 when memory runs out: in place of `std::bad_alloc`, and of the `std::length_error`
//          of a container that is asked for more than any memory holds. Other exceptions pass through.
#ifndef ZAM_FOUNDATION_CREATE_COUNTED_H
#define ZAM_FOUNDATION_CREATE_COUNTED_H

#include <new>
#include <stdexcept>
#include <utility>

#include "zam/foundation/exceptions.h"

namespace ZaM {

/// Runs `operation` and returns what it gives; throws BaseException with id 5 where it runs out of memory. For the
/// library's own allocations only: what the functions of a program throw has to pass unchanged. A limit that the
/// library sets is checked before.
template <class Operation>
decltype(auto) ReportOutOfMemory(Operation operation) {
  try {
    return operation();
  } catch (std::bad_alloc const&) {
    throw BaseException(ErrorId::OutOfMemory);
  } catch (std::length_error const&) {
    throw BaseException(ErrorId::OutOfMemory);
  }
}

/// Makes a counted object and takes the first reference to it.
///
/// `make` is a callable without arguments that returns `new T(…)`; a class passes a lambda, which may reach its
/// protected constructor. Returns the object with a count of 1.
template <class Make>
auto CreateCounted(Make make) {
  auto* object = ReportOutOfMemory(std::move(make));
  object->AddRefCount();
  return object;
}

namespace detail {

/// A container as a field of a class that can be copied. A copy for which there is no memory ends in BaseException with
/// id 5, so that the class needs no copy constructor of its own for that; a failed assignment changes nothing.
template <class Container>
class ReportingCopies : public Container {
 public:
  using Container::Container;
  ReportingCopies() = default;
  /// Copies.
  ReportingCopies(Container const& other) : Container(ReportOutOfMemory([&] { return Container(other); })) {}
  /// Takes over.
  ReportingCopies(Container&& other) noexcept : Container(std::move(other)) {}
  ReportingCopies(ReportingCopies const& other) : ReportingCopies(static_cast<Container const&>(other)) {}
  ReportingCopies(ReportingCopies&&) noexcept = default;
  ReportingCopies& operator=(ReportingCopies const& other) { return *this = ReportingCopies(other); }
  ReportingCopies& operator=(ReportingCopies&&) noexcept = default;
  ~ReportingCopies() = default;
};

}  // namespace detail
}  // namespace ZaM

#endif

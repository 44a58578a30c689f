// For functions that report by their results alone.
#ifndef ZAM_FOUNDATION_NO_THROW_H
#define ZAM_FOUNDATION_NO_THROW_H

#include <exception>

namespace ZaM::detail {

/// What `operation` returns; `failure` if it throws, as it does when memory runs out.
template <class Result, class Operation>
Result ResultOr(Result failure, Operation operation) noexcept {
  try {
    return operation();
  } catch (std::exception const&) {
    return failure;
  }
}

}  // namespace ZaM::detail

#endif

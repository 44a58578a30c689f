// The number by which a node is known while it lives.
#ifndef ZAM_MODEL_NODE_ID_H
#define ZAM_MODEL_NODE_ID_H

#include <cstdint>

#include "zam/foundation/export.h"

namespace ZaM {

/// A number that no other live `NodeId` of the process holds, drawn when it is first asked for.
///
/// An address would do where it has 32 bits; cut to 32 bits it could repeat. So the numbers come from a pool shared by
/// the process, and go back to it when their holder dies: they stay unique however many have been drawn, as long as
/// fewer than 2³² are held at once. Who is never asked never touches the pool.
///
/// A copy is another identity: it holds no number, and assignment leaves the target's number alone.
///
/// Threads: different holders may draw and return numbers at once; one holder belongs to one thread at a time.
/// Errors:  the first `Get` throws BaseException with id 5 if there is no memory for the pool's book-keeping, and
///          LimitExceededException if there is no number left. Nothing else throws.
class ZAM_EXPORT NodeId {
 public:
  NodeId() = default;
  /// Without a number.
  NodeId(NodeId const& /*other*/) noexcept {}
  /// Keeps its own number.
  NodeId& operator=(NodeId const& /*other*/) noexcept { return *this; }
  ~NodeId() {
    if (value != 0) GiveBack(value);
  }

  /// The number, never 0. Draws it on the first call.
  std::uint32_t Get() const {
    if (value == 0) value = Draw();
    return value;
  }

  /// Whether this is the number that `Get` has given. Never draws one.
  bool Is(std::uint32_t number) const noexcept { return value != 0 && value == number; }

 private:
  static std::uint32_t Draw();
  static void GiveBack(std::uint32_t number) noexcept;

  mutable std::uint32_t value = 0;  // 0 until Get is called
};

}  // namespace ZaM

#endif

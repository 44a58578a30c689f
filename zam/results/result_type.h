// The kind of an entry in a result.
#ifndef ZAM_RESULTS_RESULT_TYPE_H
#define ZAM_RESULTS_RESULT_TYPE_H

#include <cstdint>

namespace ZaM {

/// The kind of a class's entry in a result, a set of bits. Every 32-bit value is one: applications and stored results
/// bring kinds of their own, which pass through unchanged.
enum eResultType : std::int32_t {
  /// What a result answers for a class that it doesn't hold. No entry gets it by default.
  ResultTypeNone = 0,
  /// The bit of a final class: a decision, not just a candidate. Most tests look at this bit alone; only where the
  /// candidates of a `FullResult` are chosen is the whole value compared with 1.
  ResultTypeFinal = 1,
  /// An ordinary scored class: the default of the items, and what classification makes.
  ResultTypeScored = 2,
};

/// The bits 12 to 14 of a type form a group: a class may have one entry per group in a `SparseResult`. The library
/// makes no type that has them.
inline constexpr std::int32_t resultTypeGroupMask = 0x7000;

/// Whether the lowest bit marks an entry as a final class.
constexpr bool IsFinalType(eResultType type) {
  return (type & ResultTypeFinal) != 0;
}

}  // namespace ZaM

#endif

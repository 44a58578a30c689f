// Many similarities at once.
#ifndef ZAM_MODEL_BULK_DOT_H
#define ZAM_MODEL_BULK_DOT_H

#include <cstddef>

#include "zam/foundation/export.h"
#include "zam/model/representation.h"

namespace ZaM {

/// A second base of a class derived from Representation that computes many products at once faster than one by one:
/// a sparse vector, say, that lays itself out for that. `PcaAnalyzer` asks examples and documents for it by a
/// `dynamic_cast`, and takes `dot` where they don't have it.
///
/// Threads: as Representation.
/// Errors:  what an override throws passes through the algorithm unchanged, as what `dot` throws does, be it
///          `std::bad_alloc`; see PcaAnalyzer for what is left then. `products` may be filled in part.
class ZAM_EXPORT BulkDot {
 public:
  virtual ~BulkDot();

  /// `products[i]` becomes what `dot(*others[i])` would give, for each i below `count`, and 0 where `others[i]` is
  /// null.
  virtual void DotAll(Representation const* const* others, std::size_t count, double* products) const = 0;

 protected:
  BulkDot() = default;
  BulkDot(BulkDot const&) = default;
  BulkDot& operator=(BulkDot const&) = default;
};

/// The same for any representation: in bulk where `left` can do that, else by one `dot` after the other, in order. The
/// first one that throws ends it, and the exception passes through.
ZAM_EXPORT void DotAll(Representation const& left, Representation const* const* others, std::size_t count,
                       double* products);

}  // namespace ZaM

#endif

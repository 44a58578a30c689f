// An algorithm and the block of parameters that controls a run of it.
#ifndef ZAM_MODEL_ALGORITHM_H
#define ZAM_MODEL_ALGORITHM_H

#include <iosfwd>

#include "zam/foundation/export.h"

namespace ZaM {

/// The parameters of a run. Each algorithm casts it to its own type of block.
///
/// Owning: a block belongs to the caller, who deletes it, through this type if need be.
class ZAM_EXPORT Control {
 public:
  Control() = default;
  Control(Control const&) = default;
  Control& operator=(Control const&) = default;
  virtual ~Control();
};

/// Something that runs under a control block and leaves its results on the nodes that the block names.
///
/// Sequence: CreateController, fill in the block, DoAlgorithm, as often as wanted.
/// Threads:  one thread at a time, together with the block and the nodes that it names.
/// Errors:   exceptions out of DoAlgorithm; a block that is null or of another algorithm's type is passed over.
class ZAM_EXPORT Algorithm {
 public:
  Algorithm() = default;
  Algorithm(Algorithm const&) = default;
  Algorithm& operator=(Algorithm const&) = default;
  virtual ~Algorithm();

  /// One run. Nothing in the base.
  virtual void DoAlgorithm(Control* control);

  /// A new block with the defaults, which the caller deletes; null if there is no memory, and in the base.
  virtual Control* CreateController();

  /// Writes what the algorithm has learned; returns whether that succeeded. False in the base.
  virtual bool Save(std::basic_ostream<char>* stream);

  /// Reads what `Save` has written; returns whether that succeeded. False in the base.
  virtual bool Load(std::basic_istream<char>* stream);
};

}  // namespace ZaM

#endif

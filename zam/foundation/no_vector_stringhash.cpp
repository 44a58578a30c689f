// Stands in for the vector kernel on machines that have none.
#include "zam/foundation/stringhash_kernel.h"

namespace ZaM::detail {

StringHashKernel const* Vector512StringHash() {
  return nullptr;
}

}  // namespace ZaM::detail

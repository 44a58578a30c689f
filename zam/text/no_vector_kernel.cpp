// Stands in for the vector kernel on machines that have none.
#include "zam/text/block_kernel.h"

namespace ZaM::detail {

BlockKernel const* VectorKernel() {
  return nullptr;
}

}  // namespace ZaM::detail

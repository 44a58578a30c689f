// Stands in for the vector kernels on machines that have none.
#include "zam/text/block_kernel.h"

namespace ZaM::detail {

BlockKernel const* Vector512Kernel() {
  return nullptr;
}

BlockKernel const* Vector256Kernel() {
  return nullptr;
}

}  // namespace ZaM::detail

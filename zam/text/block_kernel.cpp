#include "zam/text/block_kernel.h"

namespace ZaM::detail {

BlockKernel const* BestKernel() {
  if (auto const* const kernel = Vector512Kernel()) return kernel;
  if (auto const* const kernel = Vector256Kernel()) return kernel;
  return &portableKernel;
}

}  // namespace ZaM::detail

#include "zam/text/block_kernel.h"

namespace ZaM::detail {

BlockKernel const* BestKernel() {
  auto const* const vector = VectorKernel();
  return vector ? vector : &portableKernel;
}

}  // namespace ZaM::detail

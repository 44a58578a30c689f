#include "zam/algorithms/symmetric_kernel.h"

namespace ZaM::detail {

SymmetricKernel const& BestSymmetricKernel() {
  static SymmetricKernel const* const best = VectorSymmetricKernels()[0];
  return best ? *best : portableSymmetricKernel;
}

}  // namespace ZaM::detail

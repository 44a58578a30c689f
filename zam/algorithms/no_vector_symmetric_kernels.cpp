#include "zam/algorithms/symmetric_kernel.h"

namespace ZaM::detail {

SymmetricKernel const* const* VectorSymmetricKernels() {
  static SymmetricKernel const* const none = nullptr;
  return &none;
}

}  // namespace ZaM::detail

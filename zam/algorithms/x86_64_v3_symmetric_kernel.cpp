// Compiled for x86-64-v3: sixteen registers of four numbers.
#include "zam/algorithms/symmetric_kernel_loops.h"

namespace ZaM::detail {

extern SymmetricKernel const x86V3SymmetricKernel;
constinit SymmetricKernel const x86V3SymmetricKernel = MakeSymmetricKernel<4, 4>("x86-64-v3");

}  // namespace ZaM::detail

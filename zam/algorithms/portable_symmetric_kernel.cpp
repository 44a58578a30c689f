// Registers of two numbers, which the compiler makes of whatever the machine has.
#include "zam/algorithms/symmetric_kernel_loops.h"

namespace ZaM::detail {

constinit SymmetricKernel const portableSymmetricKernel = MakeSymmetricKernel<2, 4>("portable");

}  // namespace ZaM::detail

// Compiled for x86-64-v4: thirty-two registers of eight numbers. For four vectors or less, half a register takes half
// the time on some processors, and waits for memory on the others.
#include "zam/algorithms/symmetric_kernel_loops.h"

namespace ZaM::detail {

extern SymmetricKernel const x86V4SymmetricKernel;
constinit SymmetricKernel const x86V4SymmetricKernel = MakeSymmetricKernel<8, 4, 8>("x86-64-v4");

}  // namespace ZaM::detail

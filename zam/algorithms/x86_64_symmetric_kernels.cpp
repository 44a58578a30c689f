#include "zam/algorithms/symmetric_kernel.h"

namespace ZaM::detail {

extern SymmetricKernel const x86V3SymmetricKernel;

// Registers of eight numbers gain no more than a tenth on those of four while a cache holds the matrix.
SymmetricKernel const* const* VectorSymmetricKernels() {
  static SymmetricKernel const* const kernels[] = {&x86V3SymmetricKernel, nullptr};
  __builtin_cpu_init();  // a static object may ask before the compiler's own initialisation has run
  // The loops use no instructions of this level but those that are asked for here.
  bool const hasV3 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi2");
  return hasV3 ? kernels : kernels + 1;
}

}  // namespace ZaM::detail

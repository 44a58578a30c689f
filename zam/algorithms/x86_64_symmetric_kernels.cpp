#include "zam/algorithms/symmetric_kernel.h"

namespace ZaM::detail {

extern SymmetricKernel const x86V3SymmetricKernel;
extern SymmetricKernel const x86V4SymmetricKernel;

namespace {

// The loops use no instructions of these levels but those that are asked for here.

bool HasV3() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi2");
}

bool HasV4() {
  return HasV3() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
}

}  // namespace

SymmetricKernel const* const* VectorSymmetricKernels() {
  static SymmetricKernel const* const kernels[] = {&x86V4SymmetricKernel, &x86V3SymmetricKernel, nullptr};
  __builtin_cpu_init();  // a static object may ask before the compiler's own initialisation has run
  return HasV4() ? kernels : HasV3() ? kernels + 1 : kernels + 2;
}

}  // namespace ZaM::detail

// Faults of the processor, such as a bad address, as exceptions of C++.
#ifndef ZAM_PLATFORM_FAULTS_H
#define ZAM_PLATFORM_FAULTS_H

#include <cstdint>

namespace ZaM::platform {

/// Throws what a fault is to become. `code` is one of FaultCode; `instruction` is where the fault struck, `address`
/// what the instruction wanted to reach, and `context` the system's record of the registers, valid during the call.
using FaultTranslator = void (*)(std::uint32_t code, void* instruction, void* address, void* context);

/// From now on `translate` is called for each fault of this thread, on a stack of its own, and what it throws leaves
/// the faulting instruction. Faults of other threads, signals that come from elsewhere, faults that `translate` returns
/// from and those inside of the heap's own functions go where they would have gone. Returns false, and changes nothing
/// for the thread, if memory runs out. Can be called again, which also does what RestoreStackReserve does.
[[nodiscard]] bool TranslateFaults(FaultTranslator translate);

/// Behind a stack overflow that was dealt with: takes the reserve that its handling has used of this thread's stack out
/// of use again, for the next one; what of it lies below, if the thread still stands on it.
void RestoreStackReserve() noexcept;

}  // namespace ZaM::platform

#endif

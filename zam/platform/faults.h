// Turns faults of the processor, such as a bad address, into C++ exceptions.
#ifndef ZAM_PLATFORM_FAULTS_H
#define ZAM_PLATFORM_FAULTS_H

#include <cstdint>

namespace ZaM::platform {

/// Throws the exception for a fault. `code` is one of FaultCode, `instruction` is where the fault struck, and `address`
/// is what the instruction wanted to access. `context` is the system's record of the registers, valid during the call.
using FaultTranslator = void (*)(std::uint32_t code, void* instruction, void* address, void* context);

/// Calls `translate` for each fault of this thread from now on. It runs on a stack of its own, and what it throws
/// leaves the faulting instruction.
///
/// The handlers that were there before still get faults of other threads, signals that somebody sent, faults inside of
/// the heap's own functions, and faults that `translate` returns from.
///
/// Returns false if memory runs out; nothing has changed for the thread then. A further call also does what
/// RestoreStackReserve does.
[[nodiscard]] bool TranslateFaults(FaultTranslator translate);

/// Locks the reserve of this thread's stack again after a stack overflow has been handled, so that the next one can be.
/// If the thread still stands on the reserve, only the part below it is locked.
void RestoreStackReserve() noexcept;

}  // namespace ZaM::platform

#endif

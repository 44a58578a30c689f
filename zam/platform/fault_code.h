// Which fault a signal tells of.
#ifndef ZAM_PLATFORM_FAULT_CODE_H
#define ZAM_PLATFORM_FAULT_CODE_H

#include <ucontext.h>

#include <csignal>
#include <cstdint>
#include <optional>

namespace ZaM::platform {

enum class FaultCode : std::uint32_t {
  Misalignment = 0x80000002,
  Breakpoint = 0x80000003,
  SingleStep = 0x80000004,
  AccessViolation = 0xC0000005,
  InPageError = 0xC0000006,
  IllegalInstruction = 0xC000001D,
  ArrayBoundsExceeded = 0xC000008C,
  FloatDenormalOperand = 0xC000008D,
  FloatDivideByZero = 0xC000008E,
  FloatInexactResult = 0xC000008F,
  FloatInvalidOperation = 0xC0000090,
  FloatOverflow = 0xC0000091,
  FloatStackCheck = 0xC0000092,
  FloatUnderflow = 0xC0000093,
  IntegerDivideByZero = 0xC0000094,
  IntegerOverflow = 0xC0000095,
  PrivilegedInstruction = 0xC0000096,
  StackOverflow = 0xC00000FD,
};

/// Nothing for a signal that doesn't come from this thread's own instruction. A stack overflow reads AccessViolation
/// here. May be called in a signal handler.
[[nodiscard]] std::optional<FaultCode> FaultCodeOf(siginfo_t const& signal, ucontext_t const& context) noexcept;

}  // namespace ZaM::platform

#endif

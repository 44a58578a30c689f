#include "zam/platform/fault_code.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace ZaM::platform {

namespace {

#if defined(__x86_64__)

/// The exceptions of floating point that are flagged and not masked: invalid 1, denormal 2, division 4, overflow 8,
/// underflow 16, inexact 32.
unsigned PendingFloatExceptions(_libc_fpstate const& state) {
  unsigned const vector = state.mxcsr & ~(state.mxcsr >> 7);
  unsigned const x87 = state.swd & ~static_cast<unsigned>(state.cwd);
  return (vector | x87) & 0x3F;
}

/// The system has one code for underflow and denormal operands, and one for all invalid operations.
FaultCode RefinedFloatCode(FaultCode code, ucontext_t const& context) {
  constexpr unsigned underflow = 16;
  constexpr unsigned stackFault = 0x40;
  _libc_fpstate const& state = *context.uc_mcontext.fpregs;
  bool const isUnderflow = (PendingFloatExceptions(state) & underflow) != 0;
  if (code == FaultCode::FloatUnderflow && !isUnderflow) return FaultCode::FloatDenormalOperand;
  if (code == FaultCode::FloatInvalidOperation && (state.swd & stackFault) != 0) return FaultCode::FloatStackCheck;
  return code;
}

// hlt, cli, sti; ins and outs; in and out, with a port in the instruction and in dx.
constexpr unsigned char privileged[] = {0xF4, 0xFA, 0xFB, 0x6C, 0x6D, 0x6E, 0x6F, 0xE4,
                                        0xE5, 0xE6, 0xE7, 0xEC, 0xED, 0xEE, 0xEF};
// After 0x0F: clts, invd, wbinvd; moves of control and debug registers; wrmsr, rdmsr, rdpmc.
constexpr unsigned char privilegedOfTwoBytes[] = {0x06, 0x08, 0x09, 0x20, 0x21, 0x22, 0x23, 0x30, 0x32, 0x33};

constexpr int registersByNumber[] = {REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP, REG_RSI, REG_RDI,
                                     REG_R8,  REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15};

template <class Number>
Number Load(std::uintptr_t address) {
  Number number;
  std::memcpy(&number, reinterpret_cast<void const*>(address), sizeof number);
  return number;
}

/// What follows the first byte of an instruction whose operand is in a register or in memory.
struct Operand {
  ucontext_t const& context;
  unsigned prefix;    // 0x4W, where W & 2 and W & 1 extend the numbers of the registers; 0 without one
  std::uintptr_t at;  // of the byte that says where the operand is

  [[nodiscard]] unsigned Form() const { return Load<unsigned char>(at); }
  [[nodiscard]] bool IsRegister() const { return Form() >> 6 == 3; }

  [[nodiscard]] std::uintptr_t Register(unsigned number, unsigned extension) const {
    unsigned const extended = number | ((prefix & extension) != 0 ? 8u : 0u);
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[registersByNumber[extended]]);
  }

  /// Where in memory it is. Right only if no further bytes of the instruction follow.
  [[nodiscard]] std::uintptr_t Address() const {
    unsigned const mode = Form() >> 6;
    unsigned base = Form() & 7;
    std::uintptr_t next = at + 1;
    std::uintptr_t address = 0;
    bool const isIndexed = base == 4;
    if (isIndexed) {
      unsigned const scaled = Load<unsigned char>(next++);
      bool const hasIndex = (scaled >> 3 & 7) != 4 || (prefix & 2) != 0;
      if (hasIndex) address = Register(scaled >> 3 & 7, 2) << (scaled >> 6);
      base = scaled & 7;
    }
    bool const hasBase = mode != 0 || base != 5;
    if (hasBase) address += Register(base, 1);
    if (mode == 1) address += static_cast<std::uintptr_t>(Load<signed char>(next));
    if (mode == 2 || !hasBase) address += static_cast<std::uintptr_t>(Load<std::int32_t>(next));
    bool const isRelative = !hasBase && !isIndexed;  // to the next instruction
    return isRelative ? address + next + sizeof(std::int32_t) : address;
  }
};

/// Whether the division that failed was by a number other than zero, so that its quotient is out of range: the
/// processor itself doesn't tell. False for forms that compilers don't write.
bool IsQuotientOutOfRange(ucontext_t const& context) {
  auto at = static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RIP]);
  bool const isShort = Load<unsigned char>(at) == 0x66;
  if (isShort) ++at;
  unsigned const first = Load<unsigned char>(at);
  unsigned const prefix = first >> 4 == 4 ? first : 0;
  if (prefix != 0) ++at;
  unsigned const division = Load<unsigned char>(at);
  bool const isByte = division == 0xF6;
  if (!isByte && division != 0xF7) return false;

  std::size_t const size = isByte ? 1 : isShort ? 2 : (prefix & 8) != 0 ? 8 : 4;
  Operand const operand = {context, prefix, at + 1};
  std::uintptr_t divisor = 0;
  if (!operand.IsRegister()) {
    std::memcpy(&divisor, reinterpret_cast<void const*>(operand.Address()), size);
    return divisor != 0;
  }
  unsigned const number = operand.Form() & 7;
  bool const isSecondByte = isByte && prefix == 0 && number >= 4;
  divisor = isSecondByte ? operand.Register(number - 4, 0) >> 8 : operand.Register(number, 1);
  return divisor << 8 * (sizeof divisor - size) != 0;
}

template <std::size_t count>
bool Contains(unsigned char const (&codes)[count], unsigned char code) {
  return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

/// Whether the instruction that broke the processor's protection is one for the system alone. The system itself doesn't
/// tell it from an address that no memory can have.
bool IsPrivileged(ucontext_t const& context) {
  auto const at = static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RIP]);
  constexpr std::uintptr_t endOfUserAddresses = std::uintptr_t{1} << 47;
  if (at >= endOfUserAddresses) return false;
  auto const* const code = reinterpret_cast<unsigned char const*>(at);
  return code[0] == 0x0F ? Contains(privilegedOfTwoBytes, code[1]) : Contains(privileged, code[0]);
}

#else

FaultCode RefinedFloatCode(FaultCode code, ucontext_t const&) {
  return code;
}
bool IsPrivileged(ucontext_t const&) {
  return false;
}
bool IsQuotientOutOfRange(ucontext_t const&) {
  return false;
}

#endif

FaultCode ArithmeticCode(int reason, ucontext_t const& context) {
  switch (reason) {
    case FPE_INTDIV:
      return IsQuotientOutOfRange(context) ? FaultCode::IntegerOverflow : FaultCode::IntegerDivideByZero;
    case FPE_INTOVF:
      return FaultCode::IntegerOverflow;
    case FPE_FLTDIV:
      return FaultCode::FloatDivideByZero;
    case FPE_FLTOVF:
      return FaultCode::FloatOverflow;
    case FPE_FLTUND:
      return RefinedFloatCode(FaultCode::FloatUnderflow, context);
    case FPE_FLTRES:
      return FaultCode::FloatInexactResult;
    case FPE_FLTSUB:
      return FaultCode::ArrayBoundsExceeded;
    default:
      return RefinedFloatCode(FaultCode::FloatInvalidOperation, context);
  }
}

FaultCode MemoryCode(int reason) {
  switch (reason) {
    case BUS_ADRALN:
      return FaultCode::Misalignment;
    case BUS_ADRERR:
    case BUS_OBJERR:
    case BUS_MCEERR_AR:
      return FaultCode::InPageError;
    default:
      return FaultCode::AccessViolation;
  }
}

std::optional<FaultCode> TrapCode(int reason) {
  switch (reason) {
    case SI_KERNEL:
    case TRAP_BRKPT:
      return FaultCode::Breakpoint;
    case TRAP_TRACE:
    case TRAP_BRANCH:
    case TRAP_HWBKPT:
      return FaultCode::SingleStep;
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<FaultCode> FaultCodeOf(siginfo_t const& signal, ucontext_t const& context) noexcept {
  int const reason = signal.si_code;
  if (reason <= 0) return std::nullopt;  // sent by a process
  switch (signal.si_signo) {
    case SIGSEGV:
      return reason == SI_KERNEL && IsPrivileged(context) ? FaultCode::PrivilegedInstruction
                                                          : FaultCode::AccessViolation;
    case SIGBUS:
      // A broken page that this thread hasn't touched is told to it as advice.
      if (reason == BUS_MCEERR_AO) return std::nullopt;
      return MemoryCode(reason);
    case SIGILL:
      return reason == ILL_PRVOPC || reason == ILL_PRVREG ? FaultCode::PrivilegedInstruction
                                                          : FaultCode::IllegalInstruction;
    case SIGFPE:
      return ArithmeticCode(reason, context);
    case SIGTRAP:
      return TrapCode(reason);
    default:
      return std::nullopt;
  }
}

}  // namespace ZaM::platform

#include "zam/foundation/structured_exception.h"

#include "zam/foundation/no_throw.h"
#include "zam/platform/faults.h"

namespace ZaM {

namespace {

// What is known of this thread's latest fault. The first access mustn't allocate, since a signal handler makes it.
[[gnu::tls_model("initial-exec")]] thread_local constinit _EXCEPTION_RECORD latestRecord = {};
[[gnu::tls_model("initial-exec")]] thread_local constinit _EXCEPTION_POINTERS latestPointers = {};

wchar const* SentenceOf(std::uint32_t code) {
  switch (code) {
    case 0x80000002:
      return u"The thread tried to read or write data that is misaligned on hardware that does not provide alignment. "
             u"For example, 16-bit values must be aligned on 2-byte boundaries; 32-bit values on 4-byte boundaries, "
             u"and so on.";
    case 0x80000003:
      return u"A breakpoint was encountered.";
    case 0x80000004:
      return u"A trace trap or other single-instruction mechanism signaled that one instruction has been executed.";
    case 0xC0000005:
      return u"The thread tried to read from or write to a virtual address for which it does not have the appropriate "
             u"access.";
    case 0xC0000006:
      return u"The thread tried to access a page that was not present, and the system was unable to load the page. For "
             u"example, this exception might occur if a network connection is lost while running a program over the "
             u"network.";
    case 0xC000001D:
      return u"The thread tried to execute an invalid instruction.";
    case 0xC0000025:
      return u"The thread tried to continue execution after a noncontinuable exception occurred.";
    case 0xC0000026:
      return u"An exception handler returned an invalid disposition to the exception dispatcher. Programmers using a "
             u"high-level language such as C should never encounter this exception.";
    case 0xC000008C:
      return u"The thread tried to access an array element that is out of bounds and the underlying hardware supports "
             u"bounds checking.";
    case 0xC000008D:
      return u"One of the operands in a floating-point operation is denormal. A denormal value is one that is too "
             u"small to represent as a standard floating-point value.";
    case 0xC000008E:
      return u"The thread tried to divide a floating-point value by a floating-point divisor of zero.";
    case 0xC000008F:
      return u"The result of a floating-point operation cannot be represented exactly as a decimal fraction.";
    case 0xC0000090:
      return u"This exception represents any floating-point exception not included in this list.";
    case 0xC0000091:
      return u"The exponent of a floating-point operation is greater than the magnitude allowed by the corresponding "
             u"type.";
    case 0xC0000092:
      return u"The stack overflowed or underflowed as the result of a floating-point operation.";
    case 0xC0000093:
      return u"The exponent of a floating-point operation is less than the magnitude allowed by the corresponding "
             u"type.";
    case 0xC0000094:
      return u"The thread tried to divide an integer value by an integer divisor of zero.";
    case 0xC0000095:
      return u"The result of an integer operation caused a carry out of the most significant bit of the result.";
    case 0xC0000096:
      return u"The thread tried to execute an instruction whose operation is not allowed in the current machine mode.";
    case 0xC00000FD:
      return u"The thread used up its stack.";
    default:
      return u"unknown structured exception";
  }
}

}  // namespace

StructuredException::StructuredException(_EXCEPTION_POINTERS* pointers)
    : BaseException(ErrorId::SystemFault), exceptionPointers(pointers), code(pointers->record->code) {}

StructuredException::~StructuredException() {
  platform::RestoreStackReserve();
}

void StructuredException::Enable() {
  auto const translate = [](std::uint32_t fault, void* instruction, void* address, void* context) {
    latestRecord = {fault, instruction, address};
    latestPointers = {&latestRecord, context};
    TranslateSEtoCE(fault, &latestPointers);
  };
  if (!platform::TranslateFaults(translate)) throw BaseException(ErrorId::OutOfMemory);
}

void StructuredException::TranslateSEtoCE(unsigned int, _EXCEPTION_POINTERS* pointers) {
  throw StructuredException(pointers);
}

const wstring StructuredException::GetErrorDescription() const {
  return detail::ResultOr(wstring(), [&] { return wstring(u"StructuredException. ") + SentenceOf(code); });
}

}  // namespace ZaM

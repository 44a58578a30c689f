// Faults of the processor and the system, such as a bad address or a division by zero, as exceptions.
//
//   StructuredException::Enable();                     // once on each thread that is to see them
//   try {
//     RunPlugin(document);
//   } catch (StructuredException const& fault) {
//     Show(fault.GetErrorDescription());               // "StructuredException. The thread tried to read from …"
//   }
//
// Code that may fault has to be compiled for it. With CMake, the program links zam::faults. Other builds pass
// -fnon-call-exceptions to GCC: without it GCC assumes that only calls throw, and a fault ends in std::terminate. Clang
// has no such option. There, only functions further up the stack can catch the fault, and only if Clang couldn't see
// that the function they call never throws.
//
// A fault can't leave a function that is declared never to throw, such as memcpy and strlen of the C library. If a bad
// address reaches one, the process ends in std::terminate, unless its caller has nothing to destroy and catches
// nothing. The library's own functions aren't compiled for faults either: check what is handed to them.
//
// A fault often means that memory was overwritten. A program that catches one should save the user's work and end.
#ifndef ZAM_FOUNDATION_STRUCTURED_EXCEPTION_H
#define ZAM_FOUNDATION_STRUCTURED_EXCEPTION_H

#include <cstdint>

#include "zam/foundation/exceptions.h"
#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// What is known of a fault.
struct _EXCEPTION_RECORD {
  /// One of the codes of StructuredException.
  std::uint32_t code;
  /// Where it struck.
  void const* instruction;
  /// What the instruction wanted to reach; for other faults, the system's choice.
  void const* address;
};

/// A fault, as the system hands it over.
struct _EXCEPTION_POINTERS {
  /// What is known of it.
  _EXCEPTION_RECORD const* record;
  /// The registers, a ucontext_t: those of the fault, or of the place in a calling function where the exception began.
  void const* context;
};

/// A fault of the thread that catches it. Number 17.
///
/// What becomes one, with its code:
///
///     0x80000002  misaligned access, where the processor minds
///     0x80000003  breakpoint
///     0x80000004  trace trap
///     0xC0000005  address without access
///     0xC0000006  page that couldn't be loaded, such as of a mapped file that has become shorter
///     0xC000001D  illegal instruction
///     0xC000008C  array bounds, where the processor minds
///     0xC000008D  floating point, with its traps switched on: denormal operand
///     0xC000008E                                              division by zero
///     0xC000008F                                              inexact result
///     0xC0000090                                              invalid operation
///     0xC0000091                                              overflow
///     0xC0000092                                              stack of the x87 unit
///     0xC0000093                                              underflow
///     0xC0000094  integer division by zero
///     0xC0000095  integer division with a quotient that is out of range; other overflow, where the processor minds
///     0xC0000096  privileged instruction
///     0xC00000FD  stack overflow
///
/// What doesn't become one:
///
/// - a signal that another process or `raise` sends,
/// - a fault inside of the heap's own functions,
/// - a fault while another one is on its way to its handler,
/// - a fault in a signal handler of the program's that runs on the alternative stack.
///
/// These take the course that they would have taken without Enable. A fault in a function that mustn't throw, such as a
/// destructor, ends in std::terminate, as any exception there does.
///
/// A function of the C library keeps its locks when an exception leaves it. A fault inside of `localtime_r`,
/// `initstate` or `setlocale`, as from a bad address, is caught, but the next call of these or of their relatives
/// (`mktime`, `strftime`, `random`) may wait for ever, on any thread. So check what is handed to them. No exception
/// leaves the heap's functions.
///
/// A stack overflow may strike anywhere: inside of the C library, which may hold locks, or in the middle of code that
/// can't throw. The thread then runs on, on stack that is kept for this, until it comes to an instruction that may
/// throw. Another exception that is being thrown there is lost, with its memory.
///
/// In three cases a stack overflow isn't caught, and ends the process:
///
/// - where handlers swallow the exception and the recursion goes on until the stack that is kept is used up as well.
///   `<<` and `>>` of a stream are such handlers: they catch all that their buffers or locales throw;
/// - in a recursion of destructors or of other functions that mustn't throw, such as the release of a chain of owners
///   that is too long: there is no place to throw from;
/// - on processors other than x86-64, where it strikes in code that can't throw, such as the C library: the thread can
///   not be led out of there. In a function that may throw it is caught.
///
/// On a stack other than the thread's own, such as that of a coroutine library, an overflow may have the code
/// 0xC0000005.
///
/// After the handler the thread goes on as after any exception, floating point modes included, but with alignment
/// checks off, should they have been on.
///
/// Threads: each thread calls Enable for itself. Any may read code and sentence; the pointers are for the handler on
///          the thread of the fault.
/// Errors:  BaseException with id 5 where there is no memory for Enable, which changes nothing then.
class ZAM_EXPORT StructuredException : public BaseException {
 public:
  /// A copy has its own code and the same pointers.
  StructuredException(StructuredException const&) = default;
  StructuredException& operator=(StructuredException const&) = default;
  ~StructuredException() override;

  /// From now on the calling thread's faults are thrown as StructuredException; other threads are left as they were.
  /// There is no way back.
  ///
  /// The end of an exception makes the thread ready for the next stack overflow. Another call of Enable does so too,
  /// while an exception is still kept, as in a std::future.
  ///
  /// The first call in a process keeps the library loaded, and installs handlers for SIGSEGV, SIGBUS, SIGILL, SIGFPE
  /// and SIGTRAP. Signals that aren't meant for them go to the handlers that were there before. A program that installs
  /// its own handler for one of these later takes the signal away from the library.
  ///
  /// Each thread gets an alternative stack of 64 KiB for signals, if it has none of that size. A 32nd part of its own
  /// stack, at most 256 KiB, is kept for the destructors that run when the rest is used up; nothing is kept of a stack
  /// of less than 512 KiB.
  static void Enable();

  /// "StructuredException. " and the sentence for the code, in English. Never cut.
  [[nodiscard]] const wstring GetErrorDescription() const override;

  /// The code of the fault. Like the sentence, good for as long as this object or a copy of it is.
  [[nodiscard]] std::uint32_t GetExceptionCode() const { return code; }

  /// What the system handed over. To be read only inside of the handler that caught the exception, and before another
  /// fault of this thread; the registers also before another signal of it.
  [[nodiscard]] _EXCEPTION_POINTERS const* GetExceptionPointers() const { return exceptionPointers; }

 private:
  explicit StructuredException(_EXCEPTION_POINTERS* pointers);

  /// Throws what `pointers` tell of. `code` isn't used.
  [[noreturn]] static void TranslateSEtoCE(unsigned int code, _EXCEPTION_POINTERS* pointers);

  _EXCEPTION_POINTERS* exceptionPointers;  // not owned
  std::uint32_t code;                      // a copy, for copies of this object that outlive the handler
};

}  // namespace ZaM

#endif

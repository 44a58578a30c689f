#include "zam/platform/faults.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <optional>

#include "zam/platform/fault_code.h"
#include "zam/platform/fault_frame.h"
#include "zam/platform/fault_stack.h"

namespace ZaM::platform {

namespace {

struct ThreadFaults {
  FaultTranslator translate = nullptr;  // null on a thread that didn't ask
  FaultStack stack;
};

// Threads that never asked come here too, from inside of a fault: the first access mustn't allocate.
[[gnu::tls_model("initial-exec")]] thread_local constinit ThreadFaults thisThread;

/// Takes back what TranslateFaults has given to a thread, when it ends.
struct ThreadEnd {
  ThreadEnd() = default;
  ThreadEnd(ThreadEnd const&) = delete;
  ThreadEnd& operator=(ThreadEnd const&) = delete;
  ~ThreadEnd() {
    thisThread.translate = nullptr;
    WithdrawFaultStack(thisThread.stack);
  }
};

constexpr std::array faultSignals = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP};

// What stood in our handlers' place before, and whether it was to serve once and has done so. Not behind a function's
// guard, since a signal may come while that is being passed.
constinit std::array<struct sigaction, faultSignals.size()> actionsBefore = {};
constinit std::array<std::atomic<bool>, faultSignals.size()> isUsedUp = {};

/// A fault strikes again when its instruction is run again, and so leaves its place in the core file.
void EndProcess(int number, bool wasSent) {
  signal(number, SIG_DFL);
  bool const strikesAgain = !wasSent && number != SIGTRAP;
  if (!strikesAgain) raise(number);
}

void Call(struct sigaction const& action, int number, siginfo_t* signal, void* context) {
  sigset_t blocked = action.sa_mask;
  if ((action.sa_flags & SA_NODEFER) == 0) sigaddset(&blocked, number);
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, &blocked, &mask);
  if ((action.sa_flags & SA_SIGINFO) != 0) {
    action.sa_sigaction(number, signal, context);
  } else {
    action.sa_handler(number);
  }
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

/// Does what the process would have done with a signal without us.
void PassOn(int number, siginfo_t* signal, void* context) {
  auto const* const place = std::find(faultSignals.begin(), faultSignals.end(), number);
  auto const i = static_cast<std::size_t>(place - faultSignals.begin());
  struct sigaction const& action = actionsBefore[i];
  bool const wasSent = signal->si_code <= 0;
  bool const isFunction =
      (action.sa_flags & SA_SIGINFO) != 0 || (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
  bool const servesOnce = (static_cast<unsigned>(action.sa_flags) & SA_RESETHAND) != 0;
  if (isFunction && !(servesOnce && isUsedUp[i].exchange(true))) {
    Call(action, number, signal, context);
  } else if (!wasSent || isFunction || action.sa_handler != SIG_IGN) {
    EndProcess(number, wasSent);  // a fault can't be ignored
  }
}

[[gnu::tls_model("initial-exec")]] thread_local constinit std::uintptr_t addressOfOverflow = 0;

void ThrowOverflow() {
  thisThread.translate(static_cast<std::uint32_t>(FaultCode::StackOverflow), nullptr,
                       reinterpret_cast<void*>(addressOfOverflow), nullptr);
}

/// Lets a call that has come to the end of the stack have some of the reserve. Behind `operator new`, the overflow is
/// thrown; another function's caller may not expect that, so that it goes on until it overflows the next time. Returns
/// false if the reserve doesn't serve.
bool GoOnWithHeapCall(HeapCall const& call, std::uintptr_t address) {
  FaultStack& stack = thisThread.stack;
  if (call.returnAddress == nullptr || !OpenReserve(stack)) return OpenReserveAt(stack, address);
  addressOfOverflow = address;
  ThrowBehind(call, ThrowOverflow);
  return true;
}

/// Throws what this fault is to become. Returns if it isn't to become anything: true if its instruction can simply be
/// run again, false if it has to be passed on.
bool Translate(siginfo_t const& signal, ucontext_t& context) {
  std::optional<FaultCode> code = FaultCodeOf(signal, context);
  FaultStack& stack = thisThread.stack;
  std::uintptr_t const stackPointer = StackPointer(context);
  // A fault while another one is being dealt with.
  if (!code || thisThread.translate == nullptr || IsOnAlternativeStack(stack, stackPointer)) return false;

  auto const address = reinterpret_cast<std::uintptr_t>(signal.si_addr);
  bool const isBadAddress = *code == FaultCode::AccessViolation && address == InstructionPointer(context);
  if (signal.si_signo == SIGSEGV && IsStackOverflow(stack, address, stackPointer)) code = FaultCode::StackOverflow;
  HeapCall const heapCall = isBadAddress ? HeapCall() : HeapCallAt(context);
  if (heapCall.isThere) return *code == FaultCode::StackOverflow && GoOnWithHeapCall(heapCall, address);
  if (*code == FaultCode::StackOverflow) OpenReserve(stack);

  auto* const instruction = reinterpret_cast<void*>(InstructionPointer(context));
  PrepareToThrow(context, isBadAddress, *code == FaultCode::Breakpoint);
  thisThread.translate(static_cast<std::uint32_t>(*code), instruction, signal.si_addr, &context);
  return false;
}

void OnSignal(int number, siginfo_t* signal, void* context) {
  AllowMisalignment();
  int const error = errno;
  bool const goesOn = Translate(*signal, *static_cast<ucontext_t*>(context));
  if (!goesOn) PassOn(number, signal, context);
  errno = error;
}

/// Our handlers, in the process as long as the library is.
struct SignalHandlers {
  SignalHandlers() {
    for (std::size_t i = 0; i < faultSignals.size(); ++i) {
      sigaction(faultSignals[i], nullptr, &actionsBefore[i]);
      struct sigaction own = {};
      own.sa_sigaction = OnSignal;
      // No signal is blocked meanwhile: an exception leaves without passing the place where that would be undone.
      own.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER | (actionsBefore[i].sa_flags & SA_RESTART);
      sigaction(faultSignals[i], &own, nullptr);
    }
  }
  SignalHandlers(SignalHandlers const&) = delete;
  SignalHandlers& operator=(SignalHandlers const&) = delete;

  /// Handlers that the program has installed since then stay.
  ~SignalHandlers() {
    for (std::size_t i = 0; i < faultSignals.size(); ++i) {
      struct sigaction current = {};
      sigaction(faultSignals[i], nullptr, &current);
      bool const isOwn = (current.sa_flags & SA_SIGINFO) != 0 && current.sa_sigaction == OnSignal;
      if (isOwn) sigaction(faultSignals[i], &actionsBefore[i], nullptr);
    }
  }
};

}  // namespace

bool TranslateFaults(FaultTranslator translate) {
  if (thisThread.translate == nullptr) {
    if (!ProvideFaultStack(thisThread.stack)) return false;
    thread_local ThreadEnd const atEnd;
    static_cast<void>(atEnd);
  }
  thisThread.translate = translate;
  static SignalHandlers const handlers;
  static_cast<void>(handlers);
  return true;
}

void RestoreStackReserve() noexcept {
  if (thisThread.translate != nullptr) CloseReserve(thisThread.stack);
}

}  // namespace ZaM::platform

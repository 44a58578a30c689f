#include "zam/platform/faults.h"

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "zam/platform/fault_calls.h"
#include "zam/platform/fault_code.h"
#include "zam/platform/fault_frame.h"
#include "zam/platform/fault_stack.h"

namespace ZaM::platform {

namespace {

/// A stack overflow at a place where no exception may start, so that it has to wait.
struct DelayedOverflow {
  bool isPending = false;
  void* instruction = nullptr;
  void* address = nullptr;
  int steps = 0;  // instructions that were run one by one since then
};

struct ThreadFaults {
  FaultTranslator translate;
  FaultStack stack;
  DelayedOverflow delayed;
};

// Null on a thread that never asked. A fault on such a thread reads it too, so that the first access mustn't allocate.
// No more than a pointer, since all copies of the library in a process share the little room that there is for that.
[[gnu::tls_model("initial-exec")]] thread_local constinit ThreadFaults* thisThread = nullptr;

constexpr std::array faultSignals = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP};

// The handlers that ours replaced, and whether one that was to serve once has done so. No static variables of a
// function: a signal may come while their guard is being passed.
constinit std::array<struct sigaction, faultSignals.size()> actionsBefore = {};
constinit std::array<std::atomic<bool>, faultSignals.size()> isUsedUp = {};

/// A fault strikes again when its instruction is run again, and so leaves its place in the core file.
void EndProcess(int number, siginfo_t const& info) {
  signal(number, SIG_DFL);
  bool const isAdvice = number == SIGBUS && info.si_code == BUS_MCEERR_AO;  // of a page that wasn't touched
  bool const strikesAgain = info.si_code > 0 && number != SIGTRAP && !isAdvice;
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
    EndProcess(number, *signal);  // a fault can't be ignored
  }
}

void Throw(FaultCode code, void* instruction, void* address, ucontext_t& context, FaultedCalls const& calls) {
  bool const isBadCall = code == FaultCode::AccessViolation && instruction == address;
  if (calls.isInThrow) ForgetThrow();
  PrepareToThrow(context, isBadCall, code == FaultCode::Breakpoint);
  thisThread->translate(static_cast<std::uint32_t>(code), instruction, address, &context);
}

/// Brings a thread that has overflowed its stack, and now runs on the reserve, one step nearer to a place where an
/// exception may start, and throws when it is there. A step is the return of a call, or a single instruction between
/// two such places. Returns false if it gives up.
bool StepTowardsThrow(ucontext_t& context) {
  constexpr int mostSteps = 100'000;
  DelayedOverflow& delayed = thisThread->delayed;
  FaultedCalls const calls = CallsAt(context);
  bool const isWaiting = calls.returnAddress != nullptr;
  delayed.isPending = !calls.mayThrow && (isWaiting || ++delayed.steps < mostSteps);
  SetSingleStep(context, delayed.isPending && !isWaiting);
  if (calls.mayThrow) Throw(FaultCode::StackOverflow, delayed.instruction, delayed.address, context, calls);
  if (delayed.isPending && isWaiting) AwaitReturn(calls.returnAddress);
  return delayed.isPending;
}

/// Ends the wait of StepTowardsThrow; returns whether this fault is the one that it waited for. If it isn't, another
/// fault came first, and the overflow is forgotten.
bool TakeNextStep(FaultCode code, ucontext_t& context) {
  bool const hasReturned = TakeAwaitedReturn(context);
  bool const wasPending = std::exchange(thisThread->delayed.isPending, false);
  if (wasPending) SetSingleStep(context, false);
  return hasReturned || (wasPending && code == FaultCode::SingleStep);
}

/// Throws the exception for this fault. Returns if there is none: true if the thread can simply go on, false if the
/// signal has to be passed on.
bool Translate(siginfo_t const& signal, ucontext_t& context) {
  std::optional<FaultCode> code = FaultCodeOf(signal, context);
  if (!code || thisThread == nullptr) return false;
  FaultStack& stack = thisThread->stack;
  std::uintptr_t const stackPointer = StackPointer(context);
  if (IsOnAlternativeStack(stack, stackPointer)) return false;  // a fault while another one is being dealt with
  if (TakeNextStep(*code, context)) {
    StepTowardsThrow(context);
    return true;
  }

  // The system gives no address where the frame of another signal found no room.
  bool const hasNoAddress = signal.si_signo == SIGSEGV && signal.si_code == SI_KERNEL;
  constexpr std::uintptr_t mostSignalFrame = std::uintptr_t{16} * 1024;
  auto* const instruction = reinterpret_cast<void*>(InstructionPointer(context));
  auto const address = reinterpret_cast<std::uintptr_t>(signal.si_addr);
  if (hasNoAddress && IsStackOverflow(stack, stackPointer - mostSignalFrame, stackPointer) && OpenReserve(stack)) {
    // If it's the instruction that is at fault, it will be so again.
    thisThread->delayed = {true, instruction, signal.si_addr, 0};
    SetSingleStep(context, true);
    return true;
  }
  if (signal.si_signo == SIGSEGV && IsStackOverflow(stack, address, stackPointer)) {
    code = FaultCode::StackOverflow;
    thisThread->delayed = {true, instruction, signal.si_addr, 0};
    if (OpenReserve(stack) && StepTowardsThrow(context)) return true;
  }
  bool const isBadCall = instruction == signal.si_addr;
  FaultedCalls const calls = isBadCall ? FaultedCalls() : CallsAt(context);
  if (calls.isInHeapFunction) return false;
  Throw(*code, instruction, signal.si_addr, context, calls);
  return false;
}

void OnSignal(int number, siginfo_t* signal, void* context) {
  AllowMisalignment();
  int const error = errno;
  bool const goesOn = Translate(*signal, *static_cast<ucontext_t*>(context));
  if (!goesOn) PassOn(number, signal, context);
  errno = error;
}

/// Takes back what TranslateFaults has given to a thread.
void OnThreadEnd(void* /*given*/) {
  std::unique_ptr<ThreadFaults> const given(thisThread);
  thisThread = nullptr;
  WithdrawFaultStack(given->stack);
}

/// What the first TranslateFaults gives to the process, for good.
struct ProcessFaults {
  // Not a thread-local object: that would need memory, and be gone while others are still being destroyed.
  pthread_key_t threadEnd = 0;

  ProcessFaults() {
    if (pthread_key_create(&threadEnd, OnThreadEnd) != 0) throw std::bad_alloc();
    StayLoaded();
    FindCLibrary();
    for (std::size_t i = 0; i < faultSignals.size(); ++i) {
      sigaction(faultSignals[i], nullptr, &actionsBefore[i]);
      struct sigaction own = {};
      own.sa_sigaction = OnSignal;
      // No signal is blocked meanwhile: an exception leaves without passing the place where that would be undone.
      own.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER | (actionsBefore[i].sa_flags & SA_RESTART);
      sigaction(faultSignals[i], &own, nullptr);
    }
  }

  /// Handlers that are installed later may pass signals on to ours, so this code must not go. A program that holds it
  /// itself finds no library to keep.
  static void StayLoaded() {
    Dl_info own = {};
    if (dladdr(&actionsBefore, &own) != 0) dlopen(own.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
  }
};

}  // namespace

bool TranslateFaults(FaultTranslator translate) try {
  static ProcessFaults const process;
  if (thisThread == nullptr) {
    auto given = std::make_unique<ThreadFaults>(ThreadFaults{translate, {}, {}});
    if (!ProvideFaultStack(given->stack)) return false;
    if (pthread_setspecific(process.threadEnd, given.get()) != 0) {
      WithdrawFaultStack(given->stack);
      return false;
    }
    thisThread = given.release();
  }
  thisThread->translate = translate;
  LockReserve(thisThread->stack);
  return true;
} catch (std::bad_alloc const&) {
  return false;
}

void RestoreStackReserve() noexcept {
  if (thisThread != nullptr) LockReserve(thisThread->stack);
}

}  // namespace ZaM::platform

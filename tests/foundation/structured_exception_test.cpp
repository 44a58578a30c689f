#include "zam/foundation/structured_exception.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cfenv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <thread>

#include "tests/support/run_on_stack.h"

// Other compilers can't throw from an instruction that isn't a call; ThreadSanitizer's own signal handler can't be left
// by an exception.
#if !defined(__clang__) && defined(__x86_64__) && !defined(__SANITIZE_THREAD__)

namespace ZaM {
namespace {

// The sanitizers would find these faults before the processor does.
#define FAULTY __attribute__((noinline, no_sanitize("address", "undefined")))

/// The code of the fault that `operation` ends in; 0 if it ends in none. What it has made is destroyed on the way.
template <class Operation>
FAULTY std::uint32_t CodeOf(Operation operation) {
  try {
    operation();
    return 0;
  } catch (StructuredException const& fault) {
    return fault.GetExceptionCode();
  }
}

FAULTY int ReadFrom(std::uintptr_t address) {
  return *reinterpret_cast<int volatile*>(address);
}
FAULTY void Call(std::uintptr_t address) {
  reinterpret_cast<void (*)()>(address)();
}
FAULTY void Break() {
  asm volatile("int3");
}
/// `value`, of which the compiler can't know what it is.
template <class Value>
Value Unknown(Value value) {
  Value volatile hidden = value;
  return hidden;
}

// What is calculated is used, or the compiler would leave the calculation out.
template <class Number>
FAULTY void Divide(Number dividend, Number divisor) {
  Unknown(Unknown(dividend) / Unknown(divisor));
}
FAULTY void Multiply(double a, double b) {
  Unknown(Unknown(a) * Unknown(b));
}
FAULTY void WithTrap(unsigned exceptions, double a, double b, void (*calculate)(double, double)) {
  __builtin_ia32_ldmxcsr(__builtin_ia32_stmxcsr() & ~(exceptions << 7));
  calculate(a, b);
}

FAULTY void ReadPastTheEndOfAFile() {
  void* const mapped = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fileno(std::tmpfile()), 0);
  ReadFrom(reinterpret_cast<std::uintptr_t>(mapped));
}

long long divisors[2];

// A division whose quotient is out of range by -1, with the divisor in rdi and behind rsi, and the dividend in rdx:rax.
#define DIVIDE(prepare, divide, low, high)                                                            \
  [](long long divisor) __attribute__((no_sanitize("address", "undefined"))) {                        \
    divisors[0] = divisors[1] = divisor;                                                              \
    asm volatile(prepare "\n" divide                                                                  \
                 : "+D"(divisor)                                                                      \
                 : "S"(divisors), "a"(static_cast<long long>(low)), "d"(static_cast<long long>(high)) \
                 : "rbx", "rcx", "r8", "r12", "r13", "r15", "memory", "cc");                          \
  }

TEST(StructuredExceptions, GiveEachFaultItsCode) {
  struct Case {
    char const* name;
    std::uint32_t code;
    std::function<void()> fault;
  };
  std::vector<Case> cases = {
      {"none", 0, [] {}},
      {"misaligned", 0x80000002,
       []() FAULTY {
         alignas(4) char volatile bytes[8] = {};
         asm volatile(
             "pushf\n orl $0x40000, (%%rsp)\n popf\n movl 1(%0), %%eax\n pushf\n andl $~0x40000, (%%rsp)\n popf\n"
             :
             : "r"(bytes)
             : "eax", "memory", "cc");
       }},
      {"breakpoint", 0x80000003, Break},
      {"trace", 0x80000004,
       []() FAULTY {
         asm volatile("pushf\n orl $0x100, (%%rsp)\n popf\n nop\n nop\n" : : : "memory", "cc");
       }},
      {"low address", 0xC0000005, [] { ReadFrom(16); }},
      {"address that none can have", 0xC0000005, [] { ReadFrom(std::uintptr_t{1} << 63); }},
      {"call to nowhere", 0xC0000005, [] { Call(0); }},
      {"call into data", 0xC0000005, [] { Call(reinterpret_cast<std::uintptr_t>(divisors)); }},
      {"shortened file", 0xC0000006, ReadPastTheEndOfAFile},
      {"illegal", 0xC000001D, []() FAULTY { asm volatile("ud2"); }},
      {"denormal", 0xC000008D, [] { WithTrap(FE_INVALID << 1, 5e-324, 1, Multiply); }},
      {"float by zero", 0xC000008E, [] { WithTrap(FE_DIVBYZERO, 1, 0, Divide<double>); }},
      {"inexact", 0xC000008F, [] { WithTrap(FE_INEXACT, 1, 3, Divide<double>); }},
      {"invalid", 0xC0000090, [] { WithTrap(FE_INVALID, 0, 0, Divide<double>); }},
      {"overflow", 0xC0000091, [] { WithTrap(FE_OVERFLOW, 1e300, 1e300, Multiply); }},
      {"underflow", 0xC0000093, [] { WithTrap(FE_UNDERFLOW, 1e-300, 1e-300, Multiply); }},
      {"privileged", 0xC0000096, []() FAULTY { asm volatile("hlt"); }},
  };
  void (*const divisions[])(long long) = {
      DIVIDE("", "idivl %%edi", 0x80000000, -1),
      DIVIDE("", "idivq %%rdi", std::numeric_limits<long long>::min(), -1),
      DIVIDE("", "idivb %%dil", 0x8000, 0),
      DIVIDE("movq %%rdi, %%rbx\n movb $1, %%bh", "idivb %%bl", 0x8000, 0),
      DIVIDE("movq %%rdi, %%rbx\n shlq $8, %%rbx", "idivb %%bh", 0x8000, 0),
      DIVIDE("", "idivl (%%rsi)", 0x80000000, -1),
      DIVIDE("leaq -400(%%rsi), %%r13", "idivw 400(%%r13)", 0x8000, -1),
      DIVIDE("movq $1, %%r12\n movq %%rsi, %%r13", "idivb -4(%%r13,%%r12,4)", 0x8000, 0),
      DIVIDE("movq %%rsi, %%r15\n shrq $3, %%r15", "idivl 0(,%%r15,8)", 0x80000000, -1),
  };
  for (auto* const division : divisions) {
    cases.push_back({"quotient out of range", 0xC0000095, [division] { division(-1); }});
    cases.push_back({"divisor of zero", 0xC0000094, [division] { division(0); }});
  }
  std::optional<StructuredException> kept;
  std::thread([&] {
    StructuredException::Enable();
    std::fesetround(FE_UPWARD);
    for (Case const& one : cases) {
      std::fenv_t modes;
      std::fegetenv(&modes);
      int alive = 0;
      auto const run = [&] {
        std::shared_ptr<int> const counted(&++alive, [](int* count) { --*count; });
        one.fault();
      };
      // Twice: a handler must leave nothing behind that hides the next fault.
      for (int i = 0; i < 2; ++i) EXPECT_EQ(CodeOf(run), one.code) << one.name << ", " << &one - cases.data();
      EXPECT_TRUE(alive == 0 && std::fegetround() == FE_UPWARD) << one.name;
      EXPECT_TRUE(one.code == 0 || std::fetestexcept(FE_ALL_EXCEPT) == 0) << one.name;
      std::fesetenv(&modes);
    }
    try {
      ReadFrom(24);
    } catch (BaseException const& fault) {
      kept = dynamic_cast<StructuredException const&>(fault);
      EXPECT_EQ(kept->GetExceptionPointers()->record->address, reinterpret_cast<void*>(24));
      EXPECT_EQ(CodeOf([] { Divide(1, 0); }), 0xC0000094u) << "inside of a handler";
    }
  }).join();
  EXPECT_EQ(kept->GetErrorId(), 17);
  EXPECT_EQ(kept->GetErrorDescription(),
            u"StructuredException. The thread tried to read from or write to a virtual address for which it does not "
            u"have the appropriate access.");
}

/// Calls itself, each time after `step`, through a pointer: a function of which the compiler sees that it never throws
/// couldn't be left.
FAULTY int Recurse(void (*step)(int), int depth = 0) {
  char volatile frame[100] = {};
  frame[0] = static_cast<char>(depth);
  step(depth);
  return Unknown(&Recurse)(step, depth + 1) + frame[0];
}
void DoNothing(int) {}
void ThrowAndCatch([[maybe_unused]] int depth) {
#if !defined(__SANITIZE_ADDRESS__)  // which puts a __cxa_throw of its own in between, and sees what is thrown get lost
  try {
    throw depth;
  } catch (int) {
  }
#endif
}
void Lock(int depth) {
  std::time_t const time = depth;
  std::tm parts = {};
  localtime_r(&time, &parts);
}

/// Needs its destructors run, and these need stack. Comes to the end mostly inside of functions that can't throw, of
/// the heap among them.
FAULTY void RecurseWithStrings(int depth, int& alive) {
  struct Counted {
    explicit Counted(int& number) : count(++number) {}
    ~Counted() {
      char volatile frame[2000] = {};
      count -= 1 + frame[0];
    }
    int& count;
  };
  if (Unknown(depth) < 0) return;
  Counted const counted(alive);
  char number[32];
  std::snprintf(number, sizeof number, "%f", depth * 0.5);
  std::string const text(static_cast<std::size_t>(100 + depth % 5000), 'x');
  RecurseWithStrings(depth + 1, alive);
  Unknown(text[0] + number[0]);
}

/// Catches what comes from the end of the stack there, once, and fills what is left.
FAULTY int RecurseInHandler(int depth, int& alive, bool& wasCaught) {
  try {
    return Unknown(&RecurseInHandler)(depth + 1, alive, wasCaught) + 1;
  } catch (StructuredException const&) {
    if (wasCaught) throw;
    wasCaught = true;
  }
  RecurseWithStrings(depth, alive);
  return 0;
}

FAULTY int RecurseThroughSort(int depth) {
  int numbers[] = {3, 1, 2};
  auto const compare = [](void const* a, void const*) { return RecurseThroughSort(*static_cast<int const*>(a)); };
  std::qsort(numbers, std::size(numbers), sizeof numbers[0], compare);
  return numbers[0] + depth;
}
FAULTY void TakeMuch(int bytes) {
  auto* const frame = static_cast<char volatile*>(__builtin_alloca(static_cast<std::size_t>(bytes)));
  frame[0] = 0;
  frame[bytes - 1] = 0;
}

/// Comes to the end of this thread's stack in each way, with destructors that need some of it, and finds all in order.
void ExpectOverflows() {
  StructuredException::Enable();
  int alive = 0;
  bool wasCaught = false;
  std::function<void()> const overflows[] = {
      [] { Recurse(DoNothing); },
      [&] { RecurseWithStrings(0, alive); },
      [&] { RecurseInHandler(0, alive, wasCaught); },
      [] { Recurse(ThrowAndCatch); },
      [] { Recurse([](int) { raise(SIGURG); }); },
      [] { Recurse(Lock); },
      [] { RecurseThroughSort(0); },
      [] { TakeMuch(16 << 20); },
  };
  for (int round = 0; round < 2; ++round) {
    for (auto const& overflow : overflows) {
      EXPECT_EQ(CodeOf([&] { overflow(); }), 0xC00000FDu) << &overflow - overflows;
      EXPECT_EQ(alive, 0);
    }
    wasCaught = false;
  }
  EXPECT_EQ(std::uncaught_exceptions(), 0);
  Lock(0);  // comes back
}

TEST(StructuredExceptions, ComeFromTheEndOfTheStackAndLeaveRoomForDestructors) {
  std::signal(SIGURG, [](int) {});
  for (int offset = 0; offset < 4096; offset += 304) {
    test::RunOnStack(1u << 20, [&] {
      static_cast<char volatile*>(__builtin_alloca(static_cast<std::size_t>(offset + 1)))[0] = 0;
      ExpectOverflows();
    });
  }
  test::RunOnStack(3u << 20, ExpectOverflows);
  EXPECT_EQ(CodeOf([] { StructuredException::Enable(), Recurse(DoNothing); }), 0xC00000FDu) << "of the first thread";
  // The system would disarm this stack, and nothing arm it again. AddressSanitizer unmaps it in the end.
  test::RunOnStack(1u << 20, [&] {
    constexpr std::size_t size = 128 * 1024;
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    stack_t const own = {memory, static_cast<int>(1u << 31), size};
    ASSERT_EQ(sigaltstack(&own, nullptr), 0);
    ExpectOverflows();
  });
  // Here there is no reserve.
  test::RunOnStack(128 * 1024, [] {
    StructuredException::Enable();
    for (int i = 0; i < 2; ++i) EXPECT_EQ(CodeOf([] { Recurse(DoNothing); }), 0xC00000FDu);
  });
}

/// Installs a handler as a program would, and asks for exceptions on another thread.
void EnableBeside(int number, struct sigaction action) {
  sigaction(number, &action, nullptr);
  std::thread([] { StructuredException::Enable(); }).join();
}
void EnableBeside(int number, sighandler_t handler, unsigned flags = 0) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(flags);
  EnableBeside(number, action);
}
void EnableBesideExitWithCode(int number) {
  struct sigaction action = {};
  action.sa_sigaction = [](int signal, siginfo_t* info, void*) { _exit(100 + signal + (info->si_code > 0 ? 0 : 1)); };
  action.sa_flags = SA_SIGINFO;
  EnableBeside(number, action);
}

TEST(StructuredExceptionsDeathTest, LeaveOtherThreadsAndSignalsToTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // each in a process of its own
  using testing::ExitedWithCode;
  using testing::KilledBySignal;
  EXPECT_EXIT((EnableBesideExitWithCode(SIGFPE), Divide(1, 0)), ExitedWithCode(100 + SIGFPE), "");
  EXPECT_EXIT((EnableBeside(SIGTRAP, SIG_DFL), Break()), KilledBySignal(SIGTRAP), "");
  EXPECT_EXIT((EnableBeside(SIGSEGV, SIG_IGN), ReadFrom(16)), KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT((EnableBeside(SIGSEGV, SIG_IGN), raise(SIGSEGV), _exit(0)), ExitedWithCode(0), "");
  EXPECT_EXIT((EnableBeside(SIGBUS, SIG_DFL), raise(SIGBUS)), KilledBySignal(SIGBUS), "");
  // On a thread that did ask, what another process sends.
  EXPECT_EXIT((EnableBesideExitWithCode(SIGSEGV), StructuredException::Enable(), kill(getpid(), SIGSEGV)),
              ExitedWithCode(100 + SIGSEGV + 1), "");
  // A handler for one time only.
  static int volatile calls = 0;
  auto const count = [](int) { calls = calls + 1; };
  EXPECT_EXIT((EnableBeside(SIGBUS, count, SA_RESETHAND), raise(SIGBUS), raise(calls == 1 ? SIGBUS : SIGTERM)),
              KilledBySignal(SIGBUS), "");
#if !defined(__SANITIZE_ADDRESS__)
  // To throw out of the heap's functions would leave them locked.
  EXPECT_EXIT(
      (EnableBeside(SIGSEGV, SIG_DFL), StructuredException::Enable(), free(Unknown(reinterpret_cast<void*>(16)))),
      KilledBySignal(SIGSEGV), "");
#endif
}

TEST(StructuredExceptions, GiveTheStackOfAThreadBackWhole) {
  constexpr std::size_t size = 2u << 20;
  test::RunOnStack(size, StructuredException::Enable);
  test::RunOnStack(size, [] { TakeMuch(size - (16 << 10)); });  // the same stack, as a rule
}

}  // namespace
}  // namespace ZaM

#endif

// SPDX-License-Identifier: MIT
// Turns synchronous hardware faults into exceptions, per thread.
//
// The library installs process-wide handlers for SIGSEGV, SIGBUS, SIGFPE and
// SIGILL (and SIGTRAP, for stack overflows) once, remembering the dispositions
// they replace. A fault on a thread that has the translator enabled (the
// thread that loaded the library, and every thread that the library starts)
// is thrown from the faulting instruction by the thrower that the core sets
// when the library loads (SetThrower): a CQEL_Exception, reason as follows
// (see core/CQEL_Exception.cpp):
//   SIGSEGV                        34 access violation (41 near the stack guard: stack overflow)
//   SIGFPE integer/float /0        16 division by zero
//   SIGFPE float overflow          36
//   SIGFPE float underflow         38
//   SIGFPE integer overflow        39
//   SIGFPE subscript out of range  35
//   anything else (SIGILL, SIGBUS, inexact, invalid)  32
// A fault on any other thread, or before a thrower is set, goes to the
// previous disposition unchanged: a host's own handler runs, and the default
// action still ends the process.
//
// Throwing from a fault is well defined only in code compiled with
// -fnon-call-exceptions; the library and every target linking QEL::qel are.
// Floating-point faults only occur where the thread unmasked them (feenableexcept).
//
// A stack overflow (x86-64 only) cannot simply be thrown from the faulting
// instruction: compilers treat stack accesses as unable to fault even under
// -fnon-call-exceptions, and infer that code touching nothing else cannot
// throw, so the faulting push or store usually lies where their unwind tables
// say no exception can come from (std::terminate if one does). The code there
// may also be the C library's, half way through an update or holding a lock.
// And the unwinding needs stack to run on. So:
// - The lowest 64 KiB (at most an eighth) of a translated thread's stack is a
//   reserve kept inaccessible, which the overflow runs into.
// - The interrupted code runs on, in the upper half of the reserve, one
//   instruction at a time (single steps, SIGTRAP), up to the next call that
//   the unwind tables expect exceptions from; the exception is thrown there,
//   as if that call had thrown. Nothing is left half done or lost.
// - If it runs into the lower half first (a recursion the compiler took to be
//   unable to throw) or takes over 100000 instructions, its frames are
//   abandoned without running destructors, and the exception is thrown from the
//   innermost call in progress, outwards, that the tables expect exceptions from.
// - The unwinding runs in what is left of the reserve. The reserve closes
//   again when the exception is destroyed on its thread, or when
//   InstallOnThisThread is called again there.
// - Without room (no reserve, or still open after an earlier overflow) or with
//   no call on the stack that may throw, the handler writes "QEL: stack
//   overflow that cannot be reported as an exception" to stderr and passes the
//   fault on as if untranslated (by default, the process ends).
// As with any translated fault, abandoned code that does not unwind (the C
// library) keeps any lock it held.
#pragma once

#include "platform/QEL_Export.h"

namespace QEL::Core {

// What a translated fault was.
enum class EFault {
    AccessViolation,
    StackOverflow,
    DivisionByZero,
    FloatOverflow,
    FloatUnderflow,
    IntegerOverflow,
    SubscriptOutOfRange,
    Other,
};

class QEL_API CFaultTranslator {
  public:
    // Throws the exception of a fault; called on the faulting thread from
    // within the signal handler, and must throw.
    using Thrower = void (*)(EFault fault);
    // Sets what faults are thrown as (once, when the library loads).
    static void SetThrower(Thrower thrower);
    // The fault of a signal and its siginfo_t (for a host's own handler).
    static EFault FaultOf(int signal, void const* signalInfo);
    // After a stack overflow the calling thread's stack reserve stays open
    // while the exception unwinds; the exception closes it when destroyed.
    static bool IsReserveOpenOnThisThread();
    static void CloseReserveOnThisThread();

    // Enables translation on the calling thread, with an alternate signal stack
    // so that a stack overflow can still be handled, and the stack reserve.
    // Idempotent; again on an enabled thread, closes its reserve if an earlier
    // overflow left it open.
    static void InstallOnThisThread();
    // Disables translation on the calling thread and releases its signal stack
    // and reserve (also done when the thread ends).
    static void UninstallOnThisThread();
    static bool IsInstalledOnThisThread();
};

// Enables the translator for the lifetime of a scope (on a host thread, say).
class QEL_API CFaultTranslationScope {
  public:
    CFaultTranslationScope();
    ~CFaultTranslationScope();
    CFaultTranslationScope(CFaultTranslationScope const&) = delete;
    CFaultTranslationScope& operator=(CFaultTranslationScope const&) = delete;

  private:
    bool m_wasInstalled;
};

}  // namespace QEL::Core

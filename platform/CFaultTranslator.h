// SPDX-License-Identifier: MIT
// Turns synchronous hardware faults into CQEL_Exception, per thread.
//
// The library installs process-wide handlers for SIGSEGV, SIGBUS, SIGFPE and
// SIGILL once, remembering the dispositions they replace. A fault on a thread
// that has the translator enabled (the thread that loaded the library, and
// every thread that the library starts) is thrown from the faulting
// instruction as a CQEL_Exception, reason as follows:
//   SIGSEGV                        34 access violation (41 near the stack guard: stack overflow)
//   SIGFPE integer/float /0        16 division by zero
//   SIGFPE float overflow          36
//   SIGFPE float underflow         38
//   SIGFPE integer overflow        39
//   SIGFPE subscript out of range  35
//   anything else (SIGILL, SIGBUS, inexact, invalid)  32
// A fault on any other thread goes to the previous disposition unchanged: a
// host's own handler runs, and the default action still ends the process.
//
// Throwing from a fault is well defined only in code compiled with
// -fnon-call-exceptions; the library and every target linking QEL::qel are.
// Floating-point faults only occur where the thread unmasked them (feenableexcept).
#pragma once

#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API CFaultTranslator {
  public:
    // Enables translation on the calling thread, with an alternate signal stack
    // so that a stack overflow can still be handled. Idempotent.
    static void InstallOnThisThread();
    // Disables translation on the calling thread and releases its signal stack.
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

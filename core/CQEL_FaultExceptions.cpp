// SPDX-License-Identifier: MIT
// Hardware faults as CQEL_Exception: the platform's fault translator catches
// the signal, this thrower names the reason. Also what happens when libqel is
// loaded into a process: the loading thread is lowered one priority step and
// gets the fault translator.
#include <thread>

#include "core/CQEL_Exception.h"
#include "core/CQEL_String.h"
#include "platform/CFaultTranslator.h"
#include "platform/QEL_System.h"

namespace QEL::Core {

namespace {

EQELExceptionReason ReasonOf(EFault fault) {
    switch (fault) {
        case EFault::AccessViolation:
            return QEL_ACCESS_VIOLATION;
        case EFault::StackOverflow:
            return QEL_STACK_OVERFLOW;
        case EFault::DivisionByZero:
            return QEL_DIVISION_BY_ZERO;
        case EFault::FloatOverflow:
            return QEL_FLOAT_OVERFLOW;
        case EFault::FloatUnderflow:
            return QEL_FLOAT_UNDERFLOW;
        case EFault::IntegerOverflow:
            return QEL_INT_OVERFLOW;
        case EFault::SubscriptOutOfRange:
            return QEL_ARRAY_BOUNDS_EXCEEDED;
        case EFault::Other:
            break;
    }
    return QEL_UNHANDLED;
}

// A fault translated while an overflow holds the stack reserve open.
// Destroying it on its thread closes the reserve again, once the stack has
// left it (the handler that caught it is done by then).
class CFaultWithOpenReserve final : public CQEL_Exception {
  public:
    using CQEL_Exception::CQEL_Exception;
    ~CFaultWithOpenReserve() override {
        if (m_thread == std::this_thread::get_id()) CFaultTranslator::CloseReserveOnThisThread();
    }

  private:
    std::thread::id m_thread = std::this_thread::get_id();
};

[[noreturn]] void ThrowFault(EFault fault) {
    auto const message = CQEL_String::FromASCII("SEH exception occurred, converted to QEL exception");
    auto const location = GetQELExceptionLocation("QEL::Core::CQEL_Exception::QELSEHTranslator", 652);
    if (CFaultTranslator::IsReserveOpenOnThisThread())
        throw CFaultWithOpenReserve(ReasonOf(fault), CQEL_String::Empty(), message, location);
    throw CQEL_Exception(ReasonOf(fault), CQEL_String::Empty(), message, location);
}

__attribute__((constructor)) void OnLibraryLoad() {
    CFaultTranslator::SetThrower(&ThrowFault);
    (void)System::LowerThisThreadPriority();
    CFaultTranslator::InstallOnThisThread();
}

}  // namespace

void CQEL_Exception::QELSEHTranslator(int signal, void* signalInfo, void*) {
    ThrowFault(CFaultTranslator::FaultOf(signal, signalInfo));
}

}  // namespace QEL::Core

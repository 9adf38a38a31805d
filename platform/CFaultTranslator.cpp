// SPDX-License-Identifier: MIT
#include "platform/CFaultTranslator.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <mutex>

#include "core/CQEL_Exception.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
struct sigaction g_previous[4];
std::once_flag g_installed;

struct SThreadState {
    bool enabled = false;
    void* altStack = nullptr;
    std::size_t altStackSize = 0;
    stack_t previousAltStack{};
    std::uintptr_t stackLow = 0;  // lowest usable address of the thread's stack
    std::uintptr_t guard = 0;     // size of the guard area below it
};
thread_local SThreadState t_state;

int SlotOf(int signal) {
    for (int i = 0; i < 4; ++i)
        if (kSignals[i] == signal) return i;
    return -1;
}

// Hands a fault that we do not translate to whatever handled it before us.
void ChainToPrevious(int signal, siginfo_t* info, void* context) {
    struct sigaction const& previous = g_previous[SlotOf(signal)];
    if (previous.sa_flags & SA_SIGINFO) {
        if (previous.sa_sigaction) {
            previous.sa_sigaction(signal, info, context);
            return;
        }
    } else if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
        return;
    }
    // Default action: restore it and return; the faulting instruction runs
    // again and the process ends as it would have without the library.
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    sigaction(signal, &fallback, nullptr);
}

void OnFault(int signal, siginfo_t* info, void* context) {
    if (!t_state.enabled) {
        ChainToPrevious(signal, info, context);
        return;
    }
    // Leaving by an exception skips sigreturn, so unblock the signal ourselves.
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    CQEL_Exception::QELSEHTranslator(signal, info, context);
}

void InstallProcessHandlers() {
    for (int i = 0; i < 4; ++i) {
        struct sigaction action {};
        action.sa_sigaction = OnFault;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
        sigemptyset(&action.sa_mask);
        sigaction(kSignals[i], &action, &g_previous[i]);
    }
}

bool IsStackOverflow(siginfo_t const* info) {
    if (!t_state.stackLow) return false;
    auto const address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    std::uintptr_t const page = std::uintptr_t(sysconf(_SC_PAGESIZE));
    return address + t_state.guard + 16 * page >= t_state.stackLow && address < t_state.stackLow + page;
}

EQELExceptionReason ReasonOf(int signal, siginfo_t const* info) {
    switch (signal) {
        case SIGSEGV:
            return IsStackOverflow(info) ? QEL_STACK_OVERFLOW : QEL_ACCESS_VIOLATION;
        case SIGFPE:
            switch (info->si_code) {
                case FPE_INTDIV:
                case FPE_FLTDIV:
                    return QEL_DIVISION_BY_ZERO;
                case FPE_FLTOVF:
                    return QEL_FLOAT_OVERFLOW;
                case FPE_FLTUND:
                    return QEL_FLOAT_UNDERFLOW;
                case FPE_INTOVF:
                    return QEL_INT_OVERFLOW;
                case FPE_FLTSUB:
                    return QEL_ARRAY_BOUNDS_EXCEEDED;
                default:
                    return QEL_UNHANDLED;
            }
        default:
            return QEL_UNHANDLED;
    }
}

}  // namespace

void CQEL_Exception::QELSEHTranslator(int signal, void* signalInfo, void*) {
    EQELExceptionReason const reason = ReasonOf(signal, static_cast<siginfo_t const*>(signalInfo));
    throw CQEL_Exception(reason, CQEL_String::Empty(),
                         CQEL_String::FromASCII("SEH exception occurred, converted to QEL exception"),
                         GetQELExceptionLocation("QEL::Core::CQEL_Exception::QELSEHTranslator", 652));
}

void CFaultTranslator::InstallOnThisThread() {
    std::call_once(g_installed, InstallProcessHandlers);
    if (t_state.enabled) return;

    // An alternate stack, so that the handler can run when the thread's own stack is exhausted.
    if (!t_state.altStack) {
        std::size_t const size = std::max<std::size_t>(64 * 1024, std::size_t(SIGSTKSZ) * 4);
        void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory != MAP_FAILED) {
            stack_t stack{};
            stack.ss_sp = memory;
            stack.ss_size = size;
            if (sigaltstack(&stack, &t_state.previousAltStack) == 0) {
                t_state.altStack = memory;
                t_state.altStackSize = size;
            } else {
                munmap(memory, size);
            }
        }
    }

    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        void* low = nullptr;
        std::size_t size = 0, guard = 0;
        pthread_attr_getstack(&attributes, &low, &size);
        pthread_attr_getguardsize(&attributes, &guard);
        t_state.stackLow = reinterpret_cast<std::uintptr_t>(low);
        t_state.guard = guard;
        pthread_attr_destroy(&attributes);
    }
    t_state.enabled = true;
}

void CFaultTranslator::UninstallOnThisThread() {
    t_state.enabled = false;
    if (t_state.altStack) {
        sigaltstack(&t_state.previousAltStack, nullptr);
        munmap(t_state.altStack, t_state.altStackSize);
        t_state.altStack = nullptr;
    }
}

bool CFaultTranslator::IsInstalledOnThisThread() {
    return t_state.enabled;
}

CFaultTranslationScope::CFaultTranslationScope()
    : m_wasInstalled(CFaultTranslator::IsInstalledOnThisThread()) {
    CFaultTranslator::InstallOnThisThread();
}

CFaultTranslationScope::~CFaultTranslationScope() {
    if (!m_wasInstalled) CFaultTranslator::UninstallOnThisThread();
}

}  // namespace QEL::Core

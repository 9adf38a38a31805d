// SPDX-License-Identifier: MIT
#include "platform/CFaultTranslator.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <atomic>
#include <mutex>

namespace QEL::Core {

namespace {

// SIGTRAP: single steps after a stack overflow (see the header).
constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};
struct sigaction g_previous[5];
std::once_flag g_installed;
std::atomic<CFaultTranslator::Thrower> g_thrower{nullptr};

// Largest overflow reserve, and the part of a thread's stack it may take at most.
constexpr std::size_t kReserveSize = 64 * 1024;
constexpr std::size_t kReserveShare = 8;

struct SThreadState {
    bool enabled = false;
    void* altStack = nullptr;
    std::size_t altStackSize = 0;
    stack_t previousAltStack{};
    std::uintptr_t stackLow = 0;   // lowest usable address of the thread's stack
    std::uintptr_t guard = 0;      // size of the guard area below it
    std::size_t reserve = 0;       // size of the overflow reserve at stackLow (0: none)
    std::uintptr_t closedTop = 0;  // [stackLow, closedTop) is inaccessible
    int steps = 0;  // instructions left for code let run on after an overflow (0: none runs on)
};
// Trivially destructible: the handler reads it on any thread, where it must
// not register anything.
thread_local SThreadState t_state;

std::uintptr_t PageSize() {
    return std::uintptr_t(sysconf(_SC_PAGESIZE));
}

// Makes the reserve inaccessible again, unless the stack still reaches near it
// (errno tells why mprotect failed).
void CloseReserve() {
    std::uintptr_t const top = t_state.stackLow + t_state.reserve;
    if (!t_state.reserve || t_state.closedTop == top) return;
    auto const here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    if (here < top + t_state.reserve) return;
    if (mprotect(reinterpret_cast<void*>(t_state.stackLow), t_state.reserve, PROT_NONE) == 0)
        t_state.closedTop = top;
}

bool IsReserveClosed() {
    return t_state.reserve && t_state.closedTop == t_state.stackLow + t_state.reserve;
}

// Makes [bottom, closedTop) accessible.
void OpenReserveDownTo(std::uintptr_t bottom) {
    if (bottom >= t_state.closedTop) return;
    mprotect(reinterpret_cast<void*>(bottom), t_state.closedTop - bottom, PROT_READ | PROT_WRITE);
    t_state.closedTop = bottom;
}

// The reserve is whole pages at the bottom of the thread's stack. A main
// thread's stack is grown by the kernel on demand and does not reach that far
// yet: a system call that writes there makes the kernel grow it (the call
// fails, rather than faulting, where the kernel refuses).
void SetUpReserve(std::size_t stackSize) {
    std::uintptr_t const page = PageSize();
    if (t_state.stackLow % page != 0) return;
    t_state.reserve = std::min(kReserveSize, stackSize / kReserveShare) / page * page;
    if (!t_state.reserve) return;
    t_state.closedTop = t_state.stackLow;
    errno = 0;
    CloseReserve();
    if (!IsReserveClosed() && errno == ENOMEM) {
        // Writes the signal mask (8 bytes) there; SIG_BLOCK with no set changes nothing.
        syscall(SYS_rt_sigprocmask, SIG_BLOCK, nullptr, t_state.stackLow, sizeof(std::uint64_t));
        CloseReserve();
    }
    if (!IsReserveClosed()) t_state.reserve = 0;
}

void ReleaseThisThread() {
    t_state.enabled = false;
    OpenReserveDownTo(t_state.stackLow);
    t_state.reserve = 0;
    if (t_state.altStack) {
        sigaltstack(&t_state.previousAltStack, nullptr);
        munmap(t_state.altStack, t_state.altStackSize);
        t_state.altStack = nullptr;
    }
}

// A thread that ends without uninstalling must not leave its stack (which the
// C library reuses for later threads) with an inaccessible reserve.
struct SReleaseAtExit {
    ~SReleaseAtExit() { ReleaseThisThread(); }
};

int SlotOf(int signal) {
    for (int i = 0; i < 5; ++i)
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
    // Default action (a fault cannot be ignored): restore it and return; the
    // faulting instruction runs again and the process ends as it would have
    // without the library. A trap is reported after its instruction, so it is
    // raised again instead, unless it was ignored.
    if (signal == SIGTRAP && !(previous.sa_flags & SA_SIGINFO) && previous.sa_handler == SIG_IGN) return;
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    sigaction(signal, &fallback, nullptr);
    if (signal == SIGTRAP) raise(signal);
}

bool IsStackOverflow(siginfo_t const* info) {
    if (!t_state.stackLow) return false;
    auto const address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    std::uintptr_t const page = PageSize();
    return address + t_state.guard + 16 * page >= t_state.stackLow &&
           address < t_state.stackLow + std::max<std::uintptr_t>(t_state.reserve, page);
}

EFault FaultOfSignal(int signal, siginfo_t const* info) {
    switch (signal) {
        case SIGSEGV:
            return IsStackOverflow(info) ? EFault::StackOverflow : EFault::AccessViolation;
        case SIGFPE:
            switch (info->si_code) {
                case FPE_INTDIV:
                case FPE_FLTDIV:
                    return EFault::DivisionByZero;
                case FPE_FLTOVF:
                    return EFault::FloatOverflow;
                case FPE_FLTUND:
                    return EFault::FloatUnderflow;
                case FPE_INTOVF:
                    return EFault::IntegerOverflow;
                case FPE_FLTSUB:
                    return EFault::SubscriptOutOfRange;
                default:
                    return EFault::Other;
            }
        default:
            return EFault::Other;
    }
}

// --- Stack overflow: the innermost point that may throw ---------------------
#if defined(__x86_64__)

std::uintptr_t ReadULEB(std::uint8_t const*& p) {
    std::uintptr_t value = 0;
    unsigned shift = 0;
    std::uint8_t byte;
    do {
        byte = *p++;
        if (shift < 64) value |= std::uintptr_t(byte & 0x7f) << shift;
        shift += 7;
    } while (byte & 0x80);
    return value;
}

// Reads a field of an LSDA in its DWARF pointer encoding. Only the format
// matters: the fields read are offsets from the function's start, or skipped.
bool ReadEncoded(std::uint8_t const*& p, std::uint8_t encoding, std::uintptr_t& value) {
    auto fixed = [&](auto type) {
        decltype(type) v;
        std::memcpy(&v, p, sizeof v);
        p += sizeof v;
        value = std::uintptr_t(v);
        return true;
    };
    switch (encoding & 0x0f) {
        case 0x00:
            return fixed(std::uintptr_t{});
        case 0x01:
        case 0x09:  // signed: never an offset here, only skipped
            value = ReadULEB(p);
            return true;
        case 0x02:
            return fixed(std::uint16_t{});
        case 0x03:
            return fixed(std::uint32_t{});
        case 0x04:
            return fixed(std::uint64_t{});
        case 0x0a:
            return fixed(std::int16_t{});
        case 0x0b:
            return fixed(std::int32_t{});
        case 0x0c:
            return fixed(std::int64_t{});
        default:
            return false;
    }
}

enum class ECallSite { Uncovered, Covered, Unreadable };

// Finds the entry of the call-site table of an LSDA whose range holds ip, and
// gives that range. A point outside every range is one the compiler took to be
// unable to throw: the C++ personality calls std::terminate there.
ECallSite LookUpCallSite(std::uint8_t const* lsda, std::uintptr_t functionStart, std::uintptr_t ip,
                         std::uintptr_t& first, std::uintptr_t& end) {
    constexpr std::uint8_t kOmit = 0xff;
    std::uint8_t const* p = lsda;
    std::uintptr_t value = 0;
    std::uint8_t const landingPadBase = *p++;
    if (landingPadBase != kOmit && !ReadEncoded(p, landingPadBase, value)) return ECallSite::Unreadable;
    if (*p++ != kOmit) ReadULEB(p);  // offset of the type table
    std::uint8_t const encoding = *p++;
    std::uintptr_t const tableSize = ReadULEB(p);
    std::uint8_t const* const tableEnd = p + tableSize;
    while (p < tableEnd) {
        std::uintptr_t start = 0, length = 0, landingPad = 0;
        if (!ReadEncoded(p, encoding, start) || !ReadEncoded(p, encoding, length) ||
            !ReadEncoded(p, encoding, landingPad))
            return ECallSite::Unreadable;
        ReadULEB(p);                            // action
        if (ip < functionStart + start) break;  // the table is sorted
        if (ip < functionStart + start + length) {
            first = functionStart + start;
            end = first + length;
            return ECallSite::Covered;
        }
    }
    return ECallSite::Uncovered;
}

// Length of the near call at code (E8, or FF /2, after prefixes); 0 for any
// other instruction.
std::uintptr_t CallLength(std::uint8_t const* code) {
    std::uintptr_t n = 0;
    auto const isPrefix = [](std::uint8_t b) {
        return (b & 0xf0) == 0x40 || b == 0x2e || b == 0x3e || b == 0x66 || b == 0x67 || b == 0xf2;
    };
    while (n < 4 && isPrefix(code[n]))
        ++n;
    if (code[n] == 0xe8) return n + 5;
    if (code[n] != 0xff || ((code[n + 1] >> 3) & 7) != 2) return 0;
    unsigned const mod = code[n + 1] >> 6, rm = code[n + 1] & 7;
    n += 2;
    if (mod != 3 && rm == 4) n += (mod == 0 && (code[n] & 7) == 5) ? 5 : 1;  // SIB, without base: disp32
    if (mod == 0 && rm == 5) n += 4;                                         // rip-relative
    return n + (mod == 1 ? 1 : mod == 2 ? 4 : 0);
}

// Whether a call is one that the compiler expects exceptions from: in an
// interrupted frame the call about to run at ip, further out the call in
// progress, which ends at the return address ip. Only the first and the last
// instruction of a range are sure to be such: the compiler also spans
// instructions between them that cannot throw, which may belong to other
// regions (after reordering) and so to other landing pads.
ECallSite LookUpThrowingCall(std::uint8_t const* lsda, std::uintptr_t functionStart, std::uintptr_t ip,
                             bool interrupted) {
    auto const code = [](std::uintptr_t address) { return reinterpret_cast<std::uint8_t const*>(address); };
    std::uintptr_t first = 0, end = 0;
    std::uintptr_t const length = interrupted ? CallLength(code(ip)) : 0;
    if (interrupted && !length) return ECallSite::Uncovered;
    ECallSite const site = LookUpCallSite(lsda, functionStart, interrupted ? ip : ip - 1, first, end);
    if (site != ECallSite::Covered) return site;
    bool const throwing =
        interrupted ? first == ip || end == ip + length : end == ip || CallLength(code(first)) == ip - first;
    return throwing ? ECallSite::Covered : ECallSite::Uncovered;
}

// The registers a call preserves: rbx, rbp, r12 to r15 (DWARF numbers and context slots).
constexpr int kPreservedDwarf[] = {3, 6, 12, 13, 14, 15};
constexpr int kPreservedSlot[] = {REG_RBX, REG_RBP, REG_R12, REG_R13, REG_R14, REG_R15};

struct SThrowPoint {
    std::uintptr_t faultIp = 0;
    bool onlyInterrupted = false;  // look at the interrupted frame only
    bool pastHandler = false;      // the interrupted frame has been reached
    bool found = false;
    bool atFault = false;  // the interrupted instruction itself may throw
    std::uintptr_t ip = 0;
    std::uintptr_t sp = 0;
    std::uintptr_t preserved[6] = {};
};

_Unwind_Reason_Code VisitFrame(_Unwind_Context* frame, void* argument) {
    SThrowPoint& point = *static_cast<SThrowPoint*>(argument);
    int interrupted = 0;
    std::uintptr_t const ip = _Unwind_GetIPInfo(frame, &interrupted);
    if (!point.pastHandler) {
        // Frames of the handler itself, up to the interrupted one.
        if (!interrupted || ip != point.faultIp) return _URC_NO_REASON;
        point.pastHandler = true;
    } else if (interrupted || point.onlyInterrupted) {
        return _URC_END_OF_STACK;  // a signal frame further out: no call to return to
    }
    auto const* lsda = static_cast<std::uint8_t const*>(_Unwind_GetLanguageSpecificData(frame));
    // Without an LSDA there is nothing to run: unwinding passes through.
    ECallSite const site = lsda ? LookUpThrowingCall(lsda, _Unwind_GetRegionStart(frame), ip, interrupted)
                                : ECallSite::Uncovered;
    if (site != ECallSite::Covered)
        return site == ECallSite::Unreadable || point.onlyInterrupted ? _URC_END_OF_STACK : _URC_NO_REASON;
    point.found = true;
    point.atFault = interrupted;
    point.ip = interrupted ? ip : ip - 1;  // inside the call, where the personality looks it up
    point.sp = _Unwind_GetCFA(frame);      // the frame's stack pointer once the call returned
    for (int i = 0; i < 6; ++i)
        point.preserved[i] = _Unwind_GetGR(frame, kPreservedDwarf[i]);
    return _URC_END_OF_STACK;
}

// The innermost point, from the interrupted instruction outwards, where the
// compiler allows an exception (or only whether the instruction is one).
SThrowPoint FindThrowPoint(greg_t const* registers, bool onlyInterrupted) {
    SThrowPoint point;
    point.faultIp = std::uintptr_t(registers[REG_RIP]);
    point.onlyInterrupted = onlyInterrupted;
    _Unwind_Backtrace(VisitFrame, &point);
    return point;
}

// Abandons the frames inside the point: the context becomes its frame's, inside its call.
void MoveTo(SThrowPoint const& point, greg_t* registers) {
    if (point.atFault) return;
    registers[REG_RIP] = greg_t(point.ip);
    registers[REG_RSP] = greg_t(point.sp);
    for (int i = 0; i < 6; ++i)
        registers[kPreservedSlot[i]] = greg_t(point.preserved[i]);
}

constexpr greg_t kTrapFlag = 0x100;
// Enough for the C library's allocator to finish, say; a loop that cannot
// throw and outlasts it is abandoned.
constexpr int kStepBudget = 100000;

void StopStepping(void* context) {
    t_state.steps = 0;
    static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &= ~kTrapFlag;
}

enum class EOverflow { ThrowHere, Resume, Unreceivable };

// Chooses how an overflow is thrown; see the header.
EOverflow OnStackOverflow(siginfo_t const* info, void* context) {
    greg_t* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    bool const armed = IsReserveClosed();
    // Overflowing again while running on: the rest of the reserve is for unwinding.
    bool const runningOn = t_state.steps > 0;
    StopStepping(context);
    if (!armed && !runningOn) return EOverflow::Unreceivable;  // no room to unwind in

    SThrowPoint const point = FindThrowPoint(registers, false);
    if (!point.found) return EOverflow::Unreceivable;
    if (armed && !point.atFault) {
        // Let the interrupted code run on, in the upper half of the reserve,
        // one instruction at a time, up to a call that may throw.
        std::uintptr_t const page = PageSize();
        std::uintptr_t const faultPage = reinterpret_cast<std::uintptr_t>(info->si_addr) / page * page;
        if (faultPage >= t_state.stackLow) {
            OpenReserveDownTo(std::min(faultPage, t_state.stackLow + t_state.reserve / 2 / page * page));
            t_state.steps = kStepBudget;
            registers[REG_EFL] |= kTrapFlag;
            return EOverflow::Resume;
        }
    }
    MoveTo(point, registers);
    OpenReserveDownTo(t_state.stackLow);  // room for the destructors and the unwinder
    return EOverflow::ThrowHere;
}

// One instruction of code let run on after an overflow has been executed.
EOverflow OnStep(void* context) {
    greg_t* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    bool const budgetSpent = --t_state.steps == 0;
    if (!budgetSpent && !(CallLength(reinterpret_cast<std::uint8_t const*>(registers[REG_RIP])) &&
                          FindThrowPoint(registers, true).found))
        return EOverflow::Resume;
    StopStepping(context);
    if (budgetSpent) {
        SThrowPoint const point = FindThrowPoint(registers, false);
        if (!point.found) return EOverflow::Unreceivable;
        MoveTo(point, registers);
    }
    OpenReserveDownTo(t_state.stackLow);  // room for the destructors and the unwinder
    return EOverflow::ThrowHere;
}

#else
void StopStepping(void*) {
    t_state.steps = 0;
}
enum class EOverflow { ThrowHere, Resume, Unreceivable };
EOverflow OnStackOverflow(siginfo_t const*, void*) {
    return EOverflow::Unreceivable;
}
EOverflow OnStep(void*) {
    return EOverflow::Unreceivable;
}
#endif

void OnFault(int signal, siginfo_t* info, void* context) {
    bool const stepping = signal == SIGTRAP && info->si_code == TRAP_TRACE && t_state.steps > 0;
    if (signal == SIGTRAP && !stepping) {
        ChainToPrevious(signal, info, context);  // not ours
        return;
    }
    CFaultTranslator::Thrower const thrower = g_thrower.load(std::memory_order_acquire);
    if (!t_state.enabled || !thrower) {
        if (stepping) {  // the code let run on uninstalled the translator
            StopStepping(context);
        } else {
            ChainToPrevious(signal, info, context);
        }
        return;
    }
    EOverflow action = EOverflow::ThrowHere;
    if (stepping) {
        action = OnStep(context);
    } else if (signal == SIGSEGV && IsStackOverflow(info)) {
        action = OnStackOverflow(info, context);
    } else if (t_state.steps > 0) {
        // Another fault in the code let run on: thrown from there as usual.
        StopStepping(context);
        OpenReserveDownTo(t_state.stackLow);
    }
    if (action == EOverflow::Resume) return;
    if (action == EOverflow::ThrowHere) {
        // Leaving by an exception skips sigreturn, so unblock the signal ourselves.
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, signal);
        pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
        thrower(stepping ? EFault::StackOverflow : FaultOfSignal(signal, info));
    }
    static char const kMessage[] = "QEL: stack overflow that cannot be reported as an exception\n";
    ssize_t const written = write(STDERR_FILENO, kMessage, sizeof kMessage - 1);
    (void)written;
    ChainToPrevious(signal, info, context);
}

void InstallProcessHandlers() {
    for (int i = 0; i < 5; ++i) {
        struct sigaction action {};
        action.sa_sigaction = OnFault;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
        sigemptyset(&action.sa_mask);
        sigaction(kSignals[i], &action, &g_previous[i]);
    }
}

}  // namespace

void CFaultTranslator::SetThrower(Thrower thrower) {
    g_thrower.store(thrower, std::memory_order_release);
}

EFault CFaultTranslator::FaultOf(int signal, void const* signalInfo) {
    return FaultOfSignal(signal, static_cast<siginfo_t const*>(signalInfo));
}

bool CFaultTranslator::IsReserveOpenOnThisThread() {
    return t_state.reserve && !IsReserveClosed();
}

void CFaultTranslator::CloseReserveOnThisThread() {
    CloseReserve();
}

void CFaultTranslator::InstallOnThisThread() {
    std::call_once(g_installed, InstallProcessHandlers);
    if (t_state.enabled) {
        CloseReserve();
        return;
    }
    static thread_local SReleaseAtExit const releaseAtExit;
    (void)releaseAtExit;

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

        SetUpReserve(size);
    }
    t_state.enabled = true;
}

void CFaultTranslator::UninstallOnThisThread() {
    ReleaseThisThread();
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

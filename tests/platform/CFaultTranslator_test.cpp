// SPDX-License-Identifier: MIT
// Hardware faults inside library operations reach the caller as CQEL_Exception
// on threads with the translator, and are left alone on other threads.
#include <gtest/gtest.h>

#include <cfenv>
#include <csignal>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/CQEL_Array.h"
#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "platform/CFaultTranslator.h"
#include "platform/CThreadBasedClass.h"
#include "test_helpers/LineNumbers.h"

using namespace QEL::Core;

namespace {

std::string const kTranslated =
    "Param name -  Location - QEL::Core::CQEL_Exception::QELSEHTranslator @ line 652   ->  Message - SEH "
    "exception occurred, converted to QEL exception ";

// The faults themselves: kept out of line and away from the sanitizers, which
// would otherwise report them before the hardware does.
__attribute__((noinline, no_sanitize("undefined"))) int Divide(int a, int b) {
    return a / b;
}
__attribute__((noinline)) double Multiply(double a, double b) {
    return a * b;
}
__attribute__((noinline, no_sanitize("address", "undefined"))) double ReadPastEnd(
    CQEL_Array<double> const& a) {
    return a[a.Count()];
}
volatile int g_zero = 0;
volatile int g_limit = 1 << 30;  // never reached: the stack runs out first
volatile double g_sink;

// Touches only its own frame: the compiler proves it cannot throw, so its
// callers keep no unwinding information around the call.
__attribute__((noinline)) int Recurse(int depth) {
    volatile char frame[512];
    frame[0] = char(depth);
    if (depth >= g_limit) return 0;
    return Recurse(depth + 1) + frame[0];
}

// Holds an object with a destructor in every frame, and reads through a
// pointer, so that the compiler expects exceptions from it.
int g_live = 0;
int g_one = 1;
int const* volatile g_step = &g_one;  // only known at run time
struct SLive {
    SLive() { ++g_live; }
    ~SLive() { --g_live; }
};
__attribute__((noinline)) int RecurseHoldingObjects(int depth, int const* step) {
    SLive live;
    volatile char frame[512];
    frame[0] = char(depth);
    if (depth >= g_limit) return 0;
    return RecurseHoldingObjects(depth + *step, step) + frame[0];
}

// The same, with a call whose frame is far larger than the caller's: the stack
// runs out inside it, at a point that cannot throw, and it must finish first.
volatile int g_leavesEntered = 0;
volatile int g_leavesLeft = 0;
__attribute__((noinline)) int Leaf(int const* step) {
    g_leavesEntered = g_leavesEntered + 1;
    volatile char buffer[4096];
    buffer[0] = char(*step);
    g_leavesLeft = g_leavesLeft + 1;
    return buffer[0];
}
__attribute__((noinline)) int RecurseThroughLeaves(int depth, int const* step) {
    SLive live;
    volatile char frame[1024];
    frame[0] = char(Leaf(step));
    if (depth >= g_limit) return 0;
    return RecurseThroughLeaves(depth + *step, step) + frame[0];
}

// Allocates in every frame: the stack often runs out inside the allocator,
// which must finish first (abandoned, it would keep its lock).
__attribute__((noinline)) double RecurseAllocating(int depth, std::vector<double> const& values) {
    SLive live;
    std::vector<double> copy(values);
    if (depth >= g_limit) return 0;
    return RecurseAllocating(depth + 1, copy) + copy[0];
}

// An exported operation that does whatever body it is given.
template <class F>
auto Operation(F&& body) {
    static CQEL_Operation const op("QEL::Test::Faulting");
    return op.Run(body);
}

class CWorker : public CThreadBasedClass {
  public:
    explicit CWorker(void (*body)()) : m_body(body) {}
    ~CWorker() override {
        try {
            Wait();
        } catch (...) {
        }
    }

  protected:
    void Run() override { m_body(); }

  private:
    void (*m_body)();
};

struct SFloatTraps {
    explicit SFloatTraps(int traps) : m_traps(traps) { feenableexcept(traps); }
    ~SFloatTraps() {
        fedisableexcept(m_traps);
        feclearexcept(FE_ALL_EXCEPT);
    }
    int m_traps;
};

}  // namespace

TEST(FaultTranslator, LoadingThreadTranslatesDivisionByZeroAndAccessViolation) {
    ASSERT_TRUE(CFaultTranslator::IsInstalledOnThisThread());
    auto const e = Caught([] { Operation([] { g_sink = Divide(1, g_zero); }); });
    EXPECT_EQ(e.GetExceptionReason(), QEL_DIVISION_BY_ZERO);
    EXPECT_EQ(std::string(e.what()), kTranslated + "Maths Exception: Division by zero!");
    // The thread goes on working and translating.
    EXPECT_EQ(Divide(6, 3), 2);
    CQEL_Array<double> values(3);
    auto const access = Caught([&] { Operation([&] { g_sink = ReadPastEnd(values); }); });
    EXPECT_EQ(access.GetExceptionReason(), QEL_ACCESS_VIOLATION);
    EXPECT_EQ(std::string(access.what()), kTranslated + "Low level Exception: Access Violation!");
}

TEST(FaultTranslator, FloatingTrapsMapToTheirReasons) {
    struct SCase {
        int trap;
        void (*fault)();
        EQELExceptionReason reason;
    };
    SCase const cases[] = {
        {FE_OVERFLOW, [] { g_sink = Multiply(1e308, 1e10); }, QEL_FLOAT_OVERFLOW},
        {FE_UNDERFLOW, [] { g_sink = Multiply(1e-308, 1e-100); }, QEL_FLOAT_UNDERFLOW},
        {FE_DIVBYZERO, [] { g_sink = 1.0 / Multiply(g_zero, 1.0); }, QEL_DIVISION_BY_ZERO},
        {FE_INVALID, [] { g_sink = Multiply(g_zero, 1.0) / Multiply(g_zero, 1.0); },
         QEL_UNHANDLED},  // not singled out
    };
    for (SCase const& c : cases) {
        SFloatTraps traps(c.trap);
        EXPECT_EQ(Caught([&] { Operation(c.fault); }).GetExceptionReason(), c.reason) << c.trap;
    }
}

TEST(FaultTranslator, LibraryThreadsTranslateAndReportThroughWait) {
    CWorker divide([] { Operation([] { g_sink = Divide(1, g_zero); }); });
    ASSERT_TRUE(divide.Start());
    EXPECT_EQ(Caught([&] { divide.Wait(); }).GetExceptionReason(), QEL_DIVISION_BY_ZERO);
    EXPECT_TRUE(divide.IsFinished());

    CWorker clean([] { EXPECT_TRUE(CFaultTranslator::IsInstalledOnThisThread()); });
    ASSERT_TRUE(clean.Start());
    EXPECT_NO_THROW(clean.Wait());

    // A stack overflow through frames compiled as unable to throw: the thread's own frame reports it.
    CWorker overflow([] { Operation([] { g_sink = Recurse(0); }); });
    ASSERT_TRUE(overflow.Start());
    auto const e = Caught([&] { overflow.Wait(); });
    EXPECT_EQ(e.GetExceptionReason(), QEL_STACK_OVERFLOW);
    EXPECT_EQ(std::string(e.what()), kTranslated + "Low level Exception: Stack Overflow!");
}

// Overflows twice on the calling thread through g_overflow, inside an
// operation with a handler right around it, and keeps what the handler saw.
void (*g_overflow)();
std::string g_caught[2];
int g_liveAtCatch[2];
int g_leavesUnfinished[2];

void OverflowTwice() {
    for (int i = 0; i < 2; ++i) {
        g_caught[i].clear();
        g_liveAtCatch[i] = g_leavesUnfinished[i] = -1;
        try {
            Operation(g_overflow);
        } catch (CQEL_Exception const& caught) {
            g_caught[i] = caught.what();
            g_liveAtCatch[i] = g_live;
            g_leavesUnfinished[i] = g_leavesEntered - g_leavesLeft;
        }
    }
}

TEST(FaultTranslator, StackOverflowReachesNearestHandlerAfterEveryFrameIsCleanedUp) {
    void (*const overflows[])() = {
        [] { g_sink = RecurseHoldingObjects(0, g_step); },
        [] { g_sink = RecurseThroughLeaves(0, g_step); },
        [] { g_sink = RecurseAllocating(0, std::vector<double>(4, 1.0)); },
    };
    for (int k = 0; k < 3; ++k) {
        g_overflow = overflows[k];
        for (bool const onLibraryThread : {true, false}) {
            if (onLibraryThread) {
                CWorker worker(OverflowTwice);
                ASSERT_TRUE(worker.Start());
                EXPECT_NO_THROW(worker.Wait());
            } else {
                OverflowTwice();  // on the loading thread
            }
            // Twice on one thread: the second overflow must find the same room to unwind in.
            for (int i = 0; i < 2; ++i) {
                SCOPED_TRACE(testing::Message()
                             << "recursion " << k << (onLibraryThread ? ", library" : ", loading")
                             << " thread, overflow " << i);
                EXPECT_EQ(g_caught[i], kTranslated + "Low level Exception: Stack Overflow!");
                EXPECT_EQ(g_liveAtCatch[i], 0);
                EXPECT_EQ(g_leavesUnfinished[i], 0);
            }
        }
    }
}

TEST(FaultTranslatorDeathTest, StackOverflowThatCannotBeReportedEndsTheProcessWithAMessage) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    char const* const message = "QEL: stack overflow that cannot be reported as an exception";
    // No frame on the stack expects an exception.
    EXPECT_DEATH(
        {
            pthread_t host;
            pthread_create(
                &host, nullptr,
                [](void*) -> void* {
                    CFaultTranslator::InstallOnThisThread();
                    g_sink = Recurse(0);
                    return nullptr;
                },
                nullptr);
            pthread_join(host, nullptr);
        },
        message);
    // The exception that reported the previous overflow still exists: no room to unwind in.
    EXPECT_DEATH(
        {
            std::exception_ptr kept;
            try {
                Operation([] { g_sink = RecurseHoldingObjects(0, g_step); });
            } catch (CQEL_Exception const&) {
                kept = std::current_exception();
            }
            g_sink = RecurseHoldingObjects(0, g_step);
        },
        message);
}

TEST(FaultTranslatorDeathTest, TrapsNotFromAStackOverflowKeepTheirDefault) {
    EXPECT_EXIT(raise(SIGTRAP), testing::KilledBySignal(SIGTRAP), "");
}

TEST(FaultTranslatorDeathTest, HostThreadFaultsAreNotSwallowed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            std::thread host([] {
                EXPECT_FALSE(CFaultTranslator::IsInstalledOnThisThread());
                try {
                    Divide(1, g_zero);
                } catch (...) {
                    std::_Exit(0);  // swallowed: the death test fails
                }
            });
            host.join();
        },
        "");
}

TEST(FaultTranslator, ScopeEnablesTranslationOnAHostThread) {
    std::thread host([] {
        CFaultTranslationScope scope;
        EXPECT_EQ(Caught([] { Operation([] { g_sink = Divide(1, g_zero); }); }).GetExceptionReason(),
                  QEL_DIVISION_BY_ZERO);
    });
    host.join();
}

TEST(LibraryLoad, LoadingThreadRunsOneStepBelowItsParent) {
    // The loading thread starts with its parent's nice value (ctest or a shell, which do not load QEL).
    errno = 0;
    int const parent = getpriority(PRIO_PROCESS, id_t(getppid()));
    ASSERT_EQ(errno, 0);
    EXPECT_EQ(getpriority(PRIO_PROCESS, id_t(gettid())), std::min(parent + 1, 19));
}

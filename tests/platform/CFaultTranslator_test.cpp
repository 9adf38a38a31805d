// SPDX-License-Identifier: MIT
// Hardware faults inside library operations reach the caller as CQEL_Exception
// on threads with the translator, and are left alone on other threads.
#include <gtest/gtest.h>

#include <cfenv>
#include <csignal>
#include <string>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/CQEL_Array.h"
#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "platform/CFaultTranslator.h"
#include "platform/CThreadBasedClass.h"

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

__attribute__((noinline)) int Recurse(int depth) {
    volatile char frame[512];
    frame[0] = char(depth);
    if (depth >= g_limit) return 0;
    return Recurse(depth + 1) + frame[0];
}

// An exported operation that does whatever body it is given.
template <class F>
auto Operation(F&& body) {
    static CQEL_Operation const op("QEL::Test::Faulting");
    return op.Run(body);
}

template <class F>
CQEL_Exception Caught(F&& call) {
    try {
        call();
    } catch (CQEL_Exception const& e) {
        return e;
    }
    ADD_FAILURE() << "no CQEL_Exception";
    return CQEL_Exception(QEL_UNHANDLED, CQEL_String());
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

TEST(FaultTranslator, LoadingThreadTranslatesDivisionByZero) {
    ASSERT_TRUE(CFaultTranslator::IsInstalledOnThisThread());
    auto const e = Caught([] { Operation([] { g_sink = Divide(1, g_zero); }); });
    EXPECT_EQ(e.GetExceptionReason(), QEL_DIVISION_BY_ZERO);
    EXPECT_EQ(std::string(e.what()), kTranslated + "Maths Exception: Division by zero!");
    // The thread goes on working and translating.
    EXPECT_EQ(Divide(6, 3), 2);
    EXPECT_EQ(Caught([] { Operation([] { g_sink = Divide(2, g_zero); }); }).GetExceptionReason(),
              QEL_DIVISION_BY_ZERO);
}

TEST(FaultTranslator, ReadThroughInvalidAddressIsAccessViolation) {
    CQEL_Array<double> values(3);
    auto const e = Caught([&] { Operation([&] { g_sink = ReadPastEnd(values); }); });
    EXPECT_EQ(e.GetExceptionReason(), QEL_ACCESS_VIOLATION);
    EXPECT_EQ(std::string(e.what()), kTranslated + "Low level Exception: Access Violation!");
}

TEST(FaultTranslator, FloatingTrapsMapToTheirReasons) {
    {
        SFloatTraps traps(FE_OVERFLOW);
        EXPECT_EQ(Caught([] { Operation([] { g_sink = Multiply(1e308, 1e10); }); }).GetExceptionReason(),
                  QEL_FLOAT_OVERFLOW);
    }
    {
        SFloatTraps traps(FE_UNDERFLOW);
        EXPECT_EQ(Caught([] { Operation([] { g_sink = Multiply(1e-308, 1e-100); }); }).GetExceptionReason(),
                  QEL_FLOAT_UNDERFLOW);
    }
    {
        SFloatTraps traps(FE_DIVBYZERO);
        EXPECT_EQ(
            Caught([] { Operation([] { g_sink = 1.0 / Multiply(g_zero, 1.0); }); }).GetExceptionReason(),
            QEL_DIVISION_BY_ZERO);
    }
    {
        SFloatTraps traps(FE_INVALID);  // not singled out
        EXPECT_EQ(Caught([] {
                      Operation([] { g_sink = Multiply(g_zero, 1.0) / Multiply(g_zero, 1.0); });
                  }).GetExceptionReason(),
                  QEL_UNHANDLED);
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
}

TEST(FaultTranslator, DISABLED_StackOverflowOnLibraryThreadIsReported) {
    CWorker overflow([] { Operation([] { g_sink = Recurse(0); }); });
    ASSERT_TRUE(overflow.Start());
    EXPECT_EQ(Caught([&] { overflow.Wait(); }).GetExceptionReason(), QEL_STACK_OVERFLOW);
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

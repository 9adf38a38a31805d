// SPDX-License-Identifier: MIT
// Time measurement of the library's operations.
//
// CQEL_Timer is a stopwatch on the monotonic clock. CQEL_ScopedTimer reports,
// when it goes out of scope, how long its scope took through the text channel
// of CQEL_Output_Events, as
//     "<what> took = <milliseconds>"
// with the milliseconds printed with three decimals ("%.3f", so microsecond
// resolution, and no unit): "CPointSet_Create::Sphere took = 12.345".
//
//     void CPointSet_Create::Sphere(...) {
//         CQEL_ScopedTimer const timer("CPointSet_Create::Sphere");
//         ...
//     }
#pragma once

#include <chrono>

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API CQEL_Timer {
  public:
    // Starts running at construction.
    CQEL_Timer() { Restart(); }

    void Restart() { m_start = std::chrono::steady_clock::now(); }
    // Time since construction or the last Restart, in milliseconds (never negative).
    double GetElapsedMilliseconds() const {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - m_start).count();
    }

  private:
    std::chrono::steady_clock::time_point m_start;
};

class QEL_API CQEL_ScopedTimer {
  public:
    explicit CQEL_ScopedTimer(char const* what);
    explicit CQEL_ScopedTimer(CQEL_String const& what);
    // Sends the report unless Cancel was called. An exception thrown by a
    // handler of the text channel is swallowed (a destructor must not throw).
    ~CQEL_ScopedTimer();
    CQEL_ScopedTimer(CQEL_ScopedTimer const&) = delete;
    CQEL_ScopedTimer& operator=(CQEL_ScopedTimer const&) = delete;

    // Time since construction, in milliseconds.
    double GetElapsedMilliseconds() const { return m_timer.GetElapsedMilliseconds(); }
    // Drops the report (for example when the operation failed).
    void Cancel() { m_cancelled = true; }

    // The report text for what and milliseconds: "<what> took = <milliseconds, %.3f>".
    static CQEL_String FormatReport(CQEL_String const& what, double milliseconds);

  private:
    CQEL_String m_what;
    CQEL_Timer m_timer;
    bool m_cancelled = false;
};

}  // namespace QEL::Core

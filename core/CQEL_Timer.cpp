// SPDX-License-Identifier: MIT
#include "core/CQEL_Timer.h"

#include "core/CQEL_Output_Events.h"

namespace QEL::Core {

CQEL_ScopedTimer::CQEL_ScopedTimer(char const* what) : m_what(CQEL_String::FromASCII(what)) {}

CQEL_ScopedTimer::CQEL_ScopedTimer(CQEL_String const& what) : m_what(what) {}

CQEL_ScopedTimer::~CQEL_ScopedTimer() {
    if (m_cancelled) return;
    try {
        CQEL_Output_Events::Text(FormatReport(m_what, GetElapsedMilliseconds()));
    } catch (...) {
        // A report is not worth terminating the process for.
    }
}

CQEL_String CQEL_ScopedTimer::FormatReport(CQEL_String const& what, double milliseconds) {
    return CQEL_String::FromFormat("%s took = %.3f", what.GetArray(), milliseconds);
}

}  // namespace QEL::Core

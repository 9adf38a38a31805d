// SPDX-License-Identifier: MIT
#include "formats/CProgressText.h"

#include <algorithm>

#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

CProgressText::CProgressText(std::string label, std::int64_t total)
    : m_label(std::move(label)), m_total(total), m_start(Clock::now()), m_last(m_start) {}

CProgressText::~CProgressText() {
    if (!m_reported) return;
    try {
        CQEL_Output_Events::Text(CQEL_String::FromFormat("  %s: done", m_label.c_str()));
    } catch (...) {  // a destructor must not throw; progress is only informative
    }
}

void CProgressText::Report(std::int64_t done) {
    Clock::time_point const now = Clock::now();
    if (now - m_start < kQuiet || now - m_last < kQuiet) return;
    m_last = now;
    m_reported = true;
    int const percent = m_total > 0 ? int(std::min<std::int64_t>(100, done * 100 / m_total)) : 0;
    CQEL_Output_Events::Text(CQEL_String::FromFormat("  %s: %d%%", m_label.c_str(), percent));
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// Progress of long file operations, sent as texts through CQEL_Output_Events
// (internal to the library). Nothing is sent for work that ends within a
// quarter of a second; after that, at most one "  <label>: <n>%" text per
// quarter second (often enough for a host to show a moving figure), and
// "  <label>: done" at the end if anything was sent.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace QEL::Core {

class CProgressText {
  public:
    CProgressText(std::string label, std::int64_t total);
    ~CProgressText();
    CProgressText(CProgressText const&) = delete;
    CProgressText& operator=(CProgressText const&) = delete;

    // Cheap enough to call every few thousand elements.
    void Update(std::int64_t done) {
        if (++m_calls % 64 == 0) Report(done);
    }
    void Report(std::int64_t done);

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kQuiet{250};
    std::string m_label;
    std::int64_t m_total;
    std::uint64_t m_calls = 0;
    Clock::time_point m_start;
    Clock::time_point m_last;
    bool m_reported = false;
};

}  // namespace QEL::Core

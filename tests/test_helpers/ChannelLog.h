// SPDX-License-Identifier: MIT
// The messages of one output channel while the log lives.
#pragma once

#include <string>
#include <vector>

#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"

namespace QEL::Test {

struct SChannelLog {
    explicit SChannelLog(QEL::Core::CQEL_Output_Events::EChannel channel) : m_channel(channel) {
        QEL::Core::CQEL_Output_Events::Attach(channel, &Take, this);
    }
    ~SChannelLog() { QEL::Core::CQEL_Output_Events::Detach(m_channel, &Take, this); }
    SChannelLog(SChannelLog const&) = delete;
    SChannelLog& operator=(SChannelLog const&) = delete;
    static void Take(QEL::Core::CQEL_Output_Events::EChannel, QEL::Core::CQEL_String const& text,
                     void* user) {
        static_cast<SChannelLog*>(user)->lines.emplace_back(text.GetArray(), std::size_t(text.Length()));
    }
    QEL::Core::CQEL_Output_Events::EChannel m_channel;
    std::vector<std::string> lines;
};

}  // namespace QEL::Test

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/CQEL_Output_Events.h"
#include "core/CQEL_Timer.h"

using namespace QEL::Core;
using EChannel = CQEL_Output_Events::EChannel;

namespace {

struct SReceived {
    std::vector<std::string> texts;
};

void Receive(EChannel channel, CQEL_String const& message, void* user) {
    static char const* const names[] = {"warning", "text", "debug"};
    static_cast<SReceived*>(user)->texts.push_back(std::string(names[int(channel)]) + ": " +
                                                   message.GetArray());
}

std::vector<std::string> g_direct;
void ReceiveDirect(CQEL_Output_Events& sender, CQEL_String const& message) {
    EXPECT_EQ(&sender, &CQEL_Output_Events::Instance());
    g_direct.emplace_back(message.GetArray());
}

}  // namespace

TEST(OutputEvents, AttachedAndRegisteredHandlers_ReceiveTheirChannelOnly) {
    SReceived first, second;
    CQEL_Output_Events::Attach(EChannel::Warning, Receive, &first);
    CQEL_Output_Events::Attach(EChannel::Warning, Receive, &first);  // no-op
    CQEL_Output_Events::Attach(EChannel::Text, Receive, &second);
    CQEL_Output_Events::GetTextEvent().Register(&ReceiveDirect);

    CQEL_Output_Events::Warning(CQEL_String::FromASCII("w1"));
    CQEL_Output_Events::Text(CQEL_String::FromASCII("t1"));
    CQEL_Output_Events::Debug(CQEL_String::FromASCII("nobody listens"));
    EXPECT_EQ(first.texts, (std::vector<std::string>{"warning: w1"}));
    EXPECT_EQ(second.texts, (std::vector<std::string>{"text: t1"}));
    EXPECT_EQ(g_direct, (std::vector<std::string>{"t1"}));

    EXPECT_TRUE(CQEL_Output_Events::Detach(EChannel::Warning, Receive, &first));
    EXPECT_FALSE(CQEL_Output_Events::Detach(EChannel::Warning, Receive, &first));
    EXPECT_FALSE(CQEL_Output_Events::Detach(EChannel::Text, Receive, &first));  // other user pointer
    CQEL_Output_Events::GetTextEvent().Disable();
    CQEL_Output_Events::Warning(CQEL_String::FromASCII("w2"));
    CQEL_Output_Events::Text(CQEL_String::FromASCII("t2"));
    CQEL_Output_Events::GetTextEvent().Enable();
    EXPECT_EQ(first.texts.size(), 1u);
    EXPECT_EQ(second.texts.size(), 1u);

    EXPECT_TRUE(CQEL_Output_Events::Detach(EChannel::Text, Receive, &second));
    EXPECT_TRUE(CQEL_Output_Events::GetTextEvent().Unregister(&ReceiveDirect));
    EXPECT_EQ(CQEL_Output_Events::GetWarningEvent().GetName(), CQEL_String::FromASCII("Warning"));
    EXPECT_THROW(CQEL_Output_Events::Attach(EChannel::Debug, nullptr), CQEL_Exception);
    EXPECT_THROW(CQEL_Output_Events::Attach(EChannel(3), Receive), CQEL_Exception);
}

TEST(OutputEvents, ScopedTimer_ReportsThroughTheTextChannelUnlessCancelled) {
    EXPECT_EQ(CQEL_ScopedTimer::FormatReport(CQEL_String::FromASCII("Sphere"), 12.3456),
              CQEL_String::FromASCII("Sphere took = 12.346"));
    SReceived received;
    CQEL_Output_Events::Attach(EChannel::Text, Receive, &received);
    {
        CQEL_ScopedTimer const timer("Loading");
        EXPECT_GE(timer.GetElapsedMilliseconds(), 0.0);
    }
    {
        CQEL_ScopedTimer timer(CQEL_String::FromASCII("Failed"));
        timer.Cancel();
    }
    CQEL_Output_Events::Detach(EChannel::Text, Receive, &received);
    ASSERT_EQ(received.texts.size(), 1u);
    EXPECT_EQ(received.texts[0].rfind("text: Loading took = ", 0), 0u) << received.texts[0];
    std::string const number = received.texts[0].substr(std::string("text: Loading took = ").size());
    EXPECT_EQ(number.size() - number.find('.'), 4u) << number;  // three decimals
}

// SPDX-License-Identifier: MIT
#include "core/CQEL_Output_Events.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

struct SChannels {
    std::mutex lock;
    std::vector<std::pair<CQEL_Output_Events::Handler, void*>> handlers[3];
};

SChannels& Channels() {
    static SChannels* channels = new SChannels;  // outlives static destructors that may still report
    return *channels;
}

void Send(CQEL_Output_Events::EChannel channel, CQEL_String const& message) {
    std::vector<std::pair<CQEL_Output_Events::Handler, void*>> snapshot;
    {
        SChannels& channels = Channels();
        std::lock_guard guard(channels.lock);
        snapshot = channels.handlers[int(channel)];
    }
    for (auto const& [handler, user] : snapshot)
        handler(channel, message, user);
}

}  // namespace

void CQEL_Output_Events::Warning(CQEL_String const& message) {
    Send(EChannel::Warning, message);
}
void CQEL_Output_Events::Text(CQEL_String const& message) {
    Send(EChannel::Text, message);
}
void CQEL_Output_Events::Debug(CQEL_String const& message) {
    Send(EChannel::Debug, message);
}

void CQEL_Output_Events::Attach(EChannel channel, Handler handler, void* user) {
    SChannels& channels = Channels();
    std::lock_guard guard(channels.lock);
    auto& list = channels.handlers[int(channel)];
    if (std::find(list.begin(), list.end(), std::pair{handler, user}) == list.end())
        list.emplace_back(handler, user);
}

bool CQEL_Output_Events::Detach(EChannel channel, Handler handler, void* user) {
    SChannels& channels = Channels();
    std::lock_guard guard(channels.lock);
    auto& list = channels.handlers[int(channel)];
    auto found = std::find(list.begin(), list.end(), std::pair{handler, user});
    if (found == list.end()) return false;
    list.erase(found);
    return true;
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "core/CQEL_Output_Events.h"

#include <memory>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

using COutputEvent = CQEL_Output_Events::COutputEvent;

struct SChannels {
    COutputEvent warning{CQEL_String::FromASCII("Warning")};
    COutputEvent text{CQEL_String::FromASCII("Text")};
    COutputEvent debug{CQEL_String::FromASCII("Debug")};
};

SChannels& Channels() {
    static SChannels* channels = new SChannels;  // outlives static destructors that may still report
    return *channels;
}

// A function pointer attached with a user pointer. Its key (object = user,
// function = the pointer) lets Detach find it again.
class CAttachedHandler final : public CQEL_Event_Handler_Base<CQEL_Output_Events, CQEL_String const&> {
  public:
    CAttachedHandler(CQEL_Output_Events::EChannel channel, CQEL_Output_Events::Handler handler, void* user)
        : CQEL_Event_Handler_Base(Key(handler, user)), m_channel(channel), m_handler(handler), m_user(user) {}

    static SEventHandlerKey Key(CQEL_Output_Events::Handler handler, void* user) {
        return SEventHandlerKey::Make(EEventHandlerKind::Custom, user, handler);
    }
    EEventAction Invoke(CQEL_Output_Events&, CQEL_String const& message) override {
        m_handler(m_channel, message, m_user);
        return QEL_EVENT_CONTINUE;
    }
    char const* GetKindName() const override { return "CQEL_Output_Events attached function"; }

  private:
    CQEL_Output_Events::EChannel m_channel;
    CQEL_Output_Events::Handler m_handler;
    void* m_user;
};

}  // namespace

CQEL_Output_Events& CQEL_Output_Events::Instance() {
    static CQEL_Output_Events* instance = new CQEL_Output_Events;
    return *instance;
}

COutputEvent& CQEL_Output_Events::GetWarningEvent() {
    return Channels().warning;
}
COutputEvent& CQEL_Output_Events::GetTextEvent() {
    return Channels().text;
}
COutputEvent& CQEL_Output_Events::GetDebugEvent() {
    return Channels().debug;
}

COutputEvent& CQEL_Output_Events::GetEvent(EChannel channel) {
    switch (channel) {
        case EChannel::Warning:
            return GetWarningEvent();
        case EChannel::Text:
            return GetTextEvent();
        case EChannel::Debug:
            return GetDebugEvent();
    }
    static CQEL_Operation const op("QEL::Core::CQEL_Output_Events::GetEvent");
    op.Throw(QEL_PARAMETER_OUT_OF_RANGE, "channel", "Parameter out of range");
}

void CQEL_Output_Events::Warning(CQEL_String const& message) {
    GetWarningEvent().NotifyAll(Instance(), message);
}
void CQEL_Output_Events::Text(CQEL_String const& message) {
    GetTextEvent().NotifyAll(Instance(), message);
}
void CQEL_Output_Events::Debug(CQEL_String const& message) {
    GetDebugEvent().NotifyAll(Instance(), message);
}

void CQEL_Output_Events::Attach(EChannel channel, Handler handler, void* user) {
    static CQEL_Operation const op("QEL::Core::CQEL_Output_Events::Attach");
    op.Run([&] {
        op.Check(handler != nullptr, QEL_NULL_PARAMETER, "handler", "Null Pointer");
        GetEvent(channel).RegisterHandler(std::make_unique<CAttachedHandler>(channel, handler, user));
    });
}

bool CQEL_Output_Events::Detach(EChannel channel, Handler handler, void* user) {
    static CQEL_Operation const op("QEL::Core::CQEL_Output_Events::Detach");
    return op.Run([&] { return GetEvent(channel).UnregisterHandler(CAttachedHandler::Key(handler, user)); });
}

}  // namespace QEL::Core

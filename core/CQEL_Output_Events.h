// SPDX-License-Identifier: MIT
// The library's output channels. The library never prints: warnings, progress
// texts, timings and debug texts go out through three process-wide events, the
// warning, text and debug channels, to whatever handlers the host registered.
// With no handler registered a message is dropped.
//
// A host either registers any kind of handler directly on a channel's event
//
//     CQEL_Output_Events::GetWarningEvent().Register(&ShowWarning);  // void ShowWarning(CQEL_String const&)
//
// or attaches a plain function pointer with a user pointer (Attach/Detach);
// both end up as handlers of the same events, called in registration order.
// Disabling a channel's event silences it. The channels and the sender passed
// to handlers live until the process ends, so messages sent from static
// destructors still arrive.
#pragma once

#include "core/CQEL_Event.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class CQEL_String;

class QEL_API CQEL_Output_Events {
  public:
    enum class EChannel : int { Warning = 0, Text = 1, Debug = 2 };
    using Handler = void (*)(EChannel channel, CQEL_String const& message, void* user);
    // The event type of the channels; the sender is Instance().
    using COutputEvent = CQEL_Event<CQEL_Output_Events, CQEL_String const&>;

    CQEL_Output_Events(CQEL_Output_Events const&) = delete;
    CQEL_Output_Events& operator=(CQEL_Output_Events const&) = delete;

    // Notify the channel's event with (Instance(), message).
    static void Warning(CQEL_String const& message);
    static void Text(CQEL_String const& message);
    static void Debug(CQEL_String const& message);

    // The channel events, named "Warning", "Text" and "Debug".
    static COutputEvent& GetWarningEvent();
    static COutputEvent& GetTextEvent();
    static COutputEvent& GetDebugEvent();
    // The event of channel; a value outside the three channels throws reason 5 ("channel").
    static COutputEvent& GetEvent(EChannel channel);
    // The sender handed to the channels' handlers.
    static CQEL_Output_Events& Instance();

    // Registers handler(channel, message, user) on the channel; attaching the
    // same (handler, user) twice is a no-op. A null handler throws reason 0
    // ("handler"), an unknown channel reason 5 ("channel").
    static void Attach(EChannel channel, Handler handler, void* user = nullptr);
    // Detaches it; returns whether it was attached.
    static bool Detach(EChannel channel, Handler handler, void* user = nullptr);

  private:
    CQEL_Output_Events() = default;
};

}  // namespace QEL::Core

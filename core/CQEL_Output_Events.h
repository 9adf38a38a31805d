// SPDX-License-Identifier: MIT
// The library's output channels. The library never prints: warnings, progress
// texts, timings and debug texts go out through these process-wide channels to
// whatever handlers the host attached. With no handler attached a message is
// dropped.
#pragma once

#include "core/QEL_Export.h"

namespace QEL::Core {

class CQEL_String;

class QEL_API CQEL_Output_Events {
  public:
    enum class EChannel : int { Warning = 0, Text = 1, Debug = 2 };
    using Handler = void (*)(EChannel channel, CQEL_String const& message, void* user);

    static void Warning(CQEL_String const& message);
    static void Text(CQEL_String const& message);
    static void Debug(CQEL_String const& message);

    // Attaches a handler to one channel; attaching the same (handler, user) twice is a no-op.
    static void Attach(EChannel channel, Handler handler, void* user = nullptr);
    // Detaches it; returns whether it was attached.
    static bool Detach(EChannel channel, Handler handler, void* user = nullptr);
};

}  // namespace QEL::Core

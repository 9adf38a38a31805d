// SPDX-License-Identifier: MIT
// The reason of the CQEL_Exception that a call throws.
#pragma once

#include <functional>

#include "core/CQEL_Exception.h"

// The reason code, or -1 when the call throws no CQEL_Exception.
inline int ReasonOf(std::function<void()> const& call) {
    try {
        call();
    } catch (QEL::Core::CQEL_Exception const& e) {
        return e.GetExceptionReason();
    }
    return -1;
}

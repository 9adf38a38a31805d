// SPDX-License-Identifier: MIT
// Out-of-line, cold throw helpers of the template containers. Keeping them out
// of the templates keeps the hot paths small and lets the headers of the
// containers stand before the string class that composes the messages.
#pragma once

#include <string_view>

#include "core/CQEL_Exception.h"

namespace QEL::Core::Detail {

// Location: "QEL::Core::<container><<typeName>>::<operation>" at line.
struct SContainerSite {
    char const* container;  // "CQEL_Array"
    std::string_view typeName;
    char const* operation;
    long line;
};

// Constructor 1 of CQEL_Exception: location followed by the standard text.
[[noreturn]] QEL_API void ThrowContainerError(SContainerSite const& site, EQELExceptionReason reason);
// Constructor 2: parameter name (may be empty), message and standard text.
[[noreturn]] QEL_API void ThrowContainerError(SContainerSite const& site, EQELExceptionReason reason,
                                              char const* paramName, char const* message);

}  // namespace QEL::Core::Detail

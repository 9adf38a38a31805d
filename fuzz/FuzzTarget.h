// SPDX-License-Identifier: MIT
// What every fuzz target shares: a library failure reported as a
// CQEL_Exception is the expected answer to bad input; anything else, and a
// translated hardware fault, is a finding.
#pragma once

#include <cstdlib>

#include "core/CQEL_Exception.h"

namespace QEL::Fuzz {

template <class Body>
void ExpectOnlyQELExceptions(Body&& body) {
    try {
        body();
    } catch (QEL::Core::CQEL_Exception const& e) {
        switch (e.GetExceptionReason()) {
            case QEL::Core::QEL_ACCESS_VIOLATION:
            case QEL::Core::QEL_ARRAY_BOUNDS_EXCEEDED:
            case QEL::Core::QEL_STACK_OVERFLOW:
            case QEL::Core::QEL_FLOATING_POINT:
            case QEL::Core::QEL_UNHANDLED:
            case QEL::Core::QEL_STD_EXCEPTION:
                std::abort();  // a fault or a foreign exception slipped through
            default:
                break;
        }
    }
}

}  // namespace QEL::Fuzz

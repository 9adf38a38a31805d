// SPDX-License-Identifier: MIT
// Helpers shared by the point set tests.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "core/CQEL_Exception.h"

// Runs call, expects a CQEL_Exception of reason whose text names param, and
// returns the text.
inline std::string ExpectQelError(std::function<void()> const& call, QEL::Core::EQELExceptionReason reason,
                                  char const* param) {
    try {
        call();
    } catch (QEL::Core::CQEL_Exception const& e) {
        EXPECT_EQ(e.GetExceptionReason(), reason) << e.what();
        std::string const text = e.what() ? e.what() : "";
        if (param) {
            EXPECT_NE(text.find(std::string("Param name - ") + param + " Location"), std::string::npos)
                << text;
        }
        return text;
    }
    ADD_FAILURE() << "no exception, expected parameter " << (param ? param : "(none)");
    return {};
}

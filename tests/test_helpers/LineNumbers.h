// SPDX-License-Identifier: MIT
// Exception texts carry the source line of the check that failed; tests
// compare them with the number replaced by '#'.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <string>

#include "core/CQEL_Exception.h"
#include "core/CQEL_String.h"

// "... @ line 123   -> ..." becomes "... @ line # -> ...".
inline std::string WithoutLineNumbers(std::string text) {
    std::string const marker = "@ line ";
    for (std::size_t at = text.find(marker); at != std::string::npos; at = text.find(marker, at + 1)) {
        std::size_t end = at + marker.size();
        while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])))
            ++end;
        while (end < text.size() && text[end] == ' ')
            ++end;
        if (text.compare(end, 3, "-> ") == 0) text.replace(at, end - at, "@ line # ");
    }
    return text;
}

// The text of the CQEL_Exception that call throws, line numbers replaced by '#'.
inline std::string Thrown(std::function<void()> const& call,
                          QEL::Core::EQELExceptionReason reason = QEL::Core::QEL_PARAMETER_OUT_OF_RANGE) {
    try {
        call();
    } catch (QEL::Core::CQEL_Exception const& e) {
        EXPECT_EQ(e.GetExceptionReason(), reason);
        return WithoutLineNumbers(e.what());
    }
    ADD_FAILURE() << "no CQEL_Exception";
    return {};
}

// The CQEL_Exception that call throws, whole.
template <class F>
QEL::Core::CQEL_Exception Caught(F&& call) {
    try {
        call();
    } catch (QEL::Core::CQEL_Exception const& e) {
        return e;
    }
    ADD_FAILURE() << "no CQEL_Exception";
    return QEL::Core::CQEL_Exception(QEL::Core::QEL_UNHANDLED, QEL::Core::CQEL_String());
}

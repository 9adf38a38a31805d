// SPDX-License-Identifier: MIT
// The parts of CQEL_Event that need no template arguments: output, checks of
// mutex names and the cleaning of log texts.
#include "core/CQEL_Event.h"

#include <string>

#include "core/CQEL_Output_Events.h"

namespace QEL::Core::Detail {

namespace {
// POSIX allows NAME_MAX - 4 characters after the slash (Linux: 251); one less
// keeps a margin for systems that count the slash.
constexpr int kMaxMutexNameLength = 250;
}  // namespace

void EventDebugOut(CQEL_String const& text) {
    CQEL_Output_Events::Debug(text);
}

void ThrowEventError(char const* operation, EQELExceptionReason reason, char const* paramName,
                     char const* message, std::source_location where) {
    std::string const name = std::string("QEL::Core::CQEL_Event::") + operation;
    throw CQEL_Exception(reason, CQEL_String::FromASCII(paramName), CQEL_String::FromASCII(message),
                         GetQELExceptionLocation(name.c_str(), long(where.line())));
}

CQEL_String NormaliseEventMutexName(char const* operation, char const* name) {
    std::string_view text = name ? std::string_view(name) : std::string_view();
    if (!text.empty() && text.front() == '/') text.remove_prefix(1);
    if (text.empty() || int(text.size()) > kMaxMutexNameLength || text.find('/') != std::string_view::npos)
        ThrowEventError(operation, QEL_INVALID_PARAMETER, "mutexName",
                        "A mutex name has 1 to 250 characters and no '/' but an optional leading one");
    std::string normalised(1, '/');
    normalised.append(text);
    return CQEL_String::FromASCII(normalised.c_str(), int(normalised.size()));
}

CQEL_String CleanEventText(CQEL_String const& text) {
    std::string clean;
    clean.reserve(std::size_t(text.Length()));
    bool pendingSpace = false;
    for (char const c : text.View()) {
        unsigned char const byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte == 0x7F) {
            pendingSpace = !clean.empty();
            continue;
        }
        if (pendingSpace) clean += ' ';
        pendingSpace = false;
        clean += c;
    }
    return CQEL_String::FromASCII(clean.c_str(), int(clean.size()));
}

}  // namespace QEL::Core::Detail

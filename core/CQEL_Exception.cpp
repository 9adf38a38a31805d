// SPDX-License-Identifier: MIT
#include "core/CQEL_Exception.h"

#include <cstdio>
#include <cstring>

#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

struct SReasonText {
    char const* family;
    char const* text;
};

constexpr char const* kMemory = "Memory Exception: ";
constexpr char const* kGeometry = "Geometry Exception: ";
constexpr char const* kMaths = "Maths Exception: ";
constexpr char const* kFile = "File Exception: ";
constexpr char const* kGeneral = "General Exception: ";
constexpr char const* kLowLevel = "Low level Exception: ";
constexpr char const* kTopology = "Topology Exception: ";
constexpr char const* kUnhandled = "Unhandled Exception!";

constexpr SReasonText kReasons[] = {
    {kMemory, "Null parameter assignment!"},
    {kMemory, "Invalid pointer!"},
    {kMemory, "Allocation failure!"},
    {kMemory, "DeAllocation failure!"},
    {kGeometry, "Index out of range!"},
    {kGeometry, "Parameter out of range!"},
    {kGeometry, "Curve not on surface!"},
    {kGeometry, "Point not on surface!"},
    {kGeometry, "Contour discontinuous!"},
    {kGeometry, "Invalid surface!"},
    {kGeometry, "Invalid curve!"},
    {kGeometry, "Invalid curve parameter!"},
    {kGeometry, "Invalid offset parameters!"},
    {kGeometry, "Invalid object construction!"},
    {kGeometry, "Invalid parameter!"},
    {kGeometry, "Invalid pointset!"},
    {kMaths, "Division by zero!"},
    {kMaths, kUnhandled},
    {kMaths, "Floating point exception!"},
    {kFile, "Unsupported format!"},
    {kFile, "Invalid path!"},
    {kFile, "Path too long!"},
    {kFile, "File not found!"},
    {kFile, "File read error!"},
    {kFile, "File write error!"},
    {kFile, "Access denied!"},
    {kFile, "Access error!"},
    {"Invalid encryption key Exception: ", kUnhandled},
    {"Registry Exception: ", kUnhandled},
    {kGeneral, "STD internal exception!"},
    {kGeneral, "Invalid Operation!"},
    {kGeneral, "Operation Failed!"},
    {kGeneral, kUnhandled},
    {kGeneral, "Input Request Cancelled!"},
    {kLowLevel, "Access Violation!"},
    {kLowLevel, "Array Bounds Exceeded!"},
    {kLowLevel, "Float Overflow!"},
    {kLowLevel, "Float Stack Check!"},
    {kLowLevel, "Float Underflow!"},
    {kLowLevel, "Int Overflow!"},
    {kLowLevel, "Noncontinuable Exception!"},
    {kLowLevel, "Stack Overflow!"},
    {kLowLevel, "Invalid Handle!"},
    {kGeneral, kUnhandled},  // 43 to 50: reserved
    {kGeneral, kUnhandled},
    {kGeneral, kUnhandled},
    {kGeneral, kUnhandled},
    {kGeneral, kUnhandled},
    {kGeneral, kUnhandled},
    {kGeneral, kUnhandled},
    {kGeneral, kUnhandled},
    {kTopology, "Invalid Connectivity!"},
    {kTopology, "Non-Orientable!"},
    {kTopology, "Non-manifold edge!"},
    {kTopology, "Non-manifold vertex!"},
};
static_assert(sizeof(kReasons) / sizeof(kReasons[0]) == 55);

}  // namespace

CQEL_Exception::CQEL_Exception(EQELExceptionReason reason, CQEL_String const& location) : m_reason(reason) {
    ConstructReason(location + GetReason(reason));
}

CQEL_Exception::CQEL_Exception(EQELExceptionReason reason, CQEL_String const& paramName,
                               CQEL_String const& message, CQEL_String const& location)
    : m_reason(reason) {
    CQEL_String text = CQEL_String::FromASCII("Param name - ");
    text += paramName;
    text += CQEL_String::FromASCII(" Location - ");
    text += location;
    text += CQEL_String::FromASCII(" Message - ");
    text += message;
    text += CQEL_String::FromASCII(" ");
    text += GetReason(reason);
    ConstructReason(text);
}

CQEL_Exception::CQEL_Exception(CQEL_String const& message, CQEL_String const& location)
    : m_reason(QEL_STD_EXCEPTION) {
    ConstructReason(location + message);
}

CQEL_Exception::CQEL_Exception(CQEL_Exception const& other)
    : std::exception(other), m_reason(other.m_reason) {
    if (other.m_text) ConstructReason(other.m_text.get());
}

CQEL_Exception& CQEL_Exception::operator=(CQEL_Exception const& other) {
    std::exception::operator=(other);
    m_reason = other.m_reason;
    m_text = other.m_text;
    return *this;
}

CQEL_Exception::~CQEL_Exception() = default;

char const* CQEL_Exception::what() const noexcept {
    return m_text.get();
}

CQEL_String CQEL_Exception::GetReason(EQELExceptionReason reason) {
    // Compared as unsigned, so negative codes fall to the catch-all.
    unsigned const code = static_cast<unsigned>(reason);
    SReasonText const& entry = code < 55 ? kReasons[code] : kReasons[QEL_UNHANDLED];
    return CQEL_String::FromASCII(entry.family) + CQEL_String::FromASCII(entry.text);
}

void CQEL_Exception::ConstructReason(char const* text) {
    std::size_t const length = std::strlen(text);
    std::shared_ptr<char[]> buffer(new char[length + 1]);
    std::memcpy(buffer.get(), text, length + 1);
    m_text = std::move(buffer);
}

void CQEL_Exception::ConstructReason(CQEL_String const& text) {
    ConstructReason(text.GetArray());
}

CQEL_String GetQELExceptionLocation(char const* functionName, long line) {
    return CQEL_String::FromFormat("%s @ line %-5ld -> ", functionName ? functionName : "", line);
}

}  // namespace QEL::Core

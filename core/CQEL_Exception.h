// SPDX-License-Identifier: MIT
// The one exception type of the library and its reason codes.
//
// Every failure reaches a caller as a CQEL_Exception. Its text names the
// failing operation and source line (see GetQELExceptionLocation), the
// offending parameter where there is one, a human message and the standard
// text of the reason (GetReason).
#pragma once

#include <exception>
#include <memory>

#include "core/QEL_Export.h"

namespace QEL::Core {

class CQEL_String;

// Reason codes. The numbers are part of the interface: hosts compare them.
enum EQELExceptionReason : int {
    QEL_NULL_PARAMETER = 0,
    QEL_INVALID_POINTER = 1,
    QEL_ALLOCATION_FAILURE = 2,
    QEL_DEALLOCATION_FAILURE = 3,
    QEL_INDEX_OUT_OF_RANGE = 4,
    QEL_PARAMETER_OUT_OF_RANGE = 5,
    QEL_CURVE_NOT_ON_SURFACE = 6,
    QEL_POINT_NOT_ON_SURFACE = 7,
    QEL_CONTOUR_DISCONTINUOUS = 8,
    QEL_INVALID_SURFACE = 9,
    QEL_INVALID_CURVE = 10,
    QEL_INVALID_CURVE_PARAMETER = 11,
    QEL_INVALID_OFFSET_PARAMETERS = 12,
    QEL_INVALID_OBJECT_CONSTRUCTION = 13,
    QEL_INVALID_PARAMETER = 14,
    QEL_INVALID_POINTSET = 15,
    QEL_DIVISION_BY_ZERO = 16,
    QEL_MATHS_UNHANDLED = 17,
    QEL_FLOATING_POINT = 18,
    QEL_UNSUPPORTED_FORMAT = 19,
    QEL_INVALID_PATH = 20,
    QEL_PATH_TOO_LONG = 21,
    QEL_FILE_NOT_FOUND = 22,
    QEL_FILE_READ_ERROR = 23,
    QEL_FILE_WRITE_ERROR = 24,
    QEL_ACCESS_DENIED = 25,
    QEL_ACCESS_ERROR = 26,
    QEL_INVALID_ENCRYPTION_KEY = 27,
    QEL_REGISTRY = 28,
    QEL_STD_EXCEPTION = 29,
    QEL_INVALID_OPERATION = 30,
    QEL_OPERATION_FAILED = 31,
    QEL_UNHANDLED = 32,
    QEL_INPUT_CANCELLED = 33,
    QEL_ACCESS_VIOLATION = 34,
    QEL_ARRAY_BOUNDS_EXCEEDED = 35,
    QEL_FLOAT_OVERFLOW = 36,
    QEL_FLOAT_STACK_CHECK = 37,
    QEL_FLOAT_UNDERFLOW = 38,
    QEL_INT_OVERFLOW = 39,
    QEL_NONCONTINUABLE = 40,
    QEL_STACK_OVERFLOW = 41,
    QEL_INVALID_HANDLE = 42,
    QEL_INVALID_CONNECTIVITY = 51,
    QEL_NON_ORIENTABLE = 52,
    QEL_NON_MANIFOLD_EDGE = 53,
    QEL_NON_MANIFOLD_VERTEX = 54,
};

class QEL_API CQEL_Exception : public std::exception {
  public:
    // Text: location followed directly by GetReason(reason).
    CQEL_Exception(EQELExceptionReason reason, CQEL_String const& location);
    // Text: "Param name - <param> Location - <location> Message - <message> <GetReason(reason)>".
    CQEL_Exception(EQELExceptionReason reason, CQEL_String const& paramName, CQEL_String const& message,
                   CQEL_String const& location);
    // For foreign exceptions: reason 29, text is the location followed directly by the message.
    CQEL_Exception(CQEL_String const& message, CQEL_String const& location);

    // Duplicates the text.
    CQEL_Exception(CQEL_Exception const& other);
    // Shares the text with other (both then report the same text). The text is
    // held under shared ownership, so sharing never releases it twice.
    CQEL_Exception& operator=(CQEL_Exception const& other);
    ~CQEL_Exception() override;

    // The full text, or null if none could be made.
    char const* what() const noexcept override;
    EQELExceptionReason GetExceptionReason() const noexcept { return m_reason; }

    // Family prefix and standard text of a code; codes outside 0..54 read as
    // "General Exception: Unhandled Exception!".
    static CQEL_String GetReason(EQELExceptionReason reason);

    // Fault translation: turns a synchronous fault signal on a thread that has
    // the translator installed into a CQEL_Exception (see platform/CFaultTranslator.h).
    // Returns only if the signal is not translated.
    static void QELSEHTranslator(int signal, void* signalInfo, void* context);

  private:
    void ConstructReason(char const* text);
    void ConstructReason(CQEL_String const& text);

    EQELExceptionReason m_reason;
    std::shared_ptr<char[]> m_text;
};

// "<functionName> @ line <line, left-aligned in 5> -> ".
QEL_API CQEL_String GetQELExceptionLocation(char const* functionName, long line);

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// The common exception frame of the library's exported operations.
//
// Every exported operation holds its fully qualified name as a literal in one
// static CQEL_Operation and runs its body through it:
//
//     void CPointSet_Create::Sphere(CPoint3<double> const& centre, double radius, double spacing) {
//         static CQEL_Operation const op("QEL::Core::CPointSet_Create::Sphere");
//         op.Run([&] {
//             op.CheckRange(spacing, 1e-6, 1e9, "spacing");
//             op.CheckRange(radius, 2.0 * spacing, 1e9, "radius");
//             ... geometry ...
//         });
//     }
//
// Argument checks report the source line of the check itself. Whatever escapes
// the body is converted with the line of the Run call (the frame's line):
//   1. a bare EQELExceptionReason becomes CQEL_Exception(reason, location);
//   2. a CQEL_Exception passes unchanged (the innermost location is kept);
//   3. any other std::exception becomes CQEL_Exception(what(), location), reason 29;
//   4. anything else becomes CQEL_Exception(32, location).
// Thread cancellation (forced unwinding) is never swallowed.
//
// Policy: a failed precondition always throws; an operation that can go on
// with a sensible result but wants the host to know (a skipped record, a
// clamped value) sends a warning through CQEL_Output_Events instead.
//
// Each Run counts one call under the operation's name; hosts read the counts
// with GetCallCount and ForEachCallCount.
#pragma once

#include <atomic>
#include <cmath>
#include <source_location>
#include <type_traits>
#include <utility>

#include "core/CQEL_Exception.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API CQEL_Operation {
  public:
    // name must be a literal (it is kept, not copied).
    explicit CQEL_Operation(char const* name);
    CQEL_Operation(CQEL_Operation const&) = delete;
    CQEL_Operation& operator=(CQEL_Operation const&) = delete;

    char const* GetName() const { return m_name; }
    // GetQELExceptionLocation(name, line).
    CQEL_String Location(long line) const;

    // Runs body inside the frame and returns what it returns.
    template <class Body>
    decltype(auto) Run(Body&& body, std::source_location frame = std::source_location::current()) const {
        m_calls->fetch_add(1, std::memory_order_relaxed);
        try {
            return std::forward<Body>(body)();
        } catch (...) {
            Convert(long(frame.line()));
        }
    }

    // Reason 5, "Parameter out of range", unless lo <= value <= hi (NaN fails).
    template <class T>
    void CheckRange(T value, std::type_identity_t<T> lo, std::type_identity_t<T> hi, char const* paramName,
                    std::source_location where = std::source_location::current()) const {
        if (!(lo <= value && value <= hi)) ThrowOutOfRange(paramName, long(where.line()));
    }
    // Reason 5, "Parameter out of range", unless condition holds.
    void CheckParameter(bool condition, char const* paramName,
                        std::source_location where = std::source_location::current()) const {
        if (!condition) ThrowOutOfRange(paramName, long(where.line()));
    }
    // Throws constructor 2 with reason, parameter and message unless condition holds.
    void Check(bool condition, EQELExceptionReason reason, char const* paramName, char const* message,
               std::source_location where = std::source_location::current()) const {
        if (!condition) Throw(reason, paramName, message, where);
    }
    // Constructor 2 at the caller's line.
    [[noreturn]] void Throw(EQELExceptionReason reason, char const* paramName, CQEL_String const& message,
                            std::source_location where = std::source_location::current()) const;
    [[noreturn]] void Throw(EQELExceptionReason reason, char const* paramName, char const* message,
                            std::source_location where = std::source_location::current()) const;
    // Constructor 1 at the caller's line.
    [[noreturn]] void Throw(EQELExceptionReason reason,
                            std::source_location where = std::source_location::current()) const;

    // Calls counted under name so far (0 for a name never run).
    static long GetCallCount(char const* name);
    // Calls visit(name, count, user) for every operation that has a counter, in name order.
    static void ForEachCallCount(void (*visit)(char const* name, long count, void* user), void* user);
    // Sets every counter back to 0.
    static void ResetCallCounts();

  private:
    [[noreturn]] void Convert(long frameLine) const;
    [[noreturn]] void ThrowOutOfRange(char const* paramName, long line) const;

    char const* m_name;
    std::atomic<long>* m_calls;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// What the value types of QEL::Elements share: the undefined-value marker,
// the real type in which lengths of integer types are measured, and the
// invalid reference that unchecked component access yields out of range.
#pragma once

#include <cstdint>
#include <type_traits>

namespace QEL::Elements {

// The marker returned in every component of a value that cannot be computed
// (the minimum of an empty box, the centre of nothing). It is an ordinary
// finite double, so it survives files and arithmetic unchanged; test with
// IsUndefined rather than by comparing computed values.
inline constexpr double kUndefinedValue = 1000000000001.0;

constexpr bool IsUndefined(double value) {
    return value == kUndefinedValue;
}

namespace Detail {

// Lengths, normalisation and distances of int types are computed in double.
template <class T>
using RealType = std::conditional_t<std::is_floating_point_v<T>, T, double>;

// Unchecked access never throws: out of range it yields a reference at this
// fixed invalid address, so that the first use faults (as CQEL_Array does).
inline constexpr std::uintptr_t kInvalidElementAddress = 0xBBADBEEF;

template <class T>
__attribute__((no_sanitize("alignment"))) inline T& InvalidReference() {
    return *reinterpret_cast<T*>(kInvalidElementAddress);
}

}  // namespace Detail

}  // namespace QEL::Elements

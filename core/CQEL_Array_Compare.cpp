// SPDX-License-Identifier: MIT
#include "core/CQEL_Array_Compare.h"

#include <algorithm>
#include <cmath>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

using Elements::CPoint3;
using Elements::CVector3;

namespace {

template <class R>
bool Near(R a, R b, R tolerance) {
    if (a == b) return true;
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return std::fabs(a - b) <= tolerance;
}

template <class T>
bool Near3(T const& a, T const& b, double tolerance) {
    return Near(a.x, b.x, tolerance) && Near(a.y, b.y, tolerance) && Near(a.z, b.z, tolerance);
}

// Walks both arrays with match(a, b); reports the first mismatch.
template <class T, class Match>
bool Compare(CQEL_Array<T> const& a, CQEL_Array<T> const& b, int* firstDifference, Match match) {
    int const common = std::min(a.Count(), b.Count());
    int difference = -1;
    for (int i = 0; i < common && difference < 0; ++i)
        if (!match(a.Unsafe_Get(i), b.Unsafe_Get(i))) difference = i;
    if (difference < 0 && a.Count() != b.Count()) difference = common;
    if (firstDifference) *firstDifference = difference;
    return difference < 0;
}

template <class R>
void CheckTolerance(CQEL_Operation const& op, R tolerance) {
    op.CheckParameter(tolerance >= R(0), "tolerance");
}

}  // namespace

bool CQEL_Array_Compare::Points(CQEL_Array<CPoint3<double>> const& a, CQEL_Array<CPoint3<double>> const& b,
                                double tolerance, int* firstDifference) {
    static CQEL_Operation const op("QEL::Core::CQEL_Array_Compare::Points");
    return op.Run([&] {
        CheckTolerance(op, tolerance);
        return Compare(a, b, firstDifference,
                       [&](auto const& p, auto const& q) { return Near3(p, q, tolerance); });
    });
}

bool CQEL_Array_Compare::Vectors(CQEL_Array<CVector3<double>> const& a, CQEL_Array<CVector3<double>> const& b,
                                 double tolerance, int* firstDifference) {
    static CQEL_Operation const op("QEL::Core::CQEL_Array_Compare::Vectors");
    return op.Run([&] {
        CheckTolerance(op, tolerance);
        return Compare(a, b, firstDifference,
                       [&](auto const& p, auto const& q) { return Near3(p, q, tolerance); });
    });
}

bool CQEL_Array_Compare::Ints(CQEL_Array<int> const& a, CQEL_Array<int> const& b, int* firstDifference) {
    return Compare(a, b, firstDifference, [](int p, int q) { return p == q; });
}

bool CQEL_Array_Compare::Floats(CQEL_Array<float> const& a, CQEL_Array<float> const& b, float tolerance,
                                int* firstDifference) {
    static CQEL_Operation const op("QEL::Core::CQEL_Array_Compare::Floats");
    return op.Run([&] {
        CheckTolerance(op, tolerance);
        return Compare(a, b, firstDifference, [&](float p, float q) { return Near(p, q, tolerance); });
    });
}

bool CQEL_Array_Compare::Doubles(CQEL_Array<double> const& a, CQEL_Array<double> const& b, double tolerance,
                                 int* firstDifference) {
    static CQEL_Operation const op("QEL::Core::CQEL_Array_Compare::Doubles");
    return op.Run([&] {
        CheckTolerance(op, tolerance);
        return Compare(a, b, firstDifference, [&](double p, double q) { return Near(p, q, tolerance); });
    });
}

bool CQEL_Array_Compare::Colours(CQEL_Array<CPoint3<double>> const& a, CQEL_Array<CPoint3<double>> const& b,
                                 double tolerance, int* firstDifference) {
    static CQEL_Operation const op("QEL::Core::CQEL_Array_Compare::Colours");
    return op.Run([&] {
        CheckTolerance(op, tolerance);
        return Compare(a, b, firstDifference,
                       [&](auto const& p, auto const& q) { return Near3(p, q, tolerance); });
    });
}

bool CQEL_Array_Compare::Bools(CQEL_Array<bool> const& a, CQEL_Array<bool> const& b, int* firstDifference) {
    return Compare(a, b, firstDifference, [](bool p, bool q) { return p == q; });
}

}  // namespace QEL::Core

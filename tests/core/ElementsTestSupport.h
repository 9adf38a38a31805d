// SPDX-License-Identifier: MIT
// Shared helpers of the value-type tests: printing, tolerant comparison,
// seeded random transforms and exception checks.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <ostream>
#include <random>
#include <string>

#include "core/CPoint3.h"
#include "core/CQEL_Exception.h"
#include "core/CTransform4.h"
#include "core/CVector3.h"

namespace QEL::Elements {

template <class T>
void PrintTo(CPoint3<T> const& p, std::ostream* os) {
    *os << "P(" << p.x << ", " << p.y << ", " << p.z << ")";
}
template <class T>
void PrintTo(CVector3<T> const& v, std::ostream* os) {
    *os << "V(" << v.x << ", " << v.y << ", " << v.z << ")";
}
inline void PrintTo(CTransform4<double> const& t, std::ostream* os) {
    *os << "[";
    for (int i = 0; i < 16; ++i)
        *os << t[i] << (i % 4 == 3 ? (i == 15 ? "]" : " | ") : ", ");
}

}  // namespace QEL::Elements

namespace ElementsTest {

using QEL::Elements::CPoint3;
using QEL::Elements::CTransform4;
using QEL::Elements::CVector3;
using Transform = CTransform4<double>;
using Vec = CVector3<double>;
using Pt = CPoint3<double>;

inline constexpr double kPi = std::numbers::pi;

template <class A>
::testing::AssertionResult Near3(A const& a, A const& b, double tolerance) {
    double const d = std::fmax(std::fabs(a.x - b.x), std::fmax(std::fabs(a.y - b.y), std::fabs(a.z - b.z)));
    if (d <= tolerance) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << ::testing::PrintToString(a) << " and " << ::testing::PrintToString(b) << " differ by " << d
           << " > " << tolerance;
}

inline double MaxDifference(Transform const& a, Transform const& b) {
    double d = 0.0;
    for (int i = 0; i < 16; ++i)
        d = std::fmax(d, std::fabs(a[i] - b[i]));
    return d;
}

inline ::testing::AssertionResult NearTransform(Transform const& a, Transform const& b, double tolerance) {
    double const d = MaxDifference(a, b);
    if (d <= tolerance) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << ::testing::PrintToString(a) << " and " << ::testing::PrintToString(b) << " differ by " << d
           << " > " << tolerance;
}

inline double Uniform(std::mt19937_64& rng, double lo, double hi) {
    return std::uniform_real_distribution<double>(lo, hi)(rng);
}
inline CVector3<double> RandomVector(std::mt19937_64& rng, double range = 1.0) {
    return {Uniform(rng, -range, range), Uniform(rng, -range, range), Uniform(rng, -range, range)};
}
inline CVector3<double> RandomUnit(std::mt19937_64& rng) {
    for (;;) {
        CVector3<double> v = RandomVector(rng);
        double const length = v.Mag();
        if (length > 0.1 && length <= 1.0) return v / length;
    }
}
inline CPoint3<double> RandomPoint(std::mt19937_64& rng, double range = 10.0) {
    return CPoint3<double>(RandomVector(rng, range));
}
inline Transform RandomRotation(std::mt19937_64& rng) {
    return Transform().CreateRotation(RandomUnit(rng), Uniform(rng, -kPi, kPi));
}

// Checks that call throws a CQEL_Exception with the reason and, when given,
// the parameter name.
template <class F>
void ExpectQELException(F&& call, QEL::Core::EQELExceptionReason reason, std::string const& parameter = "") {
    try {
        call();
        ADD_FAILURE() << "no CQEL_Exception";
    } catch (QEL::Core::CQEL_Exception const& e) {
        EXPECT_EQ(e.GetExceptionReason(), reason) << e.what();
        if (!parameter.empty()) {
            EXPECT_NE(std::string(e.what()).find("Param name - " + parameter + " "), std::string::npos)
                << e.what();
        }
    }
}

}  // namespace ElementsTest

// SPDX-License-Identifier: MIT
// CQEL_Array_Compare: element-by-element comparison of two arrays of one kind,
// for tests, baselines of recorded scripts and round trips through files.
//
// Two arrays match when they have the same count and every pair of elements
// matches. Real values match when they are equal (so equal infinities match)
// or both NaN, or when they differ by at most the tolerance; points, vectors
// and colours match when each of x, y, z does (an absolute tolerance per
// component, i.e. the max norm of the difference). Ints and bools match
// exactly. The tolerance is absolute, in the units of the data; the defaults
// suit the library's data:
//   Points, Vectors, Doubles: 1e-9 (coordinates in millimetres or metres up to
//     about 1e6 carry rounding below 1e-10);
//   Floats: 1e-5 (single precision rounding of values up to about 100);
//   Colours (r, g, b as CPoint3<double>, in [0, 1] or [0, 255]): 1e-6, below
//     any visible difference and above the rounding of six-digit text.
// A negative or NaN tolerance throws CQEL_Exception reason 5, parameter
// "tolerance". When firstDifference is not null it receives the index of the
// first element that does not match, the shorter count when only the counts
// differ, or -1 when the arrays match.
#pragma once

#include "core/CPoint3.h"
#include "core/CQEL_Array.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API CQEL_Array_Compare {
  public:
    static constexpr double kPointTolerance = 1e-9;
    static constexpr float kFloatTolerance = 1e-5f;
    static constexpr double kColourTolerance = 1e-6;

    static bool Points(CQEL_Array<Elements::CPoint3<double>> const& a,
                       CQEL_Array<Elements::CPoint3<double>> const& b, double tolerance = kPointTolerance,
                       int* firstDifference = nullptr);
    static bool Vectors(CQEL_Array<Elements::CVector3<double>> const& a,
                        CQEL_Array<Elements::CVector3<double>> const& b, double tolerance = kPointTolerance,
                        int* firstDifference = nullptr);
    static bool Ints(CQEL_Array<int> const& a, CQEL_Array<int> const& b, int* firstDifference = nullptr);
    static bool Floats(CQEL_Array<float> const& a, CQEL_Array<float> const& b,
                       float tolerance = kFloatTolerance, int* firstDifference = nullptr);
    static bool Doubles(CQEL_Array<double> const& a, CQEL_Array<double> const& b,
                        double tolerance = kPointTolerance, int* firstDifference = nullptr);
    static bool Colours(CQEL_Array<Elements::CPoint3<double>> const& a,
                        CQEL_Array<Elements::CPoint3<double>> const& b, double tolerance = kColourTolerance,
                        int* firstDifference = nullptr);
    static bool Bools(CQEL_Array<bool> const& a, CQEL_Array<bool> const& b, int* firstDifference = nullptr);
};

}  // namespace QEL::Core

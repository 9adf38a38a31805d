// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ElementsTestSupport.h"
#include "core/CQEL_Array_Compare.h"

using namespace ElementsTest;
using namespace QEL::Core;

TEST(ArrayCompare, RealValuesMatchWithinAbsoluteToleranceAndNaNMatchesNaN) {
    double const inf = std::numeric_limits<double>::infinity();
    CQEL_Array<double> a, b;
    for (double v : {1.0, -2.0, inf, std::nan(""), 0.0})
        a.PushBack(v);
    b = a;
    int first = 7;
    EXPECT_TRUE(CQEL_Array_Compare::Doubles(a, b, 0.0, &first));
    EXPECT_EQ(first, -1);
    b[1] = -2.0 + 1e-10;
    EXPECT_TRUE(CQEL_Array_Compare::Doubles(a, b));
    EXPECT_FALSE(CQEL_Array_Compare::Doubles(a, b, 1e-11, &first));
    EXPECT_EQ(first, 1);
    b[1] = a[1];
    b[2] = -inf;
    EXPECT_FALSE(CQEL_Array_Compare::Doubles(a, b, 1e300, &first));
    EXPECT_EQ(first, 2);
    b[2] = inf;
    b[3] = 0.0;  // NaN against a number
    EXPECT_FALSE(CQEL_Array_Compare::Doubles(a, b, 1e300, &first));
    EXPECT_EQ(first, 3);
    ExpectQELException([&] { CQEL_Array_Compare::Doubles(a, b, -1e-9); }, QEL_PARAMETER_OUT_OF_RANGE,
                       "tolerance");
    ExpectQELException([&] { CQEL_Array_Compare::Doubles(a, b, NAN); }, QEL_PARAMETER_OUT_OF_RANGE,
                       "tolerance");

    CQEL_Array<float> f, g;
    f.PushBack(100.0f);
    g.PushBack(100.0f + 7.6e-6f);  // one float step above 100
    EXPECT_TRUE(CQEL_Array_Compare::Floats(f, g));
    g[0] = 100.001f;
    EXPECT_FALSE(CQEL_Array_Compare::Floats(f, g));
}

TEST(ArrayCompare, CountsMustAgreeAndTheFirstMismatchIsReported) {
    CQEL_Array<int> a, b;
    for (int v : {1, 2, 3})
        a.PushBack(v);
    b = a;
    b.PopBack();
    int first = 0;
    EXPECT_FALSE(CQEL_Array_Compare::Ints(a, b, &first));
    EXPECT_EQ(first, 2);
    EXPECT_TRUE(CQEL_Array_Compare::Ints(CQEL_Array<int>(), CQEL_Array<int>(), &first));
    EXPECT_EQ(first, -1);
    CQEL_Array<bool> p, q;
    p.PushBack(true, 2);
    q.PushBack(true);
    q.PushBack(false);
    EXPECT_FALSE(CQEL_Array_Compare::Bools(p, q, &first));
    EXPECT_EQ(first, 1);
}

TEST(ArrayCompare, PointsVectorsAndColoursCompareEachComponent) {
    CQEL_Array<CPoint3<double>> a, b;
    a.PushBack(CPoint3<double>(1, 2, 3));
    a.PushBack(CPoint3<double>(0.5, 0.5, 0.5));
    b = a;
    b[1].z += 5e-10;
    EXPECT_TRUE(CQEL_Array_Compare::Points(a, b));
    b[1].z += 1e-9;  // now 1.5e-9 off in z alone
    int first = 0;
    EXPECT_FALSE(CQEL_Array_Compare::Points(a, b, CQEL_Array_Compare::kPointTolerance, &first));
    EXPECT_EQ(first, 1);
    EXPECT_TRUE(CQEL_Array_Compare::Colours(a, b));
    b[0].x += 2e-6;
    EXPECT_FALSE(CQEL_Array_Compare::Colours(a, b, CQEL_Array_Compare::kColourTolerance, &first));
    EXPECT_EQ(first, 0);

    CQEL_Array<CVector3<double>> u, v;
    u.PushBack(CVector3<double>(0, 0, 1));
    v.PushBack(CVector3<double>(0, 1e-3, 1));
    EXPECT_FALSE(CQEL_Array_Compare::Vectors(u, v));
    EXPECT_TRUE(CQEL_Array_Compare::Vectors(u, v, 1e-3));
}

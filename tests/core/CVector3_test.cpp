// SPDX-License-Identifier: MIT
// Points and vectors in two and three dimensions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "ElementsTestSupport.h"
#include "core/CPoint2.h"
#include "core/CPoint3.h"
#include "core/CVector2.h"
#include "core/CVector3.h"

// Every member of every instantiation the library offers must compile.
template class QEL::Elements::CPoint2<int>;
template class QEL::Elements::CPoint2<float>;
template class QEL::Elements::CPoint2<double>;
template class QEL::Elements::CPoint3<int>;
template class QEL::Elements::CPoint3<float>;
template class QEL::Elements::CPoint3<double>;
template class QEL::Elements::CVector2<int>;
template class QEL::Elements::CVector2<float>;
template class QEL::Elements::CVector2<double>;
template class QEL::Elements::CVector3<int>;
template class QEL::Elements::CVector3<float>;
template class QEL::Elements::CVector3<double>;

using namespace ElementsTest;
using QEL::Elements::CPoint2;
using QEL::Elements::CVector2;

TEST(Vector3, AffineArithmeticSeparatesPointsFromVectors) {
    CPoint3<double> const a(1, 2, 3), b(4, 6, 3);
    CVector3<double> const ab = b - a;
    EXPECT_EQ(ab, CVector3<double>(3, 4, 0));
    EXPECT_EQ(a + ab, b);
    EXPECT_EQ(b - ab, a);
    EXPECT_EQ(a.Distance(b), 5.0);
    EXPECT_EQ(a.DistanceSq(b), 25.0);
    EXPECT_EQ(Midpoint(a, b), CPoint3<double>(2.5, 4, 3));
    EXPECT_EQ(Lerp(a, b, 2.0), CPoint3<double>(7, 10, 3));
    CPoint3<double> c = a;
    c += ab;
    c -= CVector3<double>(1, 1, 1);
    EXPECT_EQ(c, CPoint3<double>(3, 5, 2));
    EXPECT_EQ(-ab * 2.0 + ab / 2.0, CVector3<double>(-4.5, -6, 0));
    EXPECT_EQ(2.0 * ab, ab + ab);
    EXPECT_EQ(a.ToVector(), CVector3<double>(1, 2, 3));
    EXPECT_EQ(CPoint3<double>(ab), CPoint3<double>(3, 4, 0));
}

TEST(Vector3, CrossProductIsRightHandedAndDotMeasuresAngles) {
    CVector3<double> const x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
    EXPECT_EQ(x.Cross(y), z);
    EXPECT_EQ(y.Cross(z), x);
    EXPECT_EQ(z.Cross(x), y);
    EXPECT_EQ(y.Cross(x), -z);
    CVector3<double> const a(1, 2, 3), b(-4, 5, 0.5);
    EXPECT_NEAR(a.Cross(b).Dot(a), 0.0, 1e-14);
    EXPECT_NEAR(a.Cross(b).Dot(b), 0.0, 1e-14);
    EXPECT_EQ(Dot(a, b), 1 * -4 + 2 * 5 + 3 * 0.5);
    EXPECT_NEAR(x.AngleTo(CVector3<double>(1, 1, 0)), kPi / 4, 1e-15);
    EXPECT_NEAR(x.AngleTo(-x), kPi, 1e-15);
    // atan2 form: accurate for tiny angles, where acos of the dot product is not.
    EXPECT_NEAR(x.AngleTo(CVector3<double>(1, 1e-10, 0)), 1e-10, 1e-24);
    EXPECT_EQ(x.AngleTo(CVector3<double>()), 0.0);
}

TEST(Vector3, NormaliseLeavesZeroVectorAndReturnsLength) {
    CVector3<double> v(3, 0, 4);
    EXPECT_EQ(v.Normalise(), 5.0);
    EXPECT_EQ(v, CVector3<double>(0.6, 0, 0.8));
    CVector3<double> zero;
    EXPECT_EQ(zero.Normalise(), 0.0);
    EXPECT_TRUE(zero.IsZero());
    EXPECT_EQ(CVector3<double>().GetNormalised(), CVector3<double>());
    CVector3<float> f(0, 2, 0);
    EXPECT_EQ(f.GetNormalised(), CVector3<float>(0, 1, 0));
    // Int vectors measure in double and do not overflow in Mag.
    CVector3<int> const big(60000, 80000, 0);
    EXPECT_EQ(big.Mag(), 100000.0);
    EXPECT_EQ(CPoint3<int>(0, 0, 0).Distance(CPoint3<int>(1, 1, 1)), std::sqrt(3.0));
}

TEST(Vector3, ComponentsComparisonAndScalarConversion) {
    CPoint3<double> p(1.75, -2.5, 3.25);
    p[1] = 9;
    EXPECT_EQ(p[0], 1.75);
    EXPECT_EQ(p.y, 9.0);
    EXPECT_EQ(p[2], 3.25);
    // Lexicographic order by x, y, z.
    EXPECT_LT(CPoint3<double>(1, 5, 5), CPoint3<double>(2, 0, 0));
    EXPECT_LT(CPoint3<double>(1, 2, 3), CPoint3<double>(1, 2, 4));
    EXPECT_NE(CPoint3<double>(1, 2, 3), CPoint3<double>(1, 2, std::nextafter(3.0, 4.0)));
    EXPECT_TRUE(CVector3<double>(1, 2, 3).IsEqual(CVector3<double>(1.1, 1.9, 3), 0.1 + 1e-15));
    EXPECT_FALSE(CVector3<double>(1, 2, 3).IsEqual(CVector3<double>(1.2, 2, 3), 0.1));
    // Conversions: to float rounds, to int truncates towards zero.
    EXPECT_EQ(CPoint3<int>(CPoint3<double>(1.9, -1.9, 0.2)), CPoint3<int>(1, -1, 0));
    EXPECT_EQ(CVector3<float>(CVector3<double>(0.1, 0, 0)).x, 0.1f);
    EXPECT_EQ(CPoint3<double>(CPoint3<float>(0.5f, 1, 2)), CPoint3<double>(0.5, 1, 2));
    // Default construction is the origin, and the layout is three raw scalars.
    EXPECT_EQ(CPoint3<double>(), CPoint3<double>(0, 0, 0));
    double raw[3] = {4, 5, 6};
    CPoint3<double> copied;
    std::memcpy(&copied, raw, sizeof raw);
    EXPECT_EQ(copied, CPoint3<double>(4, 5, 6));
    // Out of range, component access yields the library's invalid address.
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&p[3]), 0xBBADBEEFu);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&CVector2<float>()[-1]), 0xBBADBEEFu);
    EXPECT_TRUE(CPoint3<double>::Undefined().IsUndefined());
    EXPECT_FALSE(p.IsUndefined());
}

TEST(Vector2, PlanarArithmeticAndSignedAngles) {
    CPoint2<double> const a(1, 1), b(4, 5);
    EXPECT_EQ(b - a, CVector2<double>(3, 4));
    EXPECT_EQ(a.Distance(b), 5.0);
    EXPECT_EQ(a + CVector2<double>(1, -1), CPoint2<double>(2, 0));
    CVector2<double> const x(1, 0), y(0, 1);
    EXPECT_EQ(x.Cross(y), 1.0);
    EXPECT_EQ(y.Cross(x), -1.0);
    EXPECT_EQ(x.Perpendicular(), y);
    EXPECT_NEAR(x.AngleTo(y), kPi / 2, 1e-15);
    EXPECT_NEAR(y.AngleTo(x), -kPi / 2, 1e-15);
    CVector2<double> v(0, -3);
    EXPECT_EQ(v.Normalise(), 3.0);
    EXPECT_EQ(v, CVector2<double>(0, -1));
    CVector2<double> zero;
    EXPECT_EQ(zero.Normalise(), 0.0);
    EXPECT_EQ(CPoint2<int>(CPoint2<double>(2.7, -0.5)), CPoint2<int>(2, 0));
}

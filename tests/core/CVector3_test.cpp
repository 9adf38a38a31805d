// SPDX-License-Identifier: MIT
// Points and vectors in two and three dimensions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>

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

TEST(Vector3, ArithmeticCrossProductAndAngles) {
    CPoint3<double> const a(1, 2, 3), b(4, 6, 3);
    CVector3<double> const ab = b - a;
    EXPECT_EQ(ab, CVector3<double>(3, 4, 0));
    EXPECT_EQ(a + ab, b);
    EXPECT_EQ(a.Distance(b), 5.0);
    EXPECT_EQ(Lerp(a, b, 2.0), CPoint3<double>(7, 10, 3));
    EXPECT_EQ(-ab * 2.0 + ab / 2.0, CVector3<double>(-4.5, -6, 0));

    CVector3<double> const x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
    EXPECT_EQ(x.Cross(y), z);
    EXPECT_EQ(y.Cross(z), x);
    EXPECT_EQ(z.Cross(x), y);
    CVector3<double> const c(-4, 5, 0.5);
    EXPECT_NEAR(ab.Cross(c).Dot(ab), 0.0, 1e-14);
    EXPECT_NEAR(ab.Cross(c).Dot(c), 0.0, 1e-14);
    EXPECT_NEAR(x.AngleTo(CVector3<double>(1, 1, 0)), kPi / 4, 1e-15);
    EXPECT_NEAR(x.AngleTo(-x), kPi, 1e-15);
    // atan2 form: accurate for tiny angles, where acos of the dot product is not.
    EXPECT_NEAR(x.AngleTo(CVector3<double>(1, 1e-10, 0)), 1e-10, 1e-24);
    EXPECT_EQ(x.AngleTo(CVector3<double>()), 0.0);
}

TEST(Vector3, NormaliseConversionsOrderAndInvalidComponents) {
    CVector3<double> v(3, 0, 4);
    EXPECT_EQ(v.Normalise(), 5.0);
    EXPECT_EQ(v, CVector3<double>(0.6, 0, 0.8));
    CVector3<double> zero;
    EXPECT_EQ(zero.Normalise(), 0.0);
    EXPECT_TRUE(zero.IsZero());
    // Int vectors measure in double and do not overflow in Mag.
    EXPECT_EQ(CVector3<int>(60000, 80000, 0).Mag(), 100000.0);
    EXPECT_EQ(CPoint3<int>(0, 0, 0).Distance(CPoint3<int>(1, 1, 1)), std::sqrt(3.0));
    // Lexicographic order by x, y, z; exact equality; tolerant equality per component.
    EXPECT_LT(CPoint3<double>(1, 5, 5), CPoint3<double>(2, 0, 0));
    EXPECT_LT(CPoint3<double>(1, 2, 3), CPoint3<double>(1, 2, 4));
    EXPECT_NE(CPoint3<double>(1, 2, 3), CPoint3<double>(1, 2, std::nextafter(3.0, 4.0)));
    EXPECT_TRUE(CVector3<double>(1, 2, 3).IsEqual(CVector3<double>(1.1, 1.9, 3), 0.1 + 1e-15));
    EXPECT_FALSE(CVector3<double>(1, 2, 3).IsEqual(CVector3<double>(1.2, 2, 3), 0.1));
    // Conversions: to float rounds, to int truncates towards zero.
    EXPECT_EQ(CPoint3<int>(CPoint3<double>(1.9, -1.9, 0.2)), CPoint3<int>(1, -1, 0));
    EXPECT_EQ(CVector3<float>(CVector3<double>(0.1, 0, 0)).x, 0.1f);
    // The layout is three raw scalars; out of range, component access yields the invalid address.
    double raw[3] = {4, 5, 6};
    CPoint3<double> copied;
    std::memcpy(&copied, raw, sizeof raw);
    EXPECT_EQ(copied, CPoint3<double>(4, 5, 6));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&copied[3]), 0xBBADBEEFu);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&CVector2<float>()[-1]), 0xBBADBEEFu);
    EXPECT_TRUE(CPoint3<double>::Undefined().IsUndefined());
    EXPECT_FALSE(copied.IsUndefined());
}

TEST(Vector2, SignedAnglesAndCross) {
    CVector2<double> const x(1, 0), y(0, 1);
    EXPECT_EQ(x.Cross(y), 1.0);
    EXPECT_EQ(y.Cross(x), -1.0);
    EXPECT_EQ(x.Perpendicular(), y);
    EXPECT_NEAR(x.AngleTo(y), kPi / 2, 1e-15);
    EXPECT_NEAR(y.AngleTo(x), -kPi / 2, 1e-15);
    EXPECT_EQ(CPoint2<double>(4, 5) - CPoint2<double>(1, 1), CVector2<double>(3, 4));
    EXPECT_EQ(CPoint2<int>(CPoint2<double>(2.7, -0.5)), CPoint2<int>(2, 0));
}

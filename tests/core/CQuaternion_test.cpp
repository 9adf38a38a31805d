// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "ElementsTestSupport.h"
#include "core/CQuaternion.h"

template class QEL::Elements::CQuaternion<float>;
template class QEL::Elements::CQuaternion<double>;

using namespace ElementsTest;
using Quaternion = QEL::Elements::CQuaternion<double>;

TEST(Quaternion, AxisAngleMatchesTheTransformRotation) {
    std::mt19937_64 rng(2718);
    for (int trial = 0; trial < 100; ++trial) {
        CVector3<double> const axis = RandomUnit(rng) * Uniform(rng, 0.1, 10);
        double const angle = Uniform(rng, -2 * kPi, 2 * kPi);
        Quaternion const q = Quaternion::FromAxisAngle(axis, angle);
        Transform const r = Transform().CreateRotation(axis, angle);
        EXPECT_TRUE(NearTransform(q.ToTransform(), r, 1e-14));
        CVector3<double> const v = RandomVector(rng, 5);
        EXPECT_TRUE(Near3(q.Rotate(v), r.Apply(v), 1e-13));
    }
    EXPECT_EQ(Quaternion::FromAxisAngle(CVector3<double>(), 1.0), Quaternion());
    CVector3<double> axis;
    double angle = 0;
    Quaternion::FromAxisAngle(CVector3<double>(0, 3, 0), -0.5).ToAxisAngle(&axis, &angle);
    EXPECT_NEAR(angle, 0.5, 1e-15);
    EXPECT_TRUE(Near3(axis, CVector3<double>(0, -1, 0), 1e-15));
}

TEST(Quaternion, TransformRoundTripCoversEveryBranchOfTheConversion) {
    std::mt19937_64 rng(161803);
    for (int trial = 0; trial < 400; ++trial) {
        // Angles near pi make a diagonal element, not the trace, the largest.
        double const angle = trial % 2 ? Uniform(rng, -kPi, kPi) : kPi - Uniform(rng, 0, 1e-3);
        Transform const r = Transform().CreateRotation(RandomUnit(rng), angle);
        Quaternion const q = Quaternion::FromTransform(r);
        EXPECT_GE(q.w, 0.0);
        EXPECT_NEAR(q.Norm(), 1.0, 1e-15);
        EXPECT_TRUE(NearTransform(q.ToTransform(), r, 1e-14)) << trial;
    }
    for (Transform const& half : {Transform().CreateRotationX(kPi), Transform().CreateRotationY(kPi),
                                  Transform().CreateRotationZ(kPi), Transform()})
        EXPECT_TRUE(NearTransform(Quaternion::FromTransform(half).ToTransform(), half, 1e-15));
}

TEST(Quaternion, ProductAppliesTheRightFactorFirst) {
    std::mt19937_64 rng(11);
    Quaternion const a = Quaternion::FromAxisAngle(RandomUnit(rng), 0.9);
    Quaternion const b = Quaternion::FromAxisAngle(RandomUnit(rng), -2.1);
    EXPECT_TRUE(
        NearTransform((a * b).ToTransform(), b.ToTransform().GetPostTransformed(a.ToTransform()), 1e-14));
    EXPECT_TRUE((a * a.Conjugate()).IsSameRotation(Quaternion(), 1e-15));
    Quaternion const minus(-a.w, -a.x, -a.y, -a.z);
    EXPECT_TRUE(a.IsSameRotation(minus, 1e-15));
    EXPECT_FALSE(a == minus);
    Quaternion zero(0, 0, 0, 0);
    EXPECT_FALSE(zero.Normalise());
    EXPECT_EQ(zero, Quaternion());
}

TEST(Quaternion, SlerpFollowsTheShorterArcAtConstantSpeed) {
    CVector3<double> const z(0, 0, 1);
    Quaternion const a = Quaternion::FromAxisAngle(z, 0.2), b = Quaternion::FromAxisAngle(z, 1.4);
    EXPECT_TRUE(Quaternion::Slerp(a, b, 0.0).IsSameRotation(a, 1e-15));
    EXPECT_TRUE(Quaternion::Slerp(a, b, 1.0).IsSameRotation(b, 1e-15));
    EXPECT_TRUE(Quaternion::Slerp(a, b, 0.25).IsSameRotation(Quaternion::FromAxisAngle(z, 0.5), 1e-15));
    // -b is the same rotation: the shorter arc is still taken.
    Quaternion const minusB(-b.w, -b.x, -b.y, -b.z);
    EXPECT_TRUE(Quaternion::Slerp(a, minusB, 0.5).IsSameRotation(Quaternion::FromAxisAngle(z, 0.8), 1e-15));
    // Nearly equal inputs.
    Quaternion const c = Quaternion::FromAxisAngle(z, 0.2 + 1e-9);
    EXPECT_TRUE(
        Quaternion::Slerp(a, c, 0.5).IsSameRotation(Quaternion::FromAxisAngle(z, 0.2 + 5e-10), 1e-15));
}

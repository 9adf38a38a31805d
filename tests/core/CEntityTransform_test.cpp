// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <random>

#include "ElementsTestSupport.h"
#include "core/CEntityTransform.h"

using namespace ElementsTest;
using QEL::Elements::CEntityTransform;

TEST(EntityTransform, ClassifiesRigidAndMirroringTransforms) {
    Transform moved = Transform().CreateRotation(CVector3<double>(1, 2, 3), 0.7);
    moved.SetTranslation({4, 5, 6});
    CEntityTransform const rigid(moved);
    EXPECT_TRUE(rigid.IsRigid());
    EXPECT_FALSE(rigid.IsOrientationReversing());
    EXPECT_FALSE(rigid.IsIdentity());
    EXPECT_TRUE(CEntityTransform().IsIdentity());

    CEntityTransform const scaled = Transform().CreateScale(2);  // implicit from a matrix
    EXPECT_FALSE(scaled.IsRigid());
    CEntityTransform const mirror(Transform().CreateReflection(CVector3<double>(1, 1, 0)));
    EXPECT_FALSE(mirror.IsRigid());
    EXPECT_TRUE(mirror.IsOrientationReversing());
    Transform projective;
    projective[3] = 0.1;
    EXPECT_FALSE(CEntityTransform(projective).IsRigid());

    EXPECT_TRUE(NearTransform(rigid.GetPostTransformed(rigid.GetInverted()).GetMatrix(), Transform(), 1e-14));
}

TEST(EntityTransform, PointsVectorsAndNormalsFollowTheirOwnRules) {
    Transform moved = Transform().CreateRotationZ(kPi / 2);
    moved.SetTranslation({10, 0, 0});
    CEntityTransform const rigid(moved);
    EXPECT_TRUE(Near3(rigid.TransformPoint(CPoint3<double>(1, 0, 0)), CPoint3<double>(10, 1, 0), 1e-15));
    EXPECT_TRUE(Near3(rigid.TransformVector(CVector3<double>(1, 0, 0)), CVector3<double>(0, 1, 0), 1e-15));
    // Rigid: the normal rule is exactly the vector rule.
    CVector3<double> const n(0.3, -0.4, 0.5);
    EXPECT_EQ(rigid.TransformNormal(n), rigid.TransformVector(n));

    // Under scale and shear a normal stays perpendicular to the transformed
    // surface and keeps its length; a plain vector would not.
    std::mt19937_64 rng(31);
    double shear[16] = {3, 0, 0, 0, 1, 0.5, 0, 0, 0, 2, 1, 0, 0, 0, 0, 1};
    for (Transform const& t : {Transform(shear), Transform().CreateScale(1, 4, 0.25),
                               Transform().CreateScale(-1, 2, 2), Transform().CreateScale(3, 0, 1)}) {
        CEntityTransform const e(t);
        for (int trial = 0; trial < 20; ++trial) {
            CVector3<double> const normal = RandomUnit(rng);
            CVector3<double> const tangent = normal.Cross(RandomUnit(rng));
            CVector3<double> const mapped = e.TransformNormal(normal);
            EXPECT_NEAR(mapped.Dot(e.TransformVector(tangent)), 0.0, 1e-12);
            if (!mapped.IsZero()) {
                EXPECT_NEAR(mapped.Mag(), 1.0, 1e-14);
            }
        }
    }
    // A mirror keeps outward normals outward: the mirrored normal of a plane
    // through the origin points to the side where the mirrored front lies.
    CEntityTransform const mirror(Transform().CreateReflectionX());
    CVector3<double> const outward(1, 1, 0);
    EXPECT_TRUE(Near3(mirror.TransformNormal(outward), CVector3<double>(-1, 1, 0), 1e-15));
}

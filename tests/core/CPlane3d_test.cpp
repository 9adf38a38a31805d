// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>

#include "ElementsTestSupport.h"
#include "core/CPlane3d.h"

using namespace ElementsTest;
using QEL::Core::QEL_INVALID_PARAMETER;
using QEL::Core::QEL_PARAMETER_OUT_OF_RANGE;
using QEL::Elements::CPlane3d;

TEST(Plane3d, SignedDistanceProjectionAndOrientation) {
    CPlane3d const plane(CPoint3<double>(0, 0, 2), CVector3<double>(0, 0, 10));
    EXPECT_EQ(plane.GetNormal(), CVector3<double>(0, 0, 1));
    EXPECT_EQ(plane.SignedDistance(CPoint3<double>(5, 5, 5)), 3.0);
    EXPECT_EQ(plane.Distance(CPoint3<double>(5, 5, -1)), 3.0);
    EXPECT_EQ(plane.Project(CPoint3<double>(5, 6, 7)), CPoint3<double>(5, 6, 2));
    EXPECT_EQ(plane.Project(CVector3<double>(1, 2, 3)), CVector3<double>(1, 2, 0));
    EXPECT_EQ(plane.GetFlipped().SignedDistance(CPoint3<double>(5, 5, 5)), -3.0);
    EXPECT_TRUE(plane.IsCoincident(CPlane3d(CPoint3<double>(7, -1, 2), CVector3<double>(0, 0, 1)), 1e-12));
    EXPECT_FALSE(plane.IsCoincident(plane.GetFlipped(), 1e-12));
    EXPECT_TRUE(plane.IsCoincident(plane.GetFlipped(), 1e-12, true));
    EXPECT_FALSE(plane.IsCoincident(CPlane3d(CPoint3<double>(0, 0, 2.1), CVector3<double>(0, 0, 1)), 1e-3));
}

TEST(Plane3d, ThreePointsGiveCounterClockwiseNormalAndCollinearPointsThrow) {
    CPlane3d const plane = CPlane3d::FromThreePoints(CPoint3<double>(1, 0, 5), CPoint3<double>(0, 1, 5),
                                                     CPoint3<double>(0, 0, 5));
    EXPECT_TRUE(Near3(plane.GetNormal(), CVector3<double>(0, 0, 1), 1e-15));
    EXPECT_NEAR(plane.SignedDistance(CPoint3<double>(0, 0, 0)), -5.0, 1e-15);
    ExpectQELException(
        [] {
            CPlane3d::FromThreePoints(CPoint3<double>(0, 0, 0), CPoint3<double>(1, 1, 1),
                                      CPoint3<double>(3, 3, 3));
        },
        QEL_INVALID_PARAMETER, "a, b, c");
    ExpectQELException([] { CPlane3d(CPoint3<double>(), CVector3<double>()); }, QEL_INVALID_PARAMETER,
                       "normal");
    ExpectQELException([] { CPlane3d(CPoint3<double>(0, INFINITY, 0), CVector3<double>(0, 0, 1)); },
                       QEL_PARAMETER_OUT_OF_RANGE, "point");
    // A tiny normal keeps its direction.
    EXPECT_TRUE(Near3(CPlane3d(CPoint3<double>(), CVector3<double>(1e-300, 1e-300, 0)).GetNormal(),
                      CVector3<double>(1, 1, 0).GetNormalised(), 1e-15));
}

TEST(Plane3d, LineIntersectionAndParallelLines) {
    CPlane3d const plane(CPoint3<double>(0, 0, 1), CVector3<double>(0, 0, 1));
    CPoint3<double> hit;
    double t = 0;
    ASSERT_TRUE(plane.IntersectLine(CPoint3<double>(1, 2, 5), CVector3<double>(0, 0, -2), &hit, &t));
    EXPECT_EQ(hit, CPoint3<double>(1, 2, 1));
    EXPECT_EQ(t, 2.0);
    CPoint3<double> untouched(9, 9, 9);
    EXPECT_FALSE(plane.IntersectLine(CPoint3<double>(0, 0, 3), CVector3<double>(1, 0, 0), &untouched, &t));
    EXPECT_FALSE(plane.IntersectLine(CPoint3<double>(0, 0, 3), CVector3<double>(), &untouched, &t));
    EXPECT_EQ(untouched, CPoint3<double>(9, 9, 9));
}

TEST(Plane3d, TransformedPlaneStaysPerpendicularUnderScaleAndShear) {
    CPlane3d const plane(CPoint3<double>(1, 2, 3), CVector3<double>(1, 1, 1));
    double shear[16] = {2, 0, 0, 0, 0.5, 1, 0, 0, 0, 0, 3, 0, 4, 5, 6, 1};
    Transform const t(shear);
    CPlane3d const image = plane.GetTransformed(t);
    // Points of the plane map onto the image plane.
    CVector3<double> const u = CVector3<double>(1, -1, 0), v = CVector3<double>(1, 0, -1);
    for (CPoint3<double> const& p :
         {plane.GetPoint(), plane.GetPoint() + u * 3.0, plane.GetPoint() - v * 2.0})
        EXPECT_NEAR(image.SignedDistance(t.Apply(p)), 0.0, 1e-12);
    // The positive side stays positive.
    EXPECT_GT(image.SignedDistance(t.Apply(plane.GetPoint() + plane.GetNormal())), 0.0);
    ExpectQELException([&] { plane.GetTransformed(Transform().CreateScale(1, 0, 1)); }, QEL_INVALID_PARAMETER,
                       "transform");
}

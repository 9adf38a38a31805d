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
    CPlane3d const plane(Pt(0, 0, 2), Vec(0, 0, 10));
    EXPECT_EQ(plane.GetNormal(), Vec(0, 0, 1));
    EXPECT_EQ(plane.SignedDistance(Pt(5, 5, 5)), 3.0);
    EXPECT_EQ(plane.Distance(Pt(5, 5, -1)), 3.0);
    EXPECT_EQ(plane.Project(Pt(5, 6, 7)), Pt(5, 6, 2));
    EXPECT_EQ(plane.Project(Vec(1, 2, 3)), Vec(1, 2, 0));
    EXPECT_EQ(plane.GetFlipped().SignedDistance(Pt(5, 5, 5)), -3.0);
    EXPECT_TRUE(plane.IsCoincident(CPlane3d(Pt(7, -1, 2), Vec(0, 0, 1)), 1e-12));
    EXPECT_FALSE(plane.IsCoincident(plane.GetFlipped(), 1e-12));
    EXPECT_TRUE(plane.IsCoincident(plane.GetFlipped(), 1e-12, true));
    EXPECT_FALSE(plane.IsCoincident(CPlane3d(Pt(0, 0, 2.1), Vec(0, 0, 1)), 1e-3));
}

TEST(Plane3d, ThreePointsGiveCounterClockwiseNormalAndCollinearPointsThrow) {
    CPlane3d const plane = CPlane3d::FromThreePoints(Pt(1, 0, 5), Pt(0, 1, 5), Pt(0, 0, 5));
    EXPECT_TRUE(Near3(plane.GetNormal(), Vec(0, 0, 1), 1e-15));
    EXPECT_NEAR(plane.SignedDistance(Pt(0, 0, 0)), -5.0, 1e-15);
    ExpectQELException([] { CPlane3d::FromThreePoints(Pt(0, 0, 0), Pt(1, 1, 1), Pt(3, 3, 3)); },
                       QEL_INVALID_PARAMETER, "a, b, c");
    ExpectQELException([] { CPlane3d(Pt(), Vec()); }, QEL_INVALID_PARAMETER, "normal");
    ExpectQELException([] { CPlane3d(Pt(0, INFINITY, 0), Vec(0, 0, 1)); }, QEL_PARAMETER_OUT_OF_RANGE,
                       "point");
    // A tiny normal keeps its direction.
    EXPECT_TRUE(
        Near3(CPlane3d(Pt(), Vec(1e-300, 1e-300, 0)).GetNormal(), Vec(1, 1, 0).GetNormalised(), 1e-15));
}

TEST(Plane3d, LineIntersectionAndParallelLines) {
    CPlane3d const plane(Pt(0, 0, 1), Vec(0, 0, 1));
    Pt hit;
    double t = 0;
    ASSERT_TRUE(plane.IntersectLine(Pt(1, 2, 5), Vec(0, 0, -2), &hit, &t));
    EXPECT_EQ(hit, Pt(1, 2, 1));
    EXPECT_EQ(t, 2.0);
    Pt untouched(9, 9, 9);
    EXPECT_FALSE(plane.IntersectLine(Pt(0, 0, 3), Vec(1, 0, 0), &untouched, &t));
    EXPECT_FALSE(plane.IntersectLine(Pt(0, 0, 3), Vec(), &untouched, &t));
    EXPECT_EQ(untouched, Pt(9, 9, 9));
}

TEST(Plane3d, TransformedPlaneStaysPerpendicularUnderScaleAndShear) {
    CPlane3d const plane(Pt(1, 2, 3), Vec(1, 1, 1));
    double shear[16] = {2, 0, 0, 0, 0.5, 1, 0, 0, 0, 0, 3, 0, 4, 5, 6, 1};
    Transform const t(shear);
    CPlane3d const image = plane.GetTransformed(t);
    // Points of the plane map onto the image plane.
    Vec const u = Vec(1, -1, 0), v = Vec(1, 0, -1);
    for (Pt const& p : {plane.GetPoint(), plane.GetPoint() + u * 3.0, plane.GetPoint() - v * 2.0})
        EXPECT_NEAR(image.SignedDistance(t.Apply(p)), 0.0, 1e-12);
    // The positive side stays positive.
    EXPECT_GT(image.SignedDistance(t.Apply(plane.GetPoint() + plane.GetNormal())), 0.0);
    ExpectQELException([&] { plane.GetTransformed(Transform().CreateScale(1, 0, 1)); }, QEL_INVALID_PARAMETER,
                       "transform");
}

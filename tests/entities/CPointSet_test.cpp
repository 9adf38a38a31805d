// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "PointSetTestUtil.h"
#include "entities/CPointSet.h"

using namespace QEL::Core;

namespace {

CEntityTransform RotateZQuarterThenShift() {
    // Rotation by pi/2 about z, then translation (1, 2, 3): row vectors, translation in the last row.
    double const m[16] = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1};
    return CEntityTransform(CTransform4<double>(m));
}

void ExpectPoint(CPoint3<double> const& p, double x, double y, double z) {
    EXPECT_NEAR(p.x, x, 1e-12);
    EXPECT_NEAR(p.y, y, 1e-12);
    EXPECT_NEAR(p.z, z, 1e-12);
}

}  // namespace

TEST(CPointSet, Constructors_BuildTheDocumentedLayouts) {
    CPointSet const sized(3, 4, CPtsData::nms);
    EXPECT_EQ(sized.GetNumSec(), 3);
    EXPECT_EQ(sized.GetNumPts(), 12);
    CPoint3<double> const points[] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
    CPointSet const three(3, points);
    EXPECT_EQ(three.GetNumSec(), 1);
    ExpectPoint(three.get_Pts(2), 2, 0, 0);
    CPointSet const fromSection(three.get_Sec(0));
    EXPECT_EQ(fromSection.GetNumPts(), 3);
    ExpectQelError([] { CPointSet bad(2, static_cast<CPoint3<double> const*>(nullptr)); }, QEL_NULL_PARAMETER,
                   "points");
    std::unique_ptr<CQEL_Type> copy(three.CreateCopy());
    auto* typed = dynamic_cast<CPointSet*>(copy.get());
    ASSERT_NE(typed, nullptr);
    EXPECT_EQ(typed->GetNumPts(), 3);
}

TEST(CPointSet, Transform_MovesPointsAndTurnsNormalsOnly) {
    CPointSet set(1, 0, CPtsData::nms);
    set.get_Sec(0).AddPoint(1, 0, 0);
    set.set_Nms(0, CVector3<double>(1, 0, 0));
    CPointSet plain(1.0, 0.0, 0.0);
    set.Transform(RotateZQuarterThenShift());
    plain.Transform(RotateZQuarterThenShift());
    ExpectPoint(set.get_Pts(0), 1, 3, 3);
    ExpectPoint(CPoint3<double>(set.get_Nms(0)), 0, 1, 0);
    ExpectPoint(plain.get_Pts(0), 1, 3, 3);
    EXPECT_EQ(plain.GetMetaDataFlags(), CPtsData::def);

    // Under a non-uniform scale a normal stays perpendicular to the surface
    // and keeps its length: the normal of the plane x + y = 1 after x is doubled.
    CPointSet plane(1, 0, CPtsData::nms);
    plane.get_Sec(0).AddPoint(1, 0, 0);
    plane.set_Nms(0, CVector3<double>(1, 1, 0) * (1 / std::sqrt(2.0)));
    plane.Transform(CEntityTransform(CTransform4<double>().CreateScale(2, 1, 1)));
    ExpectPoint(plane.get_Pts(0), 2, 0, 0);
    CVector3<double> const& scaled = plane.get_Nms(0);
    EXPECT_NEAR(scaled.Mag(), 1.0, 1e-12);
    EXPECT_NEAR(scaled.Dot(CVector3<double>(2, -1, 0)), 0.0, 1e-12);  // along the image of the surface
}

// Derived values follow every kind of change: setter, reference, section, transform.
TEST(CPointSet, CentreAndBounds_AreRecomputedAfterEveryChange) {
    CPointSet set(2, 0, CPtsData::def);
    set.get_Sec(0).AddPoint(0, 0, 0);
    set.get_Sec(1).AddPoint(2, 4, -2);
    ExpectPoint(set.GetCenMass(), 1, 2, -1);
    ExpectPoint(set.GetMin(), 0, 0, -2);
    ExpectPoint(set.GetMax(), 2, 4, 0);
    set.set_Pts(0, CPoint3<double>(-2, 0, 0));
    ExpectPoint(set.GetMin(), -2, 0, -2);
    set.get_Pts(1).x = 10;
    ExpectPoint(set.GetMax(), 10, 4, 0);
    CPointSet_Section& held = set.get_Sec(0);
    ExpectPoint(set.GetCenMass(), 4, 2, -1);
    held.AddPoint(0, -6, 0);
    ExpectPoint(set.GetCenMass(), 8.0 / 3.0, -2.0 / 3.0, -2.0 / 3.0);
    set.Transform(RotateZQuarterThenShift());
    ExpectPoint(set.GetMin(), -3, 0, 1);
    set.Reset();
    ExpectPoint(set.GetCenMass(), 0, 0, 0);
}

TEST(CPointSet, ErrorStats_DescribeErrValuesOfSectionsThatHaveThem) {
    CPointSet set(3, 2, CPtsData::def);
    EXPECT_EQ(set.GetErrorStats()->count, 0);
    set.get_Sec(0).AddMetaData(CPtsData::err);
    set.get_Sec(2).AddMetaData(CPtsData::err);
    set.set_Err(0, 1.0);
    set.set_Err(1, -3.0);
    set.set_Err(4, 3.0);
    set.set_Err(5, 3.0);
    SErrorStats const* stats = set.GetErrorStats();
    EXPECT_EQ(stats->count, 4);
    EXPECT_EQ(stats->minIndex, 1);
    EXPECT_EQ(stats->maxIndex, 4);  // the first of two equal maxima
    EXPECT_DOUBLE_EQ(stats->mean, 1.0);
    EXPECT_DOUBLE_EQ(stats->rms, std::sqrt(28.0 / 4.0));
    EXPECT_DOUBLE_EQ(stats->stdDev, std::sqrt((0.0 + 16.0 + 4.0 + 4.0) / 4.0));
    EXPECT_EQ(stats->maxAbs, 3.0);
    set.set_Err(5, 11.0);
    EXPECT_EQ(set.GetErrorStats()->max, 11.0);
}

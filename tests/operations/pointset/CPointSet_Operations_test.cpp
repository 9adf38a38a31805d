// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "PointSetTestUtil.h"
#include "operations/pointset/CPointSet_Analyse.h"
#include "operations/pointset/CPointSet_Merge.h"
#include "operations/pointset/CPointSet_Modify.h"
#include "operations/pointset/CProfileIntersection.h"

using namespace QEL::Core;

namespace {

CPointSet Sections(std::initializer_list<int> sizes) {
    CPointSet set;
    CPointSet_Modify modify(set);
    int k = 0;
    for (int size : sizes) {
        CPointSet_Section& section = modify.AppendSection();
        for (int i = 0; i < size; ++i, ++k)
            section.AddPoint(k, 0, 0);
    }
    return set;
}

}  // namespace

TEST(CPointSet_Modify, AddSectionAfter_InsertsCopiesAndOwnedSectionsInPlace) {
    CPointSet set = Sections({2, 3});
    CPointSet_Modify modify(set);
    modify.AddSection_After(-1, set.get_Sec(1));  // copy of its own section, at the front
    ASSERT_EQ(set.GetNumSec(), 3);
    EXPECT_EQ(set.GetNumPts(), 8);
    EXPECT_EQ(set.get_Pts(0).x, 2.0);
    modify.AddSection_After(0, new CPointSet_Section(4, CPtsData::ind));
    EXPECT_EQ(set.get_Sec(1).GetNumPts(), 4);
    EXPECT_EQ(set.GetNumPts(), 12);
    EXPECT_EQ(set.get_Ind(4), -1);
    ExpectQelError([&] { modify.AddSection_After(4, set.get_Sec(0)); }, QEL_PARAMETER_OUT_OF_RANGE, "after");
    CPointSet other = Sections({1});
    ExpectQelError([&] { modify.AddSection_After(0, &other.get_Sec(0)); }, QEL_INVALID_OPERATION, "section");
    EXPECT_EQ(other.GetNumPts(), 1);  // the refused section stays with its set
    modify.AppendSection();
    EXPECT_EQ(modify.RemoveEmptySections(), 1);
    std::unique_ptr<CPointSet_Section> detached(modify.DetachSection(0));
    EXPECT_EQ(detached->GetOwner(), nullptr);
    EXPECT_EQ(set.GetNumPts(), 9);
}

TEST(CPointSet_Merge, Basic_AppendsCopiesOfEverySectionWithTheirAttributes) {
    CPointSet target = Sections({1, 2});
    CPointSet source = Sections({3});
    source.AddMetaData(CPtsData::err);
    source.set_Err(2, 1.5);
    CPointSet_Merge(target).Basic(source);
    ASSERT_EQ(target.GetNumSec(), 3);
    EXPECT_EQ(target.GetNumPts(), 6);
    EXPECT_EQ(target.get_Err(5), 1.5);
    EXPECT_FALSE(target.HasMetaData(CPtsData::err));
    source.set_Err(2, 0.0);
    EXPECT_EQ(target.get_Err(5), 1.5);
    CPointSet_Merge(target).Basic(target);
    EXPECT_EQ(target.GetNumSec(), 6);
    EXPECT_EQ(target.GetNumPts(), 12);
}

TEST(CPointSet_Analyse, FarthestPoint_IsTheFirstWithTheLargestCoordinate) {
    CPointSet set = Sections({0, 3, 2});  // x = 0 .. 4
    set.set_Pts(1, CPoint3<double>(4, 0, 0));
    SFarthestPoint const far =
        CPointSet_Analyse(set).ComputeFarthestPointAlongDirection(CVector3<double>(2, 0, 0));
    EXPECT_EQ(far.index, 1);
    EXPECT_EQ(far.distance, 4.0);
    SFarthestPoint const back =
        CPointSet_Analyse(set).ComputeFarthestPointAlongDirection(CVector3<double>(-1, 0, 0));
    EXPECT_EQ(back.index, 0);
    ExpectQelError(
        [&] { CPointSet_Analyse(set).ComputeFarthestPointAlongDirection(CVector3<double>(0, 0, 0)); },
        QEL_INVALID_PARAMETER, "direction");
    ExpectQelError([] { CPointSet_Analyse(CPointSet()).ComputePrincipalAxes(); }, QEL_INVALID_POINTSET, "");
}

TEST(CPointSet_Analyse, PrincipalAxes_FindTheSpreadOfAnElongatedCloud) {
    // Points spread 10 : 3 : 0.5 along three known orthogonal directions.
    CVector3<double> const e0 = CVector3<double>(1, 1, 0).GetNormalised();
    CVector3<double> const e1 = CVector3<double>(-1, 1, 1).GetNormalised();
    CVector3<double> const e2 = e0.Cross(e1);
    std::mt19937 random(7u);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    CPointSet set(1, 0, CPtsData::def);
    for (int i = 0; i < 2000; ++i)
        set.get_Sec(0).AddPoint(CPoint3<double>(5, -1, 2) + e0 * (10 * unit(random)) +
                                e1 * (3 * unit(random)) + e2 * (0.5 * unit(random)));
    SPrincipalAxes const axes = CPointSet_Analyse(set).ComputePrincipalAxes();
    EXPECT_NEAR(std::fabs(axes.axes[0].Dot(e0)), 1.0, 1e-3);
    EXPECT_NEAR(std::fabs(axes.axes[1].Dot(e1)), 1.0, 1e-2);
    EXPECT_NEAR(axes.axes[0].Cross(axes.axes[1]).Dot(axes.axes[2]), 1.0, 1e-12);
    EXPECT_GT(axes.variances[0], axes.variances[1]);
    EXPECT_GT(axes.variances[1], axes.variances[2]);
    EXPECT_NEAR(axes.variances[0], 100.0 / 3.0, 2.0);  // uniform on [-10, 10]
}

// A polyline through a vertex on the plane gives that vertex once; strict
// crossings are interpolated; a touching vertex counts; sections keep order.
TEST(CProfileIntersection, Intersect_CountsVerticesOnThePlaneOnce) {
    CPointSet set(2, 0, CPtsData::def);
    for (double x : {-1.0, 0.0, 1.0, 3.0, -1.0})
        set.get_Sec(0).AddPoint(x, 0, 0);
    for (double x : {-2.0, 0.0, -1.0})
        set.get_Sec(1).AddPoint(x, 1, 0);
    CQEL_Array<SProfileHit> hits;
    int const found =
        CProfileIntersection(CPoint3<double>(0, 5, 5), CVector3<double>(2, 0, 0)).Intersect(set, hits);
    ASSERT_EQ(found, 3);
    EXPECT_EQ(hits[0].section, 0);
    EXPECT_EQ(hits[0].segment, 1);
    EXPECT_EQ(hits[1].section, 0);
    EXPECT_EQ(hits[1].segment, 3);
    EXPECT_DOUBLE_EQ(hits[1].t, 0.75);
    EXPECT_EQ(hits[1].point.x, 0.0);
    EXPECT_EQ(hits[2].section, 1);
    ExpectQelError([] { CProfileIntersection(CPoint3<double>(0, 0, 0), CVector3<double>(0, 0, 0)); },
                   QEL_INVALID_PARAMETER, "planeNormal");
}

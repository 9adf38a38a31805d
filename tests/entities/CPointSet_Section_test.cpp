// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "PointSetTestUtil.h"
#include "entities/CPointSet_Section.h"

using namespace QEL::Core;

namespace {

CPointSet_Section Numbered(int n, CPtsData flags) {
    CPointSet_Section section;
    section.AddMetaData(flags);
    for (int i = 0; i < n; ++i)
        section.AddPoint(i, 10 * i, 100 * i);
    return section;
}

}  // namespace

// A fresh or reset section: positions only, no points, defaults installed.
TEST(CPointSet_Section, ResetRestoresPositionsOnlyAndDefaults) {
    CPointSet_Section section = Numbered(3, CPtsData::ind | CPtsData::nms);
    section.set_Ind(0, 4);
    section.Reset();
    EXPECT_EQ(section.GetNumPts(), 0);
    EXPECT_EQ(section.GetMetaDataFlags(), CPtsData::def);
    section.AddMetaData(CPtsData::ind);
    section.AddPoint(1, 2, 3);
    EXPECT_EQ(section.get_Ind(0), -1);
    EXPECT_EQ(CPointSet_Section().GetMetaDataFlags(), CPtsData::def);
}

TEST(CPointSet_Section, Constructors_SizeAndFilterAttributes) {
    CPointSet_Section const sized(4, CPtsData::err | CPtsData::ind);
    EXPECT_EQ(sized.GetNumPts(), 4);
    EXPECT_EQ(sized.GetMetaDataFlags(), CPtsData::def | CPtsData::err | CPtsData::ind);
    EXPECT_EQ(sized.get_Ind(3), -1);
    EXPECT_EQ(sized.get_Pts(3).x, 0.0);

    CPointSet_Section source = Numbered(3, CPtsData::err | CPtsData::col);
    source.set_Err(1, 0.5);
    CPointSet_Section const filtered(source, CPtsData::err | CPtsData::sta);
    EXPECT_EQ(filtered.GetMetaDataFlags(), CPtsData::def | CPtsData::err | CPtsData::sta);
    EXPECT_EQ(filtered.get_Err(1), 0.5);
    EXPECT_EQ(filtered.get_Sta(1), 0);
    EXPECT_EQ(filtered.get_Pts(2).z, 200.0);
    ExpectQelError([] { CPointSet_Section bad(-1, CPtsData::def); }, QEL_PARAMETER_OUT_OF_RANGE, "num_pts");
}

// Every attribute moves with its point.
TEST(CPointSet_Section, RemoveAndReverse_KeepAttributesInStep) {
    CPointSet_Section section = Numbered(5, CPtsData::ind | CPtsData::err);
    for (int i = 0; i < 5; ++i) {
        section.set_Ind(i, i);
        section.set_Err(i, 0.5 * i);
    }
    section.RemovePoint(1);
    section.Reverse();
    int const expected[] = {4, 3, 2, 0};
    ASSERT_EQ(section.GetNumPts(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(section.get_Ind(i), expected[i]);
        EXPECT_EQ(section.get_Err(i), 0.5 * expected[i]);
        EXPECT_EQ(section.get_Pts(i).x, double(expected[i]));
    }
    EXPECT_EQ(section.LastPoint().x, 0.0);
    section.DecrementNumPts(3);
    EXPECT_EQ(section.GetNumPts(), 1);
    EXPECT_EQ(section.GetIndArray().Count(), 1);
    ExpectQelError([&] { section.DecrementNumPts(2); }, QEL_PARAMETER_OUT_OF_RANGE, "count");
    ExpectQelError([&] { section.RemovePoint(1); }, QEL_PARAMETER_OUT_OF_RANGE, "index");
    ExpectQelError([&] { (void)section.get_Pts(1); }, QEL_PARAMETER_OUT_OF_RANGE, "index");
    section.DecrementNumPts(1);
    ExpectQelError([&] { (void)section.FirstPoint(); }, QEL_INVALID_OPERATION, "");
}

TEST(CPointSet_Section, CopyElement_CopiesOnlySharedAttributes) {
    CPointSet_Section target = Numbered(2, CPtsData::ind | CPtsData::col);
    CPointSet_Section source = Numbered(3, CPtsData::ind | CPtsData::err);
    source.set_Ind(2, 42);
    source.set_Err(2, 7.0);
    target.set_Col(0, CPoint3<double>(1, 1, 1));
    target.CopyElement(0, 2, &source);
    EXPECT_EQ(target.get_Pts(0).x, 2.0);
    EXPECT_EQ(target.get_Ind(0), 42);
    EXPECT_EQ(target.get_Col(0).x, 1.0);  // source has no colour: kept
    target.CopyElement(1, 0, &target);
    EXPECT_EQ(target.get_Ind(1), 42);
    ExpectQelError([&] { target.CopyElement(0, 3, &source); }, QEL_PARAMETER_OUT_OF_RANGE, "from");
    ExpectQelError([&] { target.CopyElement(0, 0, nullptr); }, QEL_NULL_PARAMETER, "source");
}

TEST(CPointSet_Section, SetMetaData_KeepsPositionsAndValuesOfKeptAttributes) {
    CPointSet_Section section = Numbered(3, CPtsData::ind | CPtsData::nms);
    section.set_Ind(2, 9);
    section.SetMetaData(CPtsData::ind | CPtsData::vel);
    EXPECT_EQ(section.GetMetaDataFlags(), CPtsData::def | CPtsData::ind | CPtsData::vel);
    EXPECT_EQ(section.get_Ind(2), 9);
    EXPECT_EQ(section.GetNmsArray().Count(), 0);
    EXPECT_EQ(section.GetVelArray().Count(), 3);
    section.RemoveMetaData(CPtsData::def);
    EXPECT_TRUE(section.HasMetaData(CPtsData::def));
    EXPECT_EQ(section.get_Pts(2).y, 20.0);
}

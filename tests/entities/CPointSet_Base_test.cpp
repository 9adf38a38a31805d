// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "PointSetTestUtil.h"
#include "entities/CPointSet.h"

using namespace QEL::Core;

namespace {

// A set whose sections have the given sizes; point (s, l) is at (s, l, global).
CPointSet MakeLayout(std::vector<int> const& sizes, std::vector<std::pair<int, int>>& model) {
    CPointSet set;
    set.CheckSpace(int(sizes.size()), 0, CPtsData::def);
    model.clear();
    for (int s = 0; s < int(sizes.size()); ++s)
        for (int l = 0; l < sizes[s]; ++l) {
            set.get_Sec(s).AddPoint(double(s), double(l), double(model.size()));
            model.emplace_back(s, l);
        }
    return set;
}

void ExpectResolves(CPointSet const& set, std::vector<std::pair<int, int>> const& model, int global) {
    int section = -7, local = -7;
    set.GetIndicesFromSectionlessIndex(global, section, local);
    ASSERT_EQ(section, model[global].first) << "global " << global;
    ASSERT_EQ(local, model[global].second) << "global " << global;
    ASSERT_EQ(set.get_Pts(global).z, double(global));
}

}  // namespace

// The cached walk must agree with a brute-force table for every order of
// access, on layouts full of empty sections (leading, trailing, runs).
TEST(CPointSet_Base, GlobalIndex_MatchesBruteForceForwardBackwardAndRandom) {
    std::mt19937 random(20240611u);
    for (int layout = 0; layout < 60; ++layout) {
        int const numSections = 1 + int(random() % 40);
        std::vector<int> sizes(numSections);
        for (int& size : sizes)
            size = random() % 3 == 0 ? 0 : int(random() % 7);
        sizes[random() % numSections] += 1;  // at least one point
        std::vector<std::pair<int, int>> model;
        CPointSet const set = MakeLayout(sizes, model);
        int const n = set.GetNumPts();
        ASSERT_EQ(n, int(model.size()));
        for (int g = 0; g < n; ++g)
            ExpectResolves(set, model, g);
        for (int g = n - 1; g >= 0; --g)
            ExpectResolves(set, model, g);
        for (int k = 0; k < 4 * n; ++k)
            ExpectResolves(set, model, int(random() % n));
        // Strides of various lengths in both directions.
        for (int stride : {2, 3, 5}) {
            for (int g = 0; g < n; g += stride)
                ExpectResolves(set, model, g);
            for (int g = n - 1; g >= 0; g -= stride)
                ExpectResolves(set, model, g);
        }
    }
}

TEST(CPointSet_Base, GlobalIndex_RejectsMinusOneAndCount) {
    std::vector<std::pair<int, int>> model;
    CPointSet const set = MakeLayout({2, 0, 3}, model);
    int section = 0, local = 0;
    for (int bad : {-1, set.GetNumPts()}) {
        std::string const text =
            ExpectQelError([&] { set.GetIndicesFromSectionlessIndex(bad, section, local); },
                           QEL_PARAMETER_OUT_OF_RANGE, "global_index");
        EXPECT_NE(text.find("QEL::Core::CPointSet_Base::GetIndicesFromSectionlessIndex"), std::string::npos);
        ExpectQelError([&] { (void)set.get_Pts(bad); }, QEL_PARAMETER_OUT_OF_RANGE, "global_index");
    }
    CPointSet const empty;
    ExpectQelError([&] { (void)empty.get_Pts(0); }, QEL_PARAMETER_OUT_OF_RANGE, "global_index");
}

// Adding or removing points anywhere (even through a section handed out
// earlier) keeps the total and the cached walk right.
TEST(CPointSet_Base, PointCount_FollowsChangesMadeThroughSections) {
    std::vector<std::pair<int, int>> model;
    CPointSet set = MakeLayout({3, 0, 4}, model);
    int section = 0, local = 0;
    set.GetIndicesFromSectionlessIndex(5, section, local);  // fills the cache
    CPointSet_Section& middle = set.get_Sec(1);
    middle.AddPoint(9.0, 9.0, 9.0);
    EXPECT_EQ(set.GetNumPts(), 8);
    set.GetIndicesFromSectionlessIndex(5, section, local);
    EXPECT_EQ(section, 2);
    EXPECT_EQ(local, 1);
    set.get_Sec(2).RemovePoint(0);
    set.get_Sec(0).DecrementNumPts(2);
    EXPECT_EQ(set.GetNumPts(), 5);
    set.get_Sec(0).CheckSpace(6, CPtsData::def);
    EXPECT_EQ(set.GetNumPts(), 10);
    set.get_Sec(2).Reset();
    EXPECT_EQ(set.GetNumPts(), 7);
    set.CheckSpace(2, 3, CPtsData::def);
    EXPECT_EQ(set.GetNumSec(), 2);
    EXPECT_EQ(set.GetNumPts(), 6);
    set.Reset();
    EXPECT_EQ(set.GetNumSec(), 0);
    EXPECT_EQ(set.GetNumPts(), 0);
}

TEST(CPointSet_Base, ReverseSectionOrder_KeepsPointOrderWithinSections) {
    std::vector<std::pair<int, int>> model;
    CPointSet set = MakeLayout({2, 0, 3}, model);
    set.ReverseSectionOrder();
    ASSERT_EQ(set.GetNumSec(), 3);
    EXPECT_EQ(set.get_Sec(0).GetNumPts(), 3);
    EXPECT_EQ(set.get_Sec(2).GetNumPts(), 2);
    // Global order now runs through the former last section first, each in its own order.
    double const expected[] = {2, 3, 4, 0, 1};
    for (int g = 0; g < 5; ++g)
        EXPECT_EQ(set.get_Pts(g).z, expected[g]) << g;
}

// Scalars are written through setters only; vector attributes also by reference.
TEST(CPointSet_Base, Attributes_AddedToExistingPointsCarryDefaults) {
    CPointSet set(2, 0, CPtsData::def);
    for (int i = 0; i < 3; ++i)
        set.get_Sec(0).AddPoint(i, 0, 0);
    for (int i = 0; i < 2; ++i)
        set.get_Sec(1).AddPoint(0, i, 0);
    EXPECT_FALSE(set.HasMetaData(CPtsData::nms));
    set.AddMetaData(CPtsData::nms);
    for (int g = 0; g < 5; ++g)
        EXPECT_EQ(std::as_const(set).get_Nms(g), CVector3<double>());
    set.get_Sec(0).AddMetaData(CPtsData::col);
    EXPECT_FALSE(set.HasMetaData(CPtsData::nms | CPtsData::col));  // section 1 lacks col
    set.AddMetaData(CPtsData::col);
    EXPECT_TRUE(set.HasMetaData(CPtsData::nms | CPtsData::col));

    set.AddMetaData(CPtsData::ind | CPtsData::sta | CPtsData::usr | CPtsData::err | CPtsData::vel);
    set.get_Sec(1).AddPoint(5, 5, 5);  // a point added after the attributes
    for (int g = 0; g < set.GetNumPts(); ++g) {
        EXPECT_EQ(set.get_Ind(g), -1);
        EXPECT_EQ(set.get_Sta(g), 0);
        EXPECT_EQ(set.get_Usr(g), nullptr);
        EXPECT_EQ(set.get_Err(g), 0.0);
        EXPECT_EQ(set.get_Vel(g), 0.0);
    }
    int marker = 0;
    EXPECT_EQ(set.set_Ind(4, 17), 17);
    set.set_Usr(5, &marker);
    EXPECT_EQ(set.get_Sec(1).get_Ind(1), 17);
    EXPECT_EQ(set.get_Sec(1).get_Usr(2), &marker);
    set.get_Nms(2).z = 1.0;
    EXPECT_EQ(set.get_Sec(0).get_Nms(2).z, 1.0);

    set.RemoveMetaData(CPtsData::nms | CPtsData::def);  // positions stay
    EXPECT_TRUE(set.HasMetaData(CPtsData::def | CPtsData::col));
    ExpectQelError([&] { (void)std::as_const(set).get_Nms(0); }, QEL_INVALID_OPERATION, "index");
    set.RemoveAllMetaData();
    EXPECT_EQ(set.GetMetaDataFlags(), CPtsData::def);
    EXPECT_EQ(set.GetNumPts(), 6);
}

TEST(CPointSet_Base, Copy_IsDeepAndIndependent) {
    std::vector<std::pair<int, int>> model;
    CPointSet set = MakeLayout({2, 0, 3}, model);
    set.AddMetaData(CPtsData::err);
    set.set_Err(3, 2.5);
    CPointSet copy(set);
    set.set_Err(3, 1.0);
    set.get_Sec(0).AddPoint(1, 1, 1);
    EXPECT_EQ(copy.GetNumPts(), 5);
    EXPECT_EQ(copy.get_Err(3), 2.5);
    copy = set;
    copy = copy;
    EXPECT_EQ(copy.GetNumPts(), 6);
    EXPECT_EQ(copy.get_Err(4), 1.0);
}

TEST(CPointSet_Base, Sections_RejectBadIndicesAndEmptyHeads) {
    CPointSet set;
    ExpectQelError([&] { (void)set.GetHead(); }, QEL_INVALID_OPERATION, "");
    ExpectQelError([&] { (void)std::as_const(set).GetTail(); }, QEL_INVALID_OPERATION, "");
    set.CheckSpace(2, 1, CPtsData::def);
    ExpectQelError([&] { (void)set.get_Sec(2); }, QEL_PARAMETER_OUT_OF_RANGE, "section_index");
    ExpectQelError([&] { set.CheckSpace(-1, 0, CPtsData::def); }, QEL_PARAMETER_OUT_OF_RANGE, "num_sections");
    EXPECT_EQ(&set.GetTail(), &set.get_Sec(1));
}

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>

#include "entities/CPtsData.h"

using namespace QEL::Core;

// Files store these bits and tags: a changed value would misread every file
// written before. New attributes only add rows.
TEST(CPtsData, BitValuesAndRecordTagsAreFixed) {
    struct {
        CPtsData flag;
        std::uint32_t bit;
        char const* tag;
    } const fixed[] = {{CPtsData::def, 0x001, "POINTS  "}, {CPtsData::nms, 0x002, "NORMALS "},
                       {CPtsData::cuv, 0x004, "UVS     "}, {CPtsData::cpt, 0x008, "CPOINTS "},
                       {CPtsData::cnm, 0x010, "CNORMALS"}, {CPtsData::col, 0x020, "COLOURS "},
                       {CPtsData::err, 0x040, "ERRORS  "}, {CPtsData::vel, 0x080, "VELS    "},
                       {CPtsData::sta, 0x100, "STATUSES"}, {CPtsData::ind, 0x200, "INDICES "},
                       {CPtsData::usr, 0x400, ""}};
    for (auto const& f : fixed) {
        EXPECT_EQ(f.flag.GetBits(), f.bit);
        int rows = 0;
        for (SPointAttribute const& a : kPointAttributes)
            if (a.bit == f.bit) {
                ++rows;
                EXPECT_STREQ(a.tag, f.tag);
            }
        EXPECT_EQ(rows, 1) << f.tag;
    }
    EXPECT_TRUE(CPtsData::all.Contains(CPtsData(0x7FF)));
}

TEST(CPtsData, SetOperationsCombineAndCompare) {
    CPtsData const both = CPtsData::nms | CPtsData::col;
    EXPECT_FALSE(CPtsData(CPtsData::nms).Contains(both));
    EXPECT_TRUE(CPtsData(CPtsData::nms).Intersects(both));
    EXPECT_EQ((both - CPtsData::nms), CPtsData::col);
    EXPECT_EQ((~CPtsData::def & CPtsData::all), CPtsData::all - CPtsData::def);
}

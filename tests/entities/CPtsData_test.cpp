// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "entities/CPtsData.h"

using namespace QEL::Core;

// Files store these bits: a changed value would misread every file written before.
TEST(CPtsData, BitValuesAreFixedInTableOrder) {
    CPtsData const flags[] = {CPtsData::def, CPtsData::nms, CPtsData::cuv, CPtsData::cpt,
                              CPtsData::cnm, CPtsData::col, CPtsData::err, CPtsData::vel,
                              CPtsData::sta, CPtsData::ind, CPtsData::usr};
    for (int i = 0; i < CPtsData::kCount; ++i)
        EXPECT_EQ(flags[i].GetBits(), 1u << i) << i;
    EXPECT_EQ(CPtsData::all.GetBits(), 0x7FFu);
}

TEST(CPtsData, SetOperationsCombineAndCompare) {
    CPtsData const both = CPtsData::nms | CPtsData::col;
    EXPECT_FALSE(CPtsData(CPtsData::nms).Contains(both));
    EXPECT_TRUE(CPtsData(CPtsData::nms).Intersects(both));
    EXPECT_EQ((both - CPtsData::nms), CPtsData::col);
    EXPECT_EQ((~CPtsData::def & CPtsData::all).GetBits(), 0x7FEu);
}

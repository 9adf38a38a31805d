// SPDX-License-Identifier: MIT
// Point sets for the format tests, built in code with fixed seeds.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"

namespace QEL::Test {

using namespace QEL::Core;

// Every storable attribute (all but the user pointer).
inline CPtsData AllStored() {
    return CPtsData::def | CPtsData::nms | CPtsData::cuv | CPtsData::cpt | CPtsData::cnm | CPtsData::col |
           CPtsData::err | CPtsData::vel | CPtsData::sta | CPtsData::ind;
}

// Fills every attribute that section carries with values drawn from random.
inline void FillSection(CPointSet_Section& section, std::mt19937& random) {
    std::uniform_real_distribution<double> value(-1000.0, 1000.0);
    std::uniform_int_distribution<int> integer(-30000, 30000);
    auto const v3 = [&] { return CVector3<double>(value(random), value(random), value(random)); };
    auto const p3 = [&] { return CPoint3<double>(value(random), value(random), value(random)); };
    CPtsData const flags = section.GetMetaDataFlags();
    for (int i = 0; i < section.GetNumPts(); ++i) {
        section.set_Pts(i, p3());
        if (flags.Contains(CPtsData::nms)) section.set_Nms(i, v3());
        if (flags.Contains(CPtsData::cuv)) section.set_CUV(i, CPoint2<double>(value(random), value(random)));
        if (flags.Contains(CPtsData::cpt)) section.set_CPt(i, p3());
        if (flags.Contains(CPtsData::cnm)) section.set_CNm(i, v3());
        if (flags.Contains(CPtsData::col)) section.set_Col(i, p3());
        if (flags.Contains(CPtsData::err)) section.set_Err(i, value(random));
        if (flags.Contains(CPtsData::vel)) section.set_Vel(i, value(random));
        if (flags.Contains(CPtsData::sta)) section.set_Sta(i, std::int16_t(integer(random)));
        if (flags.Contains(CPtsData::ind)) section.set_Ind(i, integer(random) * 1000);
    }
}

// sections of points points each with the given attributes, filled from seed.
inline CPointSet MakeSet(int sections, int points, CPtsData flags, unsigned seed) {
    CPointSet set(sections, points, flags);
    std::mt19937 random(seed);
    for (int s = 0; s < set.GetNumSec(); ++s)
        FillSection(set.get_Sec(s), random);
    return set;
}

// Equal sections, attribute sets and values of every stored attribute.
inline void ExpectSameSets(CPointSet const& a, CPointSet const& b) {
    ASSERT_EQ(a.GetNumSec(), b.GetNumSec());
    ASSERT_EQ(a.GetNumPts(), b.GetNumPts());
    for (int s = 0; s < a.GetNumSec(); ++s) {
        SCOPED_TRACE(s);
        CPointSet_Section const& x = a.get_Sec(s);
        CPointSet_Section const& y = b.get_Sec(s);
        CPtsData const flags = x.GetMetaDataFlags();
        ASSERT_EQ(flags.GetBits() & AllStored().GetBits(),
                  y.GetMetaDataFlags().GetBits() & AllStored().GetBits());
        ASSERT_EQ(x.GetNumPts(), y.GetNumPts());
        for (int i = 0; i < x.GetNumPts(); ++i) {
            ASSERT_EQ(CPoint3<double>(x.get_Pts(i)), CPoint3<double>(y.get_Pts(i))) << i;
            if (flags.Contains(CPtsData::nms)) {
                ASSERT_EQ(x.get_Nms(i), y.get_Nms(i));
            }
            if (flags.Contains(CPtsData::cuv)) {
                ASSERT_EQ(x.get_CUV(i), y.get_CUV(i));
            }
            if (flags.Contains(CPtsData::cpt)) {
                ASSERT_EQ(x.get_CPt(i), y.get_CPt(i));
            }
            if (flags.Contains(CPtsData::cnm)) {
                ASSERT_EQ(x.get_CNm(i), y.get_CNm(i));
            }
            if (flags.Contains(CPtsData::col)) {
                ASSERT_EQ(x.get_Col(i), y.get_Col(i));
            }
            if (flags.Contains(CPtsData::err)) {
                ASSERT_EQ(x.get_Err(i), y.get_Err(i));
            }
            if (flags.Contains(CPtsData::vel)) {
                ASSERT_EQ(x.get_Vel(i), y.get_Vel(i));
            }
            if (flags.Contains(CPtsData::sta)) {
                ASSERT_EQ(x.get_Sta(i), y.get_Sta(i));
            }
            if (flags.Contains(CPtsData::ind)) {
                ASSERT_EQ(x.get_Ind(i), y.get_Ind(i));
            }
        }
    }
}

}  // namespace QEL::Test

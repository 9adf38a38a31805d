// SPDX-License-Identifier: MIT
// Point sets for the format tests, built in code with fixed seeds.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "entities/CPointSet.h"
#include "entities/CPointSet_Attributes.h"
#include "entities/CPointSet_Section.h"

namespace QEL::Test {

using namespace QEL::Core;

// Every storable attribute (all but the user pointer).
inline CPtsData AllStored() {
    CPtsData flags;
    for (SPointAttribute const& a : kPointAttributes)
        if (a.tag[0] != '\0') flags = flags | CPtsData(a.bit);
    return flags;
}

// Fills every stored attribute that section carries with values drawn from
// random (whole numbers where the element type is an integer).
inline void FillSection(CPointSet_Section& section, std::mt19937& random) {
    std::uniform_int_distribution<int> value(-30000, 30000);
    for (SPointAttribute const& a : kPointAttributes) {
        if (a.tag[0] == '\0' || !section.HasMetaData(CPtsData(a.bit))) continue;
        VisitPointElement(a.element, [&]<EPointElement E>() {
            auto& collection = PointAttributeCollection<E>(section, a);
            for (int i = 0; i < section.GetNumPts(); ++i) {
                double const v[3] = {value(random) / 32.0, value(random) / 32.0, value(random) / 32.0};
                collection.Set(i, FromComponents<E>(v));
            }
        });
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

// The number of points of each section.
inline std::vector<int> SectionSizes(CPointSet const& set) {
    std::vector<int> sizes;
    for (int s = 0; s < set.GetNumSec(); ++s)
        sizes.push_back(set.get_Sec(s).GetNumPts());
    return sizes;
}

// Equal sections, attribute sets and values of every stored attribute.
inline void ExpectSameSets(CPointSet const& a, CPointSet const& b) {
    ASSERT_EQ(a.GetNumSec(), b.GetNumSec());
    ASSERT_EQ(a.GetNumPts(), b.GetNumPts());
    for (int s = 0; s < a.GetNumSec(); ++s) {
        SCOPED_TRACE(s);
        CPointSet_Section const& x = a.get_Sec(s);
        CPointSet_Section const& y = b.get_Sec(s);
        ASSERT_EQ((x.GetMetaDataFlags() & AllStored()).GetBits(),
                  (y.GetMetaDataFlags() & AllStored()).GetBits());
        ASSERT_EQ(x.GetNumPts(), y.GetNumPts());
        for (SPointAttribute const& attribute : kPointAttributes) {
            if (attribute.tag[0] == '\0' || !x.HasMetaData(CPtsData(attribute.bit))) continue;
            VisitPointElement(attribute.element, [&]<EPointElement E>() {
                auto const& xs = PointAttributeCollection<E>(x, attribute).GetAsArray();
                auto const& ys = PointAttributeCollection<E>(y, attribute).GetAsArray();
                for (int i = 0; i < x.GetNumPts(); ++i) {
                    double u[3] = {}, v[3] = {};
                    ToComponents<E>(xs[i], u);
                    ToComponents<E>(ys[i], v);
                    ASSERT_TRUE(u[0] == v[0] && u[1] == v[1] && u[2] == v[2]) << attribute.name << " " << i;
                }
            });
        }
    }
}

}  // namespace QEL::Test

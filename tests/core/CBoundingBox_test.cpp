// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>

#include "ElementsTestSupport.h"
#include "core/CBoundingBox.h"

using namespace ElementsTest;
using QEL::Elements::CBoundingBox;

TEST(BoundingBox, EmptyBoxAnswersWithTheUndefinedMarker) {
    CBoundingBox box;
    EXPECT_TRUE(box.GetCentre().IsUndefined());
    EXPECT_EQ(box.GetDiagonal(), CVector3<double>());
    EXPECT_FALSE(box.Contains(CPoint3<double>()));
    EXPECT_FALSE(box.Intersects(box));
    box.Inflate(5);
    EXPECT_TRUE(box.IsEmpty());
    EXPECT_TRUE(box.GetTransformed(Transform().CreateTranslation(1, 2, 3)).IsEmpty());
    // One point: not empty, zero size.
    box.Add(CPoint3<double>(1, 2, 3));
    EXPECT_FALSE(box.IsEmpty());
    EXPECT_TRUE(box.Contains(CPoint3<double>(1, 2, 3)));
}

TEST(BoundingBox, GrowsWithPointsAndBoxesAndIgnoresNonFinitePoints) {
    CBoundingBox box;
    EXPECT_TRUE(box.Add(CPoint3<double>(1, -2, 3)));
    EXPECT_TRUE(box.Add(CPoint3<double>(-1, 4, 0)));
    EXPECT_FALSE(box.Add(CPoint3<double>(NAN, 100, 100)));
    EXPECT_FALSE(box.Add(CPoint3<double>(0, INFINITY, 0)));
    EXPECT_EQ(box.GetMin(), CPoint3<double>(-1, -2, 0));
    EXPECT_EQ(box.GetMax(), CPoint3<double>(1, 4, 3));
    EXPECT_EQ(box.GetDiagonalLength(), 7.0);

    CBoundingBox copy = box;
    copy.Add(CBoundingBox());
    EXPECT_EQ(copy, box);
    copy.Add(CBoundingBox(CPoint3<double>(5, 5, 5), CPoint3<double>(4, 4, 4)));
    EXPECT_EQ(copy.GetMax(), CPoint3<double>(5, 5, 5));
    EXPECT_TRUE(copy.Contains(box));
    EXPECT_FALSE(box.Contains(copy));

    EXPECT_FALSE(box.Contains(CPoint3<double>(1.001, 0, 0)));
    EXPECT_TRUE(box.Contains(CPoint3<double>(1.001, 0, 0), 0.01));
    EXPECT_TRUE(box.Intersects(CBoundingBox(CPoint3<double>(1, 4, 3), CPoint3<double>(9, 9, 9))));
    EXPECT_FALSE(box.Intersects(CBoundingBox(CPoint3<double>(1.5, 0, 0), CPoint3<double>(9, 9, 9))));
    box.Inflate(-1.5);  // thinner than 3 along x: turns inside out
    EXPECT_TRUE(box.IsEmpty());
}

TEST(BoundingBox, TransformedBoxHoldsEveryTransformedCorner) {
    CBoundingBox const box(CPoint3<double>(0, 0, 0), CPoint3<double>(2, 1, 1));
    Transform const turn = Transform().CreateRotationZ(kPi / 4);
    CBoundingBox const image = box.GetTransformed(turn);
    double const s = std::sqrt(0.5);
    EXPECT_TRUE(Near3(image.GetMin(), CPoint3<double>(-s, 0, 0), 1e-15));
    EXPECT_TRUE(Near3(image.GetMax(), CPoint3<double>(2 * s, 3 * s, 1), 1e-15));
}

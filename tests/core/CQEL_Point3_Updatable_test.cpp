// SPDX-License-Identifier: MIT
// The self-marking points and vectors of the data layer, in 3-D and 2-D.
#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include "ElementsTestSupport.h"
#include "core/CQEL_Array.h"
#include "core/CQEL_Point2_Updatable.h"
#include "core/CQEL_Point3_Updatable.h"
#include "core/CQEL_Vector2_Updatable.h"
#include "core/CQEL_Vector3_Updatable.h"

template class QEL::Elements::CQEL_Point3_Updatable<int>;
template class QEL::Elements::CQEL_Point3_Updatable<float>;
template class QEL::Elements::CQEL_Point3_Updatable<double>;
template class QEL::Elements::CQEL_Vector3_Updatable<int>;
template class QEL::Elements::CQEL_Vector3_Updatable<float>;
template class QEL::Elements::CQEL_Vector3_Updatable<double>;
template class QEL::Elements::CQEL_Point2_Updatable<int>;
template class QEL::Elements::CQEL_Point2_Updatable<float>;
template class QEL::Elements::CQEL_Point2_Updatable<double>;
template class QEL::Elements::CQEL_Vector2_Updatable<int>;
template class QEL::Elements::CQEL_Vector2_Updatable<float>;
template class QEL::Elements::CQEL_Vector2_Updatable<double>;

using namespace ElementsTest;
using QEL::Elements::CPoint2;
using QEL::Elements::CQEL_Point2_Updatable;
using QEL::Elements::CQEL_Point3_Updatable;
using QEL::Elements::CQEL_Vector2_Updatable;
using QEL::Elements::CQEL_Vector3_Updatable;
using Point = CQEL_Point3_Updatable<double>;

namespace {

double Length(CPoint3<double> const& p) {
    return p.ToVector().Mag();
}

}  // namespace

TEST(Updatable, EveryMarkingChangeSetsTheFlagAndRawAccessDoesNot) {
    // Each marking operation on a fresh point, one at a time.
    void (*const marking[])(Point&) = {
        [](Point& p) { p.set_x(1); },
        [](Point& p) { p.set_y(1); },
        [](Point& p) { p.set_z(1); },
        [](Point& p) { p.Set(1, 2, 3); },
        [](Point& p) { p.Set(CPoint3<double>(0, 0, 0)); },  // same value still marks
        [](Point& p) { p = CPoint3<double>(4, 5, 6); },
        [](Point& p) { p += CVector3<double>(1, 1, 1); },
        [](Point& p) { p -= CVector3<double>(1, 1, 1); },
        [](Point& p) { p.Transform(Transform()); },
    };
    for (auto change : marking) {
        Point p;
        ASSERT_FALSE(p.IsModified());
        change(p);
        EXPECT_TRUE(p.IsModified());
    }
    Point raw(1, 2, 3);
    raw.x = 7;
    raw.ref_y() = 8;
    raw.RawSetZ(9);
    raw.RawSet(CPoint3<double>(raw.x, raw.y, raw.z));
    EXPECT_FALSE(raw.IsModified());
    EXPECT_EQ(raw, CPoint3<double>(7, 8, 9));
    raw.SetModified();
    Point const copy = raw;  // copies carry the flag
    EXPECT_TRUE(copy.IsModified());
    raw.ClearModified();
    EXPECT_FALSE(raw.IsModified());
    EXPECT_TRUE(raw == copy);  // comparison ignores the flag
}

TEST(Updatable, TransformUsesThePointRuleForPointsAndTheVectorRuleForVectors) {
    Transform moved = Transform().CreateRotationZ(kPi / 2);
    moved.SetTranslation({10, 20, 30});
    Point p(1, 0, 0);
    p.Transform(moved);
    EXPECT_TRUE(Near3(p.GetPoint(), CPoint3<double>(10, 21, 30), 1e-14));
    CQEL_Vector3_Updatable<double> v(1, 0, 0);
    v.Transform(moved);
    EXPECT_TRUE(v.IsModified());
    EXPECT_TRUE(Near3(v.GetVector(), CVector3<double>(0, 1, 0), 1e-15));
    // w == 0 leaves the coordinates but the point was still touched.
    Point q(1, 2, 3);
    q.Transform(Transform::Zero());
    EXPECT_EQ(q, CPoint3<double>(1, 2, 3));
    // 2-D values are taken in the plane z = 0.
    CQEL_Point2_Updatable<double> p2(1, 0);
    p2.Transform(moved);
    EXPECT_TRUE(p2.IsModified());
    EXPECT_NEAR(p2.x, 10, 1e-14);
    EXPECT_NEAR(p2.y, 21, 1e-14);
    CQEL_Vector2_Updatable<double> v2(2, 0);
    v2.Transform(moved);
    EXPECT_NEAR(v2.x, 0, 1e-15);
    EXPECT_NEAR(v2.y, 2, 1e-15);
}

TEST(Updatable, UsableAsPlainPointsAndStoredRaw) {
    static_assert(std::is_trivially_copyable_v<Point> && sizeof(Point) <= 32);
    static_assert(std::is_trivially_copyable_v<CQEL_Vector3_Updatable<double>>);
    static_assert(std::is_trivially_copyable_v<CQEL_Point2_Updatable<double>>);
    Point const p(3, 4, 0);
    EXPECT_EQ(Length(p), 5.0);  // converts where a CPoint3 is expected
    EXPECT_EQ(p - CPoint3<double>(3, 0, 0), CVector3<double>(0, 4, 0));

    QEL::Core::CQEL_Array<Point> points;
    points.PushBack(Point(1, 2, 3), 3);
    points[1].set_y(7);
    EXPECT_FALSE(points[0].IsModified());
    Point bytes;
    std::memcpy(&bytes, &points[1], sizeof bytes);
    EXPECT_TRUE(bytes.IsModified());
    EXPECT_EQ(bytes, CPoint3<double>(1, 7, 3));

    CQEL_Vector3_Updatable<double> n(0, 0, 2);
    EXPECT_EQ(n.Normalise(), 2.0);
    EXPECT_TRUE(n.IsModified());
    CQEL_Point2_Updatable<double> uv;
    uv = CPoint2<double>(0.5, 0.25);
    EXPECT_TRUE(uv.IsModified());
}

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

#include "ElementsTestSupport.h"
#include "core/CTransform4.h"

using namespace ElementsTest;
using QEL::Core::QEL_INVALID_PARAMETER;
using QEL::Core::QEL_PARAMETER_OUT_OF_RANGE;

namespace {

// A matrix without symmetry, so that reading it transposed shows.
Transform Sequential(double first = 1.0) {
    double m[16];
    for (int i = 0; i < 16; ++i)
        m[i] = first + i;
    return Transform(m);
}

// Row vector (x, y, z, 1) times m, written out independently of the class.
Pt RowTimes(Pt const& p, Transform const& m) {
    double r[4];
    for (int c = 0; c < 4; ++c)
        r[c] = p.x * m[c] + p.y * m[4 + c] + p.z * m[8 + c] + m[12 + c];
    return {r[0] / r[3], r[1] / r[3], r[2] / r[3]};
}

Transform RandomAffine(std::mt19937_64& rng) {
    double m[16] = {};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            m[4 * r + c] = Uniform(rng, -2, 2);
    for (int c = 0; c < 3; ++c)
        m[12 + c] = Uniform(rng, -100, 100);
    m[15] = 1.0;
    return Transform(m);
}

}  // namespace

TEST(Transform4, PointsAreRowVectorsWithTranslationInTheLastRow) {
    Transform m = Sequential();
    m[3] = m[7] = m[11] = 0.5;  // keep w away from 0
    Pt const p(0.25, -2.0, 3.5);
    EXPECT_TRUE(Near3(m.Apply(p), RowTimes(p, m), 1e-12));
    // Vectors: linear part only, no division.
    Vec const v(0.25, -2.0, 3.5);
    Vec const expected(v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
                       v.x * m[2] + v.y * m[6] + v.z * m[10]);
    EXPECT_EQ(m.Apply(v), expected);
    EXPECT_EQ(m.GetTranslation(), Vec(13, 14, 15));

    Transform const t = Transform().CreateTranslation(1, 2, 3);
    EXPECT_EQ(t.Apply(Vec(1, 0, 0)), Vec(1, 0, 0));
    EXPECT_EQ(t.Apply(Pt(1, 0, 0)), Pt(2, 2, 3));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&t[16]), 0xBBADBEEFu);
    // Float points are computed in double.
    EXPECT_EQ(t.Apply(CPoint3<float>(1, 0, 0)), CPoint3<float>(2, 2, 3));
}

TEST(Transform4, PointWithZeroHomogeneousCoordinateIsLeftUnchanged) {
    Pt const p(1.5, -2, 7);
    EXPECT_EQ(Transform::Zero().Apply(p), p);
    // Perspective column (1, 0, 0) and m[15] = -1: w = x - 1 vanishes at x = 1 only.
    Transform m;
    m[3] = 1.0;
    m[15] = -1.0;
    EXPECT_EQ(m.Apply(Pt(1, 5, 6)), Pt(1, 5, 6));
    EXPECT_EQ(m.Apply(Pt(3, 4, 6)), Pt(1.5, 2, 3));
}

TEST(Transform4, CompositionAppliesTheLeftFactorFirst) {
    Transform const translate = Transform().CreateTranslation(1, 2, 3);
    Transform const rotate = Transform().CreateRotationZ(kPi / 2);
    Pt const origin;
    // Rotation then translation: the origin goes to the translation.
    EXPECT_TRUE(Near3(rotate.GetPostTransformed(translate).Apply(origin), Pt(1, 2, 3), 1e-15));
    EXPECT_TRUE(Near3(translate.GetPreTransformed(rotate).Apply(origin), Pt(1, 2, 3), 1e-15));
    // Translation then rotation: to the rotated translation.
    EXPECT_TRUE(Near3(translate.GetPostTransformed(rotate).Apply(origin), Pt(-2, 1, 3), 1e-15));
    EXPECT_TRUE(Near3(rotate.GetPreTransformed(translate).Apply(origin), Pt(-2, 1, 3), 1e-15));

    // The assigning forms, including composition with itself.
    Transform a = translate;
    EXPECT_EQ(a.PostTransform(rotate), translate.GetPostTransformed(rotate));
    Transform b = translate;
    EXPECT_EQ(b.PreTransform(rotate), rotate.GetPostTransformed(translate));
    Transform c = Sequential();
    Transform const square = Sequential().GetPostTransformed(Sequential());
    EXPECT_EQ(c.PostTransform(c), square);
    // R[4i + j] = sum over k of A[4i + k] B[4k + j].
    EXPECT_EQ(square[1], 1 * 2 + 2 * 6 + 3 * 10 + 4 * 14);
    EXPECT_EQ(square[4], 5 * 1 + 6 * 5 + 7 * 9 + 8 * 13);
}

TEST(Transform4, EqualityIsExactAndNaNNeverEqual) {
    Transform const a = Transform().CreateRotation(Vec(1, 2, 3), 0.7);
    Transform b = a;
    b[9] = std::nextafter(b[9], 1.0);
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(a == b);
    Transform nan = a;
    nan[6] = std::nan("");
    EXPECT_FALSE(nan == nan);
    EXPECT_TRUE(nan != nan);
    // The linear map clears translation and perspective.
    double const linear[16] = {1, 2, 3, 0, 5, 6, 7, 0, 9, 10, 11, 0, 0, 0, 0, 1};
    EXPECT_EQ(Sequential().GetLinearMap(), Transform(linear));
}

TEST(Transform4, InverseOfRandomAffineAndProjectiveTransformsIsExactToRounding) {
    std::mt19937_64 rng(20240611);
    for (int trial = 0; trial < 200; ++trial) {
        Transform a = RandomAffine(rng);
        if (trial % 4 == 0) {  // a general 4 x 4 matrix as well
            for (int i : {3, 7, 11})
                a[i] = Uniform(rng, -0.5, 0.5);
            a[15] = Uniform(rng, 0.5, 2.0);
        }
        if (std::fabs(a.GetLinearDeterminant()) < 0.05) continue;  // keep the condition moderate
        Transform const inverse = a.GetInverted();
        EXPECT_TRUE(NearTransform(a.GetPostTransformed(inverse), Transform(), 1e-11)) << trial;
        EXPECT_TRUE(NearTransform(inverse.GetPostTransformed(a), Transform(), 1e-11)) << trial;
    }
    // A zero on the diagonal needs the row exchange.
    double const swapXY[16] = {0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 4, 5, 6, 1};
    Transform const permutation(swapXY);
    EXPECT_TRUE(NearTransform(permutation.GetPostTransformed(permutation.GetInverted()), Transform(), 1e-14));
    Transform inverted = permutation;
    EXPECT_EQ(inverted.Invert(), permutation.GetInverted());
}

TEST(Transform4, SingularInverseIsTheIdentityBelowThePivotProductLimit) {
    EXPECT_EQ(Transform().CreateScale(0).GetInverted(), Transform());
    EXPECT_EQ(Transform::Zero().GetInverted(), Transform());
    // Pivots 1e-14 three times: product 1e-42 is below 1e-40; 1e-13 gives 1e-39, which is not.
    EXPECT_EQ(Transform().CreateScale(1e-14).GetInverted(), Transform());
    Transform const tiny = Transform().CreateScale(1e-13).GetInverted();
    EXPECT_NEAR(tiny[0], 1e13, 1e-3);
    EXPECT_NEAR(tiny[10], 1e13, 1e-3);
    // Rank 2: two equal rows.
    double const flat[16] = {1, 2, 3, 0, 1, 2, 3, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    EXPECT_EQ(Transform(flat).GetInverted(), Transform());
}

TEST(Transform4, RotationsFollowTheRightHandRule) {
    EXPECT_TRUE(Near3(Transform().CreateRotationZ(kPi / 2).Apply(Vec(1, 0, 0)), Vec(0, 1, 0), 1e-15));
    EXPECT_TRUE(Near3(Transform().CreateRotationX(kPi / 2).Apply(Vec(0, 1, 0)), Vec(0, 0, 1), 1e-15));
    EXPECT_TRUE(Near3(Transform().CreateRotationY(kPi / 2).Apply(Vec(0, 0, 1)), Vec(1, 0, 0), 1e-15));
    // An unnormalised axis turns the same way, even one whose squared length
    // is subnormal; a zero axis, or one whose squared length underflows to 0,
    // gives the identity.
    EXPECT_TRUE(NearTransform(Transform().CreateRotation(Vec(0, 0, 1e-160), 0.3),
                              Transform().CreateRotationZ(0.3), 1e-15));
    EXPECT_EQ(Transform().CreateRotation(Vec(0, 0, 0), 1.0), Transform());
    EXPECT_EQ(Transform().CreateRotation(Vec(0, 0, 1e-200), 1.0), Transform());

    // About an axis through a centre: the centre stays, other points turn about it.
    Pt const centre(1, 2, 3);
    Transform const about = Transform().CreateRotation(Vec(0, 0, 2), kPi / 2, centre);
    EXPECT_TRUE(Near3(about.Apply(centre), centre, 1e-15));
    EXPECT_TRUE(Near3(about.Apply(Pt(2, 2, 7)), Pt(1, 3, 7), 1e-15));
    // Rotations keep lengths and have determinant +1.
    std::mt19937_64 rng(7);
    for (int trial = 0; trial < 20; ++trial) {
        Transform const r = RandomRotation(rng);
        EXPECT_NEAR(r.GetLinearDeterminant(), 1.0, 1e-14);
        EXPECT_TRUE(r.IsRigid(1e-14));
    }
}

TEST(Transform4, EulerConstructorsMatchAxisProductsAndExtractionInvertsThem) {
    std::mt19937_64 rng(314159);
    for (int trial = 0; trial < 1000; ++trial) {
        // Away from gimbal lock: |ay| up to pi/2 - 0.01.
        double const ax = Uniform(rng, -kPi, kPi), ay = Uniform(rng, -kPi / 2 + 0.01, kPi / 2 - 0.01),
                     az = Uniform(rng, -kPi, kPi);
        double x, y, z;
        Transform const xyz = Transform().CreateRotation_XYZ(ax, ay, az);
        Transform const zyx = Transform().CreateRotation_ZYX(ax, ay, az);
        if (trial < 50) {
            Transform const rx = Transform().CreateRotationX(ax), ry = Transform().CreateRotationY(ay),
                            rz = Transform().CreateRotationZ(az);
            EXPECT_TRUE(NearTransform(xyz, rx.GetPostTransformed(ry).GetPostTransformed(rz), 1e-15));
            EXPECT_TRUE(NearTransform(zyx, rz.GetPostTransformed(ry).GetPostTransformed(rx), 1e-15));
        }
        xyz.ExtractEulerAngles_XYZ(&x, &y, &z);
        EXPECT_TRUE(Near3(Vec(x, y, z), Vec(ax, ay, az), 1e-12));
        zyx.ExtractEulerAngles_ZYX(&x, &y, &z);
        EXPECT_TRUE(Near3(Vec(x, y, z), Vec(ax, ay, az), 1e-12));
        // The two orders are different rotations: extracting in the wrong order fails.
        if (trial == 0) {
            xyz.ExtractEulerAngles_ZYX(&x, &y, &z);
            EXPECT_FALSE(std::fabs(x - ax) < 1e-6 && std::fabs(y - ay) < 1e-6 && std::fabs(z - az) < 1e-6);
        }
    }
    // Translation is ignored; null outputs are skipped.
    Transform moved = Transform().CreateRotation_XYZ(0.1, 0.2, 0.3);
    moved.SetTranslation({5, 6, 7});
    double y = 0;
    moved.ExtractEulerAngles_XYZ(nullptr, &y, nullptr);
    EXPECT_NEAR(y, 0.2, 1e-15);
}

TEST(Transform4, EulerExtractionAtGimbalLockPutsTheTurnInTheFirstRotation) {
    for (double ay : {kPi / 2, -kPi / 2}) {
        double x, y, z;
        Transform const xyz = Transform().CreateRotation_XYZ(0.4, ay, 0.3);
        xyz.ExtractEulerAngles_XYZ(&x, &y, &z);
        EXPECT_EQ(z, 0.0);
        EXPECT_NEAR(y, ay, 1e-7);
        EXPECT_TRUE(NearTransform(Transform().CreateRotation_XYZ(x, y, z), xyz, 1e-12));
        Transform const zyx = Transform().CreateRotation_ZYX(0.4, ay, 0.3);
        zyx.ExtractEulerAngles_ZYX(&x, &y, &z);
        EXPECT_EQ(x, 0.0);
        EXPECT_TRUE(NearTransform(Transform().CreateRotation_ZYX(x, y, z), zyx, 1e-12));
    }
    // Close to the lock the angles are ill-determined but the rebuilt rotation is not.
    for (double ay : {kPi / 2 - 1e-9, kPi / 2 - 1e-13, -kPi / 2 + 1e-11}) {
        double x, y, z;
        Transform const xyz = Transform().CreateRotation_XYZ(-2.0, ay, 1.0);
        xyz.ExtractEulerAngles_XYZ(&x, &y, &z);
        EXPECT_TRUE(NearTransform(Transform().CreateRotation_XYZ(x, y, z), xyz, 1e-12)) << ay;
        Transform const zyx = Transform().CreateRotation_ZYX(-2.0, ay, 1.0);
        zyx.ExtractEulerAngles_ZYX(&x, &y, &z);
        EXPECT_TRUE(NearTransform(Transform().CreateRotation_ZYX(x, y, z), zyx, 1e-12)) << ay;
    }
}

TEST(Transform4, TwoDirectionRotationCarriesFromOntoTo) {
    std::mt19937_64 rng(4242);
    auto check = [](Vec const& from, Vec const& to, double tolerance) {
        Transform const r = Transform().CreateRotation(from, to);
        EXPECT_TRUE(Near3(r.Apply(from.GetNormalised()), to.GetNormalised(), tolerance));
        EXPECT_TRUE(r.IsRigid(1e-14));
        EXPECT_EQ(r.GetTranslation(), Vec());
    };
    for (int trial = 0; trial < 200; ++trial) {
        Vec const from = RandomUnit(rng) * Uniform(rng, 0.01, 100), to = RandomUnit(rng) * 3.0;
        check(from, to, 1e-14);
        // The smallest rotation: its axis from x to stays fixed.
        Vec const axis = from.Cross(to);
        if (axis.Mag() > 1e-3) {
            Transform const r = Transform().CreateRotation(from, to);
            EXPECT_TRUE(Near3(r.Apply(axis), axis, 1e-12 * axis.Mag()));
        }
        // Nearly opposite and exactly opposite directions.
        Vec const u = RandomUnit(rng);
        check(u, -u, 1e-15);
        check(u, -u + RandomVector(rng, 1e-13), 1e-14);
        check(u, -u + RandomVector(rng, 1e-7), 1e-14);
        check(u, u + RandomVector(rng, 1e-13), 1e-14);
    }
    // Opposite axis directions: a half turn about the documented axis.
    Transform const half = Transform().CreateRotation(Vec(1, 0, 0), Vec(-1, 0, 0));
    EXPECT_TRUE(Near3(half.Apply(Vec(0, 1, 0)), Vec(0, -1, 0), 1e-15));
    EXPECT_TRUE(Near3(half.Apply(Vec(0, 0, 1)), Vec(0, 0, 1), 1e-15));
    // A zero direction gives the identity.
    EXPECT_EQ(Transform().CreateRotation(Vec(), Vec(1, 0, 0)), Transform());
    // With a centre, the centre stays fixed.
    Pt const centre(3, -4, 5);
    Transform const about = Transform().CreateRotation(Vec(0, 0, 1), Vec(1, 0, 0), centre);
    EXPECT_TRUE(Near3(about.Apply(centre), centre, 1e-14));
    EXPECT_TRUE(Near3(about.Apply(centre + Vec(0, 0, 2)), centre + Vec(2, 0, 0), 1e-14));
}

TEST(Transform4, ReflectionsAreInvolutionsWithDeterminantMinusOne) {
    std::mt19937_64 rng(17);
    for (int trial = 0; trial < 100; ++trial) {
        Vec const normal = RandomUnit(rng) * Uniform(rng, 0.1, 10);
        Pt const onPlane = RandomPoint(rng);
        Transform const mirror = Transform().CreateReflection(normal, onPlane);
        EXPECT_NEAR(mirror.GetLinearDeterminant(), -1.0, 1e-14);
        EXPECT_TRUE(NearTransform(mirror.GetPostTransformed(mirror), Transform(), 1e-13));
        EXPECT_TRUE(Near3(mirror.Apply(onPlane), onPlane, 1e-13));
        // A point at distance d in front lands at distance d behind.
        Vec const n = normal.GetNormalised();
        Pt const front = onPlane + n * 2.5 + n.Cross(RandomUnit(rng));
        Pt const image = mirror.Apply(front);
        EXPECT_NEAR((image - onPlane).Dot(n), -2.5, 1e-12);
        EXPECT_TRUE(Near3(Midpoint(front, image), front - n * 2.5, 1e-12));
    }
    Pt const p(1, 2, 3);
    EXPECT_EQ(Transform().CreateReflectionY().Apply(p), Pt(1, -2, 3));
    EXPECT_EQ(Transform().CreateReflection(Vec()), Transform());
}

TEST(Transform4, PCSTransformCarriesTheFrameOntoTheGlobalAxes) {
    Pt const origin(10, 20, 30);
    Vec const primary(0, 0, -3), secondary(1, 1, 5);  // secondary not perpendicular
    Transform const pcs = Transform().CreatePCSTransform(origin, primary, secondary);
    EXPECT_TRUE(pcs.IsRigid(1e-14));
    EXPECT_TRUE(Near3(pcs.Apply(origin), Pt(), 1e-13));
    EXPECT_TRUE(Near3(pcs.Apply(primary), Vec(0, 0, 3), 1e-14));
    Vec const s = pcs.Apply(secondary);
    EXPECT_NEAR(s.y, 0.0, 1e-14);
    EXPECT_GT(s.x, 0.0);
    // A global point becomes its frame coordinates: X = (1, 1, 0)/sqrt 2, Z = -Z, Y = Z x X.
    Pt const local = pcs.Apply(origin + Vec(1, 1, 0) * 2.0 + Vec(0, 0, -1));
    EXPECT_TRUE(Near3(local, Pt(2 * std::sqrt(2.0), 0, 1), 1e-13));

    Transform const single = Transform().CreatePCSTransform(origin, Vec(1, 0, 0));
    EXPECT_TRUE(Near3(single.Apply(origin + Vec(4, 0, 0)), Pt(0, 0, 4), 1e-14));
}

TEST(Transform4, AlignmentCarriesOneFrameOntoAnother) {
    std::mt19937_64 rng(555);
    for (int trial = 0; trial < 50; ++trial) {
        Pt const o1 = RandomPoint(rng), o2 = RandomPoint(rng);
        Vec const p1 = RandomUnit(rng), s1 = RandomUnit(rng), p2 = RandomUnit(rng) * 4.0,
                  s2 = RandomUnit(rng);
        Transform const a = Transform().CreateAlignmentTransform(o1, p1, s1, o2, p2, s2);
        EXPECT_TRUE(a.IsRigid(1e-12));
        EXPECT_TRUE(Near3(a.Apply(o1), o2, 1e-12));
        EXPECT_TRUE(Near3(a.Apply(p1), p2.GetNormalised(), 1e-12));
        // The secondary lands in the plane of (p2, s2), on the side of s2.
        Vec const s = a.Apply(s1);
        Vec const planeNormal = p2.Cross(s2).GetNormalised();
        EXPECT_NEAR(s.Dot(planeNormal), 0.0, 1e-12);
        EXPECT_GT(s.Dot(s2 - p2.GetNormalised() * s2.Dot(p2.GetNormalised())), 0.0);

        Transform const single = Transform().CreateAlignmentTransform(o1, p1, o2, p2);
        EXPECT_TRUE(Near3(single.Apply(o1), o2, 1e-12));
        EXPECT_TRUE(Near3(single.Apply(o1 + p1), o2 + p2.GetNormalised(), 1e-12));
    }
}

TEST(Transform4, FramesRejectZeroAndParallelDirections) {
    Pt const o;
    Vec const z(0, 0, 1), zero;
    ExpectQELException([&] { Transform().CreatePCSTransform(o, zero, z); }, QEL_INVALID_PARAMETER, "primary");
    ExpectQELException([&] { Transform().CreatePCSTransform(o, z, z * -2.0); }, QEL_INVALID_PARAMETER,
                       "secondary");
    ExpectQELException([&] { Transform().CreatePCSTransform(o, zero); }, QEL_INVALID_PARAMETER, "primary");
    ExpectQELException([&] { Transform().CreateAlignmentTransform(o, z, z, o, z, Vec(1, 0, 0)); },
                       QEL_INVALID_PARAMETER, "fromSecondary");
    ExpectQELException([&] { Transform().CreateAlignmentTransform(o, z, o, zero); }, QEL_INVALID_PARAMETER,
                       "toDirection");
    ExpectQELException([&] { Transform().CreatePCSTransform(Pt(std::nan(""), 0, 0), z, z); },
                       QEL_PARAMETER_OUT_OF_RANGE, "origin");
}

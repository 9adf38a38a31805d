// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "PointSetTestUtil.h"
#include "operations/pointset/CPointSet_Create.h"

using namespace QEL::Core;
using QEL::Elements::CPlane3d;

namespace {

double const kPi = std::atan(1.0) * 4.0;

CPoint3<double> P(double x, double y, double z) {
    return CPoint3<double>(x, y, z);
}
CVector3<double> V(double x, double y, double z) {
    return CVector3<double>(x, y, z);
}

// Largest value of f over every point of the set.
double MaxOver(CPointSet const& set, std::function<double(CPoint3<double> const&)> const& f) {
    double worst = 0.0;
    for (int g = 0; g < set.GetNumPts(); ++g)
        worst = std::max(worst, f(set.get_Pts(g)));
    return worst;
}

double Dist(CPoint3<double> const& a, CPoint3<double> const& b) {
    return (a - b).Mag();
}

// Distance of p from the line through a with unit direction u, and its coordinate along it.
void Cylindrical(CPoint3<double> const& p, CPoint3<double> const& a, CVector3<double> const& u,
                 double& radial, double& along) {
    CVector3<double> const d = p - a;
    along = d.Dot(u);
    radial = (d - u * along).Mag();
}

std::vector<int> SectionSizes(CPointSet const& set) {
    std::vector<int> sizes;
    for (int s = 0; s < set.GetNumSec(); ++s)
        sizes.push_back(set.get_Sec(s).GetNumPts());
    return sizes;
}

int Ring(double r, double spacing) {
    return std::max(int(std::ceil(2 * kPi * r / spacing)), 1);
}

// The disc layout of Circle, ring by ring.
std::vector<int> DiscSizes(double spacing, double radius) {
    int const n = int(std::ceil(radius / spacing));
    std::vector<int> sizes;
    for (int i = 0; i <= n; ++i)
        sizes.push_back(Ring(i * radius / n, spacing));
    return sizes;
}

}  // namespace

TEST(CPointSet_Create, Sphere_HasSinglePointPolesAndRingsByLatitude) {
    CPointSet set(P(9, 9, 9));  // replaced by the sphere
    CPointSet_Create(set).Sphere(P(1, 2, 3), 1.0, 2.0);
    ASSERT_EQ(set.GetNumSec(), 8);
    EXPECT_EQ(set.get_Sec(0).GetNumPts(), 1);
    EXPECT_EQ(set.get_Sec(7).GetNumPts(), 1);
    EXPECT_NEAR(Dist(set.get_Sec(0).get_Pts(0), P(1, 2, 5)), 0.0, 1e-12);
    EXPECT_NEAR(Dist(set.get_Sec(7).get_Pts(0), P(1, 2, 1)), 0.0, 1e-12);
    for (int i = 1; i < 7; ++i)
        EXPECT_EQ(set.get_Sec(i).GetNumPts(), Ring(2.0 * std::sin(i * kPi / 7), 1.0)) << "ring " << i;
    EXPECT_EQ(set.GetMetaDataFlags(), CPtsData::def);
    // A radius of exactly twice the spacing is accepted.
    CPointSet_Create(set).Sphere(P(0, 0, 0), 0.25, 0.5);
    EXPECT_GT(set.GetNumPts(), 0);
}

// Each analytic shape, for a few parameter sets (tilted axes, off-origin
// centres): every point on the surface, and the documented section layout.
TEST(CPointSet_Create, AnalyticShapes_PointsLieOnTheirSurfacesWithDocumentedLayouts) {
    CPointSet set;
    CPointSet_Create create(set);
    struct SCase {
        double spacing, radius;
        CVector3<double> normal;  // -z takes the from-to rotation's half-turn branch
    };
    for (SCase const c :
         {SCase{1.0, 2.0, V(1, -2, 0.5)}, SCase{0.3, 2.5, V(0, 0, -3)}, SCase{0.05, 1.0, V(1, -2, 0.5)}}) {
        SCOPED_TRACE(c.radius / c.spacing);
        CPoint3<double> const centre = P(1.5, -2, 0.25);
        create.Sphere(centre, c.spacing, c.radius);
        EXPECT_LT(MaxOver(set, [&](auto const& p) { return std::fabs(Dist(p, centre) - c.radius); }), 1e-9);
        EXPECT_EQ(set.GetNumSec(), int(std::ceil(kPi * c.radius / c.spacing)) + 1);

        CVector3<double> const normal = c.normal;
        CVector3<double> const u = normal.GetNormalised();
        create.Circle(centre, normal, c.spacing, c.radius);
        EXPECT_EQ(SectionSizes(set), DiscSizes(c.spacing, c.radius));
        EXPECT_LT(MaxOver(set, [&](auto const& p) { return std::fabs((p - centre).Dot(u)); }), 1e-9);
        EXPECT_LE(MaxOver(set, [&](auto const& p) { return Dist(p, centre); }), c.radius + 1e-9);
        for (auto const& p : set.get_Sec(set.GetNumSec() - 1).GetPtsArray())
            EXPECT_NEAR(Dist(P(p.x, p.y, p.z), centre), c.radius, 1e-9);

        CPoint3<double> const end = centre + normal * 2.0;
        double const height = (normal * 2.0).Mag();
        create.Cylinder(centre, end, c.spacing, c.radius);
        int const n = int(std::ceil(height / c.spacing));
        std::vector<int> expected = DiscSizes(c.spacing, c.radius);
        for (int i = 0; i < n - 1; ++i)
            expected.push_back(Ring(c.radius, c.spacing));
        std::vector<int> const disc = DiscSizes(c.spacing, c.radius);
        expected.insert(expected.end(), disc.begin(), disc.end());
        EXPECT_EQ(SectionSizes(set), expected);
        EXPECT_LT(MaxOver(set,
                          [&](auto const& p) {
                              double radial = 0, along = 0;
                              Cylindrical(p, centre, u, radial, along);
                              bool const onCap = std::fabs(along) < 1e-9 || std::fabs(along - height) < 1e-9;
                              return onCap ? std::max(radial - c.radius, 0.0)
                                           : std::fabs(radial - c.radius) + std::max(-along, 0.0) +
                                                 std::max(along - height, 0.0);
                          }),
                  1e-9);

        create.Cone(centre, end, c.spacing, c.radius);
        expected.clear();
        for (int i = 0; i < n; ++i)
            expected.push_back(Ring(c.radius - c.radius / n * i, c.spacing));
        expected.insert(expected.end(), disc.begin(), disc.end());
        EXPECT_EQ(SectionSizes(set), expected);
        EXPECT_LT(MaxOver(set,
                          [&](auto const& p) {
                              double radial = 0, along = 0;
                              Cylindrical(p, centre, u, radial, along);
                              if (std::fabs(along) < 1e-9) return std::max(radial - c.radius, 0.0);
                              return std::fabs(radial - c.radius * (1.0 - along / height));
                          }),
                  1e-9);

        double const major = 3.0 * c.radius;
        create.Torus(centre, normal, c.spacing / 2, c.radius, major);
        EXPECT_EQ(set.GetNumSec(), Ring(major, c.spacing / 2));
        EXPECT_EQ(set.get_Sec(0).GetNumPts(), Ring(c.radius, c.spacing / 2));
        EXPECT_LT(MaxOver(set,
                          [&](auto const& p) {
                              double radial = 0, along = 0;
                              Cylindrical(p, centre, u, radial, along);
                              return std::fabs(std::hypot(radial - major, along) - c.radius);
                          }),
                  1e-9);
    }
}

TEST(CPointSet_Create, Cuboid_CoversTheSurfaceOnceWithFaceGridsAndWallRings) {
    CPointSet set;
    CPoint3<double> const a = P(1, 2, 3), b = P(-1, 5, 3.5);  // width negative, depth below 2 spacings
    CPointSet_Create(set).Cuboid(a, b, 0.5);
    int const nx = 4, ny = 6, nz = 1;
    EXPECT_EQ(set.GetNumSec(), 2 * (ny + 1) + nz - 1);
    EXPECT_EQ(set.GetNumPts(), 2 * (nx + 1) * (ny + 1));
    CPointSet_Create(set).Cuboid(a, P(-1, 5, 5), 0.5);
    EXPECT_EQ(set.GetNumPts(), 2 * (nx + 1) * (ny + 1) + 3 * 2 * (nx + ny));
    double const lo[3] = {-1, 2, 3}, hi[3] = {1, 5, 5};
    for (int g = 0; g < set.GetNumPts(); ++g) {
        CPoint3<double> const& p = set.get_Pts(g);
        double const v[3] = {p.x, p.y, p.z};
        double inside = 0.0, face = 1e300;
        for (int k = 0; k < 3; ++k) {
            inside = std::max(inside, std::max(lo[k] - v[k], v[k] - hi[k]));
            face = std::min(face, std::min(std::fabs(v[k] - lo[k]), std::fabs(v[k] - hi[k])));
        }
        ASSERT_LT(inside, 1e-9) << g;
        ASSERT_LT(face, 1e-9) << g;
        for (int h = 0; h < g; ++h)
            ASSERT_GT(Dist(p, set.get_Pts(h)), 1e-9) << g << " repeats " << h;
    }
}

TEST(CPointSet_Create, PitchCircleDiameter_StartsAtTheReferenceAndTurnsByTheAngle) {
    CPointSet set;
    CPointSet_Create create(set);
    create.PitchCircleDiameter(P(1, 0, 0), V(0, 0, 3), V(1, 0, 1), 2.0, 4, 0.0);
    ASSERT_EQ(set.GetNumSec(), 1);
    ASSERT_EQ(set.GetNumPts(), 4);
    CPoint3<double> const expected[] = {P(3, 0, 0), P(1, 2, 0), P(-1, 0, 0), P(1, -2, 0)};
    for (int i = 0; i < 4; ++i)
        EXPECT_LT(Dist(set.get_Pts(i), expected[i]), 1e-12) << i;
    create.PitchCircleDiameter(P(0, 0, 0), V(0, 0, 1), V(0, 1, 0), 1.0, 3, -kPi / 2);
    EXPECT_LT(Dist(set.get_Pts(1), P(1, 0, 0)), 1e-12);
    std::string const text = ExpectQelError(
        [&] { create.PitchCircleDiameter(P(0, 0, 0), V(0, 0, 1), V(0.01, 0, 1), 1.0, 3, 0.0); },
        QEL_INVALID_PARAMETER, "refDir");
    EXPECT_NE(text.find("PCD axis and reference are parallel"), std::string::npos);
}

TEST(CPointSet_Create, Arc_RunsFromFirstThroughMiddleToLast) {
    CPointSet set;
    CPointSet_Create create(set);
    // Three-quarter arc on the unit circle about (1, 1, 0), the long way round.
    create.Arc(P(2, 1, 0), P(0, 1, 0), P(1, 0, 0), V(0, 0, 0));
    int const n = set.GetNumPts();
    EXPECT_EQ(n, 271);
    EXPECT_LT(Dist(set.get_Pts(0), P(2, 1, 0)), 1e-12);
    EXPECT_LT(Dist(set.get_Pts(n - 1), P(1, 0, 0)), 1e-9);
    EXPECT_LT(Dist(set.get_Pts(180), P(0, 1, 0)), 1e-9);
    EXPECT_LT(MaxOver(set, [](auto const& p) { return std::fabs(Dist(p, P(1, 1, 0)) - 1.0); }), 1e-9);
    // Off-plane points are projected onto the plane given by the normal.
    create.Arc(P(1, 0, 0), P(0, 1, 0.5), P(-1, 0, -0.25), V(0, 0, 1));
    EXPECT_LT(
        MaxOver(set, [](auto const& p) { return std::fabs(p.z) + std::fabs(Dist(p, P(0, 0, 0)) - 1.0); }),
        1e-9);
    ExpectQelError([&] { create.Arc(P(0, 0, 0), P(1, 1, 1), P(2, 2, 2), V(0, 0, 0)); }, QEL_INVALID_PARAMETER,
                   "points");
    // The point-set form reads the first section, and may write over its own source.
    CPoint3<double> const pts[] = {P(2, 1, 0), P(1, 2, 0), P(0, 1, 0), P(1, 0, 0)};
    CPointSet source(4, pts);
    CPointSet_Create(source).Arc(source, V(0, 0, 1));
    EXPECT_LT(Dist(source.get_Pts(source.GetNumPts() - 1), P(1, 0, 0)), 1e-9);
    ExpectQelError([&] { create.Arc(CPointSet(2, pts), V(0, 0, 1)); }, QEL_PARAMETER_OUT_OF_RANGE,
                   "arcPts.GetNumPts()");
}

TEST(CPointSet_Create, Sinusoid_FollowsTheWaveAcrossTheDirection) {
    CPointSet set;
    CPointSet_Create(set).Sinusoid(P(1, 0, 0), V(2, 0, 0), V(1, 1, 0), 10.0, 0.5, 8, 2 * kPi, kPi / 2);
    ASSERT_EQ(set.GetNumPts(), 9);
    for (int i = 0; i <= 8; ++i) {
        double const t = i / 8.0;
        EXPECT_LT(Dist(set.get_Pts(i), P(1 + 10 * t, 0.5 * std::sin(2 * kPi * t + kPi / 2), 0)), 1e-12) << i;
    }
    ExpectQelError(
        [&] { CPointSet_Create(set).Sinusoid(P(0, 0, 0), V(1, 0, 0), V(-3, 0, 0), 1, 1, 4, 1, 0); },
        QEL_INVALID_PARAMETER, "displacement");
}

TEST(CPointSet_Create, Grids_InterpolateBetweenTheirCorners) {
    CPointSet set;
    CPointSet_Create create(set);
    create.InterpolatedGrid(P(1, 1, 1), V(2, 0, 0), V(0, 3, 1), 3, 4);
    ASSERT_EQ(SectionSizes(set), (std::vector<int>{3, 3, 3, 4 - 1}));
    EXPECT_LT(Dist(set.get_Sec(3).get_Pts(2), P(3, 4, 2)), 1e-12);
    EXPECT_LT(Dist(set.get_Sec(1).get_Pts(1), P(2, 2, 1 + 1.0 / 3)), 1e-12);

    CPoint3<double> const corners[] = {P(0, 0, 0), P(4, 0, 0), P(4, 2, 1), P(0, 2, 0)};
    create.GridFromFourPoints(corners[0], corners[1], corners[2], corners[3], 5, 3, false);
    EXPECT_EQ(SectionSizes(set), (std::vector<int>{5, 5, 5}));
    EXPECT_LT(Dist(set.get_Sec(1).get_Pts(2), P(2, 1, 0.25)), 1e-12);  // bilinear centre
    CPointSet ordered(set);
    // Corners given in a folded order come back unfolded: the grid's first
    // and last points are diagonal corners, and its centre is the quad's.
    CQEL_Array<CPoint3<double>> shuffled;
    for (int i : {0, 2, 1, 3})
        shuffled.PushBack(corners[i]);
    create.GridFromFourPoints(shuffled, 5, 3, true);
    EXPECT_LT(Dist(set.get_Sec(1).get_Pts(2), P(2, 1, 0.25)), 1e-12);
    double const diagonal = Dist(set.get_Pts(0), set.get_Pts(set.GetNumPts() - 1));
    EXPECT_TRUE(std::fabs(diagonal - Dist(corners[0], corners[2])) < 1e-12 ||
                std::fabs(diagonal - Dist(corners[1], corners[3])) < 1e-12);
    shuffled.PopBack();
    std::string const text = ExpectQelError([&] { create.GridFromFourPoints(shuffled, 5, 3, true); },
                                            QEL_INVALID_PARAMETER, "points");
    EXPECT_NE(text.find("4 point required"), std::string::npos);
}

TEST(CPointSet_Create, FromMatrixAndArray_UseColumnsAsSectionsAndChooseZeroSpacings) {
    CPointSet set;
    CPointSet_Create create(set);
    create.FromMatrix(QEL::Core::CQEL_Matrix(2, 3, 0.0), 0.0, 0.0);
    ASSERT_EQ(SectionSizes(set), (std::vector<int>{2, 2, 2}));
    EXPECT_LT(Dist(set.get_Sec(2).get_Pts(1), P(2.0, 1.0, 0.0)), 1e-12);  // spacing 1.0
    EXPECT_TRUE(set.HasMetaData(CPtsData::cpt));

    double const row0[] = {0, 1, 2, -4}, row1[] = {1, 1, 1, 1};
    double const* rows[] = {row0, row1};
    create.FromMatrix(rows, 2, 4, 0.0, 0.5);
    double const automatic = 10.0 * 4.0 / 3.0;
    ASSERT_EQ(set.GetNumSec(), 4);
    EXPECT_LT(Dist(set.get_Sec(3).get_Pts(0), P(3 * automatic, 0.0, -4.0)), 1e-12);
    EXPECT_LT(Dist(set.get_Sec(3).get_CPt(1), P(3 * automatic, 0.5, 0.0)), 1e-12);
    rows[1] = nullptr;
    ExpectQelError([&] { create.FromMatrix(rows, 2, 4, 0.0, 0.5); }, QEL_NULL_PARAMETER, "rows");
    ExpectQelError([&] { create.FromMatrix(QEL::Core::CQEL_Matrix(), 1.0, 1.0); }, QEL_INVALID_PARAMETER,
                   "heights");

    CQEL_Array<CPoint3<double>> points;  // an array: one section in order
    for (int i = 0; i < 3; ++i)
        points.PushBack(P(i, -i, 2 * i));
    create.FromArray(points);
    EXPECT_EQ(SectionSizes(set), (std::vector<int>{3}));
    EXPECT_LT(Dist(set.get_Pts(2), P(2, -2, 4)), 1e-15);
}

// Every range check names its own parameter (and a check of one operation
// reports that operation).
TEST(CPointSet_Create, RangeChecks_ReportTheirParameterNames) {
    CPointSet set;
    CPointSet_Create c(set);
    CPoint3<double> const o = P(0, 0, 0);
    CVector3<double> const z = V(0, 0, 1), x = V(1, 0, 0), zero = V(0, 0, 0);
    CPointSet const source(P(1, 1, 1));
    CPoint3<double> const far[] = {P(0, 0, 0), P(0, 0, 1e9)};
    struct SCheck {
        std::function<void()> call;
        EQELExceptionReason reason;
        char const* param;
    };
    std::vector<SCheck> const checks = {
        {[&] { c.Sphere(o, 1e-7, 1.0); }, QEL_PARAMETER_OUT_OF_RANGE, "spacing"},
        {[&] { c.Sphere(o, 0.25, std::nextafter(0.5, 0.0)); }, QEL_PARAMETER_OUT_OF_RANGE, "radius"},
        {[&] { c.Sphere(o, 1.0, 2e9); }, QEL_PARAMETER_OUT_OF_RANGE, "radius"},
        {[&] { c.Sphere(o, 1e-6, 1e6); }, QEL_INVALID_PARAMETER, "spacing"},
        {[&] { c.Circle(o, z, 1.0, 1.5); }, QEL_PARAMETER_OUT_OF_RANGE, "spacing"},
        {[&] { c.Circle(o, z, 1.0, 2e9); }, QEL_PARAMETER_OUT_OF_RANGE, "radius"},
        {[&] { c.Circle(o, zero, 1.0, 3.0); }, QEL_INVALID_PARAMETER, "normal"},
        {[&] { c.Cone(o, P(0, 0, 1), 1.0, 3.0); }, QEL_PARAMETER_OUT_OF_RANGE, "num_circles"},
        {[&] { c.Cone(o, P(0, 0, 2e9), 1.0, 3.0); }, QEL_PARAMETER_OUT_OF_RANGE, "height"},
        {[&] { c.Cylinder(o, P(0, 0, 1.0), 1.0, 2.0); }, QEL_PARAMETER_OUT_OF_RANGE, "num_circles"},
        {[&] { c.Cylinder(o, P(0, 0, 0.5), 1.0, 2.0); }, QEL_PARAMETER_OUT_OF_RANGE, "height"},
        {[&] { c.Torus(o, z, 1.0, 1.5, 5.0); }, QEL_PARAMETER_OUT_OF_RANGE, "spacing"},
        {[&] { c.Torus(o, z, 1.0, 2e9, 5.0); }, QEL_PARAMETER_OUT_OF_RANGE, "minor_radius"},
        {[&] { c.Torus(o, z, 1.0, 3.0, 2.0); }, QEL_PARAMETER_OUT_OF_RANGE, "major_radius"},
        {[&] { c.Torus(o, zero, 1.0, 3.0, 5.0); }, QEL_INVALID_PARAMETER, "axis"},
        {[&] { c.Cuboid(o, P(1, 1, 1), 0.0); }, QEL_PARAMETER_OUT_OF_RANGE, "spacing"},
        {[&] { c.Cuboid(o, P(-0.5, 1, 1), 1.0); }, QEL_PARAMETER_OUT_OF_RANGE, "fabs(width)"},
        {[&] { c.Cuboid(o, P(1, 0.5, 1), 1.0); }, QEL_PARAMETER_OUT_OF_RANGE, "fabs(height)"},
        {[&] { c.Cuboid(o, P(1, 1, -0.5), 1.0); }, QEL_PARAMETER_OUT_OF_RANGE, "fabs(depth)"},
        {[&] { c.PitchCircleDiameter(o, z, x, -1.0, 3, 0.0); }, QEL_PARAMETER_OUT_OF_RANGE, "radius"},
        {[&] { c.PitchCircleDiameter(o, z, x, 1.0, 1, 0.0); }, QEL_PARAMETER_OUT_OF_RANGE, "num_pts"},
        {[&] { c.PitchCircleDiameter(o, zero, x, 1.0, 3, 0.0); }, QEL_PARAMETER_OUT_OF_RANGE, "axis.Mag()"},
        {[&] { c.PitchCircleDiameter(o, z, zero, 1.0, 3, 0.0); }, QEL_PARAMETER_OUT_OF_RANGE, "refDir.Mag()"},
        {[&] { c.PitchCircleDiameter(o, z, x, 1.0, 3, 7.0); }, QEL_PARAMETER_OUT_OF_RANGE, "angle"},
        {[&] { c.Sinusoid(o, zero, x, 1, 1, 4, 1, 0); }, QEL_PARAMETER_OUT_OF_RANGE, "direction.Mag()"},
        {[&] { c.Sinusoid(o, x, z, 0, 1, 4, 1, 0); }, QEL_PARAMETER_OUT_OF_RANGE, "length"},
        {[&] { c.Sinusoid(o, x, z, 1, 1, 0, 1, 0); }, QEL_PARAMETER_OUT_OF_RANGE, "num_steps"},
        {[&] { c.InterpolatedGrid(o, x, z, 1, 2); }, QEL_PARAMETER_OUT_OF_RANGE, "num_pts_primary_axis"},
        {[&] { c.InterpolatedGrid(o, x, z, 2, 1); }, QEL_PARAMETER_OUT_OF_RANGE, "num_pts_secondary_axis"},
        {[&] { c.InterpolatedGrid(o, zero, z, 2, 2); }, QEL_INVALID_PARAMETER, "primary"},
        {[&] { c.InterpolatedGrid(o, x, x * -2.0, 2, 2); }, QEL_INVALID_PARAMETER, "secondary"},
        {[&] { c.InterpolatedGrid(o, x, z, 100000, 100000); }, QEL_INVALID_PARAMETER, "num_pts_primary_axis"},
        {[&] { c.GridFromFourPoints(o, o, o, o, 2, 0, false); }, QEL_PARAMETER_OUT_OF_RANGE,
         "num_pts_secondary_axis"},
        {[&] { c.FromMatrix(QEL::Core::CQEL_Matrix(1, 1, 1.0), -1.0, 1.0); }, QEL_PARAMETER_OUT_OF_RANGE,
         "dx"},
        {[&] { c.FromMatrix(QEL::Core::CQEL_Matrix(1, 1, 1.0), 1.0, 2e9); }, QEL_PARAMETER_OUT_OF_RANGE,
         "dy"},
        {[&] { c.FromMatrix(nullptr, 1, 1, 1.0, 1.0); }, QEL_NULL_PARAMETER, "rows"},
        {[&] { c.GridOffsetPosZ(source, 0.0, 1.0); }, QEL_PARAMETER_OUT_OF_RANGE, "spacing"},
        {[&] { c.GridOffsetNegX(source, 1.0, 2e9); }, QEL_PARAMETER_OUT_OF_RANGE, "offset"},
        {[&] { c.GridOffsetPosY(CPointSet(), 1.0, 1.0); }, QEL_INVALID_POINTSET, "source"},
        {[&] { c.ProfileIntersections(source, zero, x, 1.0); }, QEL_INVALID_PARAMETER, "direction"},
        {[&] { c.ProfileIntersections(source, z, z, 1.0); }, QEL_INVALID_PARAMETER, "secondVector"},
        {[&] { c.ProfileIntersections(CPointSet(), z, x, 1.0); }, QEL_INVALID_POINTSET, "source"},
        {[&] { c.ProfileIntersections(CPointSet(2, far), z, x, 1e-6); }, QEL_PARAMETER_OUT_OF_RANGE,
         "num_profiles"},
        {[&] { c.ProfileOffset(source, CPlane3d(), 2e9); }, QEL_PARAMETER_OUT_OF_RANGE, "offset"},
        {[&] { c.ProfileOffset(source, CPlane3d(), 1.0); }, QEL_OPERATION_FAILED, "plane"},
    };
    for (std::size_t i = 0; i < checks.size(); ++i) {
        SCOPED_TRACE(i);
        std::string const text = ExpectQelError(checks[i].call, checks[i].reason, checks[i].param);
        EXPECT_NE(text.find("QEL::Core::CPointSet_Create::"), std::string::npos) << text;
        if (checks[i].reason == QEL_PARAMETER_OUT_OF_RANGE) {
            EXPECT_NE(text.find("Message - Parameter out of range"), std::string::npos) << text;
        }
    }
}

// Profiles across x of a set of lines along x (one per y), offset along z.
TEST(CPointSet_Create, ProfilesAndGridOffsets_CutTheSourceSectionsAtEvenSteps) {
    CPointSet lines;
    lines.CheckSpace(4, 0, CPtsData::def);
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i <= 4; ++i)
            lines.get_Sec(j).AddPoint(i, 3 - j, 0.5 * i);
    CPointSet set;
    CPointSet_Create create(set);
    create.ProfileIntersections(lines, V(1, 0, 0), V(0, 1, 0), 1.5);
    // Planes x = 4, 2.5, 1 (from the farthest point back); hits ordered along +y.
    ASSERT_EQ(SectionSizes(set), (std::vector<int>{4, 4, 4}));
    EXPECT_LT(Dist(set.get_Sec(1).get_Pts(0), P(2.5, 0, 1.25)), 1e-12);
    EXPECT_LT(Dist(set.get_Sec(2).get_Pts(3), P(1, 3, 0.5)), 1e-12);

    create.GridOffsetPosZ(lines, 1.5, 2.0);  // the same profiles (across x, along y), raised by 2
    ASSERT_EQ(SectionSizes(set), (std::vector<int>{4, 4, 4}));
    EXPECT_LT(MaxOver(set, [](auto const& p) { return std::fabs(p.z - (0.5 * p.x + 2.0)); }), 1e-12);
    EXPECT_LT(Dist(set.get_Sec(1).get_Pts(0), P(2.5, 0, 3.25)), 1e-12);
    // Offset along -y: profiles across z (planes z = 2, 1, 0), ordered along
    // x; the source may be the target.
    CPointSet_Create(lines).GridOffsetNegY(lines, 1.0, 1.0);
    ASSERT_EQ(SectionSizes(lines), (std::vector<int>{4, 4, 4}));
    EXPECT_LT(Dist(lines.get_Sec(0).get_Pts(3), P(4, 3 - 3 - 1.0, 2)), 1e-12);
    EXPECT_LT(MaxOver(lines, [](auto const& p) { return std::fabs(p.z - 0.5 * p.x); }), 1e-12);
}

TEST(CPointSet_Create, ProfileOffset_MovesTheProfileWithinThePlane) {
    CPointSet lines;
    lines.CheckSpace(3, 0, CPtsData::def);
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i <= 2; ++i)
            lines.get_Sec(j).AddPoint(i, j, 0);
    CPointSet set;
    CPointSet_Create(set).ProfileOffset(lines, CPlane3d(P(0.5, 0, 0), V(1, 0, 0)), 0.25);
    ASSERT_EQ(set.GetNumSec(), 1);
    ASSERT_EQ(set.GetNumPts(), 3);
    // Travel along +y; normal x cross tangent y is +z.
    for (int j = 0; j < 3; ++j)
        EXPECT_LT(Dist(set.get_Pts(j), P(0.5, j, 0.25)), 1e-12) << j;
}

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "operations/nurbs/CNURBS_Curve_Create.h"
#include "operations/pointset/CPointSet_Modify.h"
#include "test_helpers/ChannelLog.h"
#include "test_helpers/ReasonOf.h"
#include "test_helpers/TriangulationInvariants.h"
#include "operations/triangulation/CTriangulation_Analyse_Topology.h"
#include "operations/triangulation/CTriangulation_Create.h"
#include "operations/triangulation/CTriangulation_Modify.h"

using namespace QEL::Core;

namespace {

double const kPi = std::atan(1.0) * 4.0;
using P = CPoint3<double>;
using V = CVector3<double>;

// Closed, one component, consistently paired, outward: a positive volume.
void ExpectClosedSolid(CTriangulation const& mesh, double volume, double area, double tolerance,
                       std::string const& name) {
    SCOPED_TRACE(name);
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    STriangulationTopology const t = CTriangulation_Analyse_Topology(mesh).Summarise();
    EXPECT_TRUE(t.closed);
    EXPECT_EQ(t.components, 1);
    EXPECT_EQ(t.nonManifoldEdges, 0);
    EXPECT_EQ(t.unusedVertices, 0);
    EXPECT_NEAR(t.volume / volume, 1.0, tolerance);
    EXPECT_NEAR(t.area / area, 1.0, tolerance);
}

// "<reason> <param>|<message>" of the exception a call throws, and the location checked.
std::string Refusal(std::function<void()> const& call, char const* operation) {
    try {
        call();
    } catch (CQEL_Exception const& e) {
        std::string const text = e.what();
        std::string const location = std::string("Location - QEL::Core::") + operation + " @";
        if (text.find(location) == std::string::npos) return "wrong location: " + text;
        auto field = [&](std::string const& from, std::string const& to) {
            std::size_t const at = text.find(from) + from.size();
            return text.substr(at, text.find(to, at) - at);
        };
        std::string const reason(CQEL_Exception::GetReason(e.GetExceptionReason()).View());
        return std::to_string(e.GetExceptionReason()) + " " + field("Param name - ", " Location - ") + "|" +
               field("Message - ", " " + reason);
    }
    return "no exception";
}

}  // namespace

TEST(CTriangulation_Create, Sphere_OctahedronThenSplitsWithEveryVertexAtTheRadius) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    create.Sphere(P(1, 2, 3), 2.0, 0);
    EXPECT_EQ(mesh.GetNumPts(), 6);
    EXPECT_EQ(mesh.GetNumTris(), 8);
    // The octahedron of edge 2 sqrt(2): volume 4 r^3 / 3, area 4 sqrt(3) r^2.
    ExpectClosedSolid(mesh, 4.0 * 8.0 / 3.0, 4.0 * std::sqrt(3.0) * 4.0, 1e-12, "octahedron");
    for (int splits : {1, 3, 5}) {
        create.Sphere(P(1, 2, 3), 2.0, splits);
        int const faces = 8 << (2 * splits);
        EXPECT_EQ(mesh.GetNumTris(), faces);
        EXPECT_EQ(mesh.GetNumPts(), faces / 2 + 2);
        double worst = 0.0;
        for (int i = 0; i < mesh.GetNumPts(); ++i)
            worst = std::max(worst, std::fabs((V(mesh.get_Pts(i).GetPoint()) - V(1, 2, 3)).Mag() - 2.0));
        EXPECT_LT(worst, 1e-14 * 8) << splits;
        // Inscribed: below the sphere by about the square of the edge angle.
        double const edge = kPi / 2.0 / (1 << splits);
        ExpectClosedSolid(mesh, 4.0 / 3.0 * kPi * 8.0, 4.0 * kPi * 4.0, edge * edge, "sphere");
    }
}

TEST(CTriangulation_Create, Solids_AreClosedOutwardAndMatchTheirFormulas) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    create.Cuboid(P(4, 3, 2), P(1, 1, 1), 2);  // corners in either order
    EXPECT_EQ(mesh.GetNumTris(), 12 * 16);
    ExpectClosedSolid(mesh, 6.0, 2.0 * (6.0 + 3.0 + 2.0), 1e-12, "cuboid");
    EXPECT_EQ(mesh.GetMin(), P(1, 1, 1));

    // Cylinder and cone: polygons of n sides inscribed in the circles.
    double const r = 2.0, h = 5.0, size = 0.3;
    int const n = int(std::ceil(2.0 * kPi * r / size));
    double const polygon = 0.5 * n * r * r * std::sin(2.0 * kPi / n), side = 2.0 * r * std::sin(kPi / n);
    create.Cylinder(P(1, 1, 1), P(1 + 3, 1, 1 + 4), r, size);
    ExpectClosedSolid(mesh, polygon * h, 2.0 * polygon + n * side * h, 1e-12, "cylinder");
    create.Cone(P(0, 0, 0), P(0, -5, 0), r, size);
    double const slant = std::sqrt(r * r + h * h);
    ExpectClosedSolid(mesh, kPi * r * r * h / 3.0, kPi * r * r + kPi * r * slant, 0.01, "cone");

    double const R = 4.0, rr = 1.0;
    create.Torus(P(1, 2, 3), V(1, 1, 0), R, rr, 0.2);
    ExpectClosedSolid(mesh, 2.0 * kPi * kPi * R * rr * rr, 4.0 * kPi * kPi * R * rr, 0.01, "torus");
}

TEST(CTriangulation_Create, Circle_FacesItsNormalAndStartsOnTheStartDirection) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    V const start(1, 1, 0);
    create.Circle(P(0, 0, 5), V(0, 0, -2), 3.0, 0.5, &start);
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    STriangulationTopology const t = CTriangulation_Analyse_Topology(mesh).Summarise();
    EXPECT_EQ(t.boundaryLoops, 1);
    int const n = int(std::ceil(2.0 * kPi * 3.0 / 0.5));
    EXPECT_NEAR(t.area, 0.5 * n * 9.0 * std::sin(2.0 * kPi / n), 1e-9);
    for (int i = 0; i < mesh.GetNumTris(); ++i)
        EXPECT_NEAR(mesh.get_Tris(i).ComputeNormal().z, -1.0, 1e-12);
    // The first rim point lies on the start direction.
    int const rim = mesh.GetNumPts() - n;
    EXPECT_NEAR((V(mesh.get_Pts(rim).GetPoint()) - V(3 / std::sqrt(2.0), 3 / std::sqrt(2.0), 5)).Mag(), 0.0,
                1e-12);

    // The updatable overload hands the default start direction back.
    CQEL_Vector3_Updatable<double> chosen;
    create.Circle(P(0, 0, 0), V(0, 1, 0), 1.0, 0.5, chosen);
    EXPECT_TRUE(chosen.IsModified());
    EXPECT_NEAR(V(chosen).Mag(), 1.0, 1e-12);
    EXPECT_NEAR(V(chosen).Dot(V(0, 1, 0)), 0.0, 1e-12);
    EXPECT_NEAR((V(mesh.get_Pts(mesh.GetNumPts() - 13).GetPoint()) - V(chosen)).Mag(), 0.0, 1e-12);
}

TEST(CTriangulation_Create, RefusedArgumentsLeaveTheTargetAsItWas) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    create.Cuboid(P(0, 0, 0), P(1, 1, 1), 0);
    double const nan = std::nan("");
    V const z(0, 0, 1);
    struct SCase {
        char const* op;
        std::function<void()> call;
        char const* expected;
    } const cases[] = {
        {"CTriangulation_Create::Sphere", [&] { create.Sphere(P(0, 0, 0), 0.0, 1); },
         "5 radius|Parameter out of range"},
        {"CTriangulation_Create::Sphere", [&] { create.Sphere(P(0, 0, 0), 1.0, -1); },
         "5 number_of_splits|Parameter out of range"},
        {"CTriangulation_Create::Sphere", [&] { create.Sphere(P(0, 0, 0), 1.0, 14); },
         "14 number_of_splits|The triangulation would exceed 715827882 "
         "triangles"},
        {"CTriangulation_Create::Cuboid", [&] { create.Cuboid(P(0, 0, 0), P(1, 0, 1), 0); },
         "14 cornerPt, oppositeCornerPt|Points do not describe a volume."},
        {"CTriangulation_Create::Cuboid", [&] { create.Cuboid(P(0, 0, 0), P(1, nan, 1), 0); },
         "14 cornerPt, oppositeCornerPt|Points do not describe a volume."},
        {"CTriangulation_Create::Cylinder", [&] { create.Cylinder(P(0, 0, 0), P(0, 0, 1), 2e9, 1.0); },
         "5 radius|Parameter out of range"},
        {"CTriangulation_Create::Cylinder", [&] { create.Cylinder(P(0, 0, 0), P(0, 0, 1), 1.0, 2e9); },
         "5 approx_tri_size|Parameter out of range"},
        {"CTriangulation_Create::Cylinder", [&] { create.Cylinder(P(0, 0, 0), P(0, 0, 0), 1.0, 0.1); },
         "5 height|Parameter out of range"},
        {"CTriangulation_Create::Cone", [&] { create.Cone(P(0, 0, 0), P(0, 0, 1), 1e9, 1e-6); },
         "14 approx_tri_size|The triangulation would exceed 715827882 "
         "triangles"},
        {"CTriangulation_Create::Torus", [&] { create.Torus(P(0, 0, 0), z, 0.4, 0.1, 1.0); },
         "5 major_radius|Parameter out of range"},
        {"CTriangulation_Create::Torus", [&] { create.Torus(P(0, 0, 0), z, 1.0, 1.5, 0.1); },
         "5 minor_radius|Parameter out of range"},
        {"CTriangulation_Create::Torus", [&] { create.Torus(P(0, 0, 0), V(0, 0, 0), 2.0, 1.0, 0.1); },
         "14 normal|Invalid direction"},
        {"CTriangulation_Create::Circle", [&] { create.Circle(P(0, 0, 0), V(nan, 0, 1), 1.0, 0.1); },
         "14 normal|Invalid direction"},
        {"CTriangulation_Create::Circle", [&] { create.Circle(P(0, 0, 0), z, 1.0, -1.0); },
         "5 approx_tri_size|Parameter out of range"},
        {"CTriangulation_Create::Circle",
         [&] {
             V const along(0, 0, -3);
             create.Circle(P(0, 0, 0), z, 1.0, 0.1, &along);
         },
         "14 normal, startDirection|Normal is parallel to start direction."},
    };
    for (SCase const& c : cases) {
        EXPECT_EQ(Refusal(c.call, c.op), c.expected) << c.op;
        EXPECT_EQ(mesh.GetNumTris(), 12);
        EXPECT_EQ(mesh.GetNumPts(), 8);
    }
}

namespace {

CPointSet Profile(std::vector<P> const& points) {
    CPointSet set;
    CPointSet_Modify modify(set);
    CPointSet_Section& section = modify.AppendSection();
    for (P const& p : points)
        section.AddPoint(p);
    return set;
}

}  // namespace

TEST(CTriangulation_Create, Sweeps_CloseWhereTheyShouldAndMatchTheirFormulas) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    // An L of length 3 swept by 2 along z: an open strip of area 6 facing profile x direction.
    create.ExtrudeProfile(Profile({P(0, 0, 0), P(2, 0, 0), P(2, 1, 0)}), V(0, 0, 5), -1.0, 1.0);
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    EXPECT_EQ(mesh.GetNumTris(), 4);
    EXPECT_NEAR(CTriangulation_Analyse_Topology(mesh).SurfaceArea(), 6.0, 1e-12);
    EXPECT_EQ(CTriangulation_Analyse_Topology(mesh).CountBoundaryLoops(), 1);
    EXPECT_NEAR((V(mesh.get_Tris(0).ComputeNormal()) - V(0, -1, 0)).Mag(), 0.0, 1e-12);
    EXPECT_EQ(mesh.GetMin(), P(0, 0, -1));
    {
        QEL::Test::SChannelLog warnings(CQEL_Output_Events::EChannel::Warning);
        CPointSet two = Profile({P(1, 0, 0)});
        CPointSet_Modify(two).AppendSection().AddPoint(P(2, 0, 0));
        create.ExtrudeProfile(CPointSet(), V(0, 0, 1), 0.0, 1.0);
        EXPECT_EQ(mesh.GetNumTris(), 0);
        create.ExtrudeProfile(two, V(0, 0, 1), 0.0, 1.0);
        EXPECT_EQ(warnings.lines, (std::vector<std::string>{"Profile point set has no points",
                                                            "Profile point set more than one section"}));
    }

    // A rectangle from the axis to the axis, either way round: a closed cylinder.
    double const r = 2.0, h = 3.0, size = 0.25;
    int const n = int(std::ceil(2.0 * kPi * r / size));
    double const polygon = 0.5 * n * r * r * std::sin(2.0 * kPi / n), side = 2.0 * r * std::sin(kPi / n);
    for (bool reversed : {false, true}) {
        std::vector<P> outline = {P(1, 1, 1), P(1 + r, 1, 1), P(1 + r, 1, 1 + h), P(1, 1, 1 + h)};
        if (reversed) std::reverse(outline.begin(), outline.end());
        create.FromRevolvedProfile(Profile(outline), P(1, 1, 0), V(0, 0, 2), size);
        ExpectClosedSolid(mesh, polygon * h, 2.0 * polygon + n * side * h, 1e-12, "revolved rectangle");
    }
    // A closed profile (a square off the axis) is joined round into a ring.
    create.FromRevolvedProfile(Profile({P(2, 0, 0), P(3, 0, 0), P(3, 0, 1), P(2, 0, 1), P(2, 0, 0)}),
                               P(0, 0, 0), V(0, 0, 1), 0.1);
    ExpectClosedSolid(mesh, kPi * (9.0 - 4.0), 2.0 * kPi * (9.0 - 4.0) + 2.0 * kPi * 5.0, 0.01,
                      "revolved ring");

    // A disc and its offset joined into one shell: a slab of the disc's area.
    CTriangulation disc, lifted;
    CTriangulation_Create(disc).Circle(P(0, 0, 0), V(0, 0, 1), 1.0, 0.2);
    CTriangulation_Create(lifted).UsingOffsetFromTris(disc, 0.5);
    EXPECT_NEAR(lifted.GetMin().z, 0.5, 1e-12);
    double const area = CTriangulation_Analyse_Topology(disc).SurfaceArea();
    double const rim =
        CTriangulation_Analyse_Topology(disc).Summarise().boundaryEdges * 2.0 * std::sin(kPi / 32);
    ASSERT_TRUE(create.FromOriginalAndOffsetted(disc, lifted, 3));
    ExpectClosedSolid(mesh, area * 0.5, 2.0 * area + rim * 0.5, 1e-9, "shell");
    ASSERT_TRUE(
        create.FromOriginalAndOffsetted(lifted, disc, 1));  // inside out: oriented outward all the same
    ExpectClosedSolid(mesh, area * 0.5, 2.0 * area + rim * 0.5, 1e-9, "shell, offset below");
    std::size_t const before = std::size_t(mesh.GetNumTris());
    CTriangulation other;
    CTriangulation_Create(other).Circle(P(0, 0, 0), V(0, 0, 1), 1.0, 0.3);
    EXPECT_FALSE(create.FromOriginalAndOffsetted(disc, other, 1));
    EXPECT_EQ(std::size_t(mesh.GetNumTris()), before);

    // A tube along a straight curve: radius 1 to 2 over length 4 is a capped frustum.
    CNURBS_Curve line;
    CNURBS_Curve_Create(line).FromTwoPoints(P(0, 0, 0), P(0, 4, 0), 4, 3);
    CQEL_Array<CTriangulation_Create::sRadiusTransition> steps;
    create.UsingVariableRadiusCirclesAlongCurve(41, 0.1, 1.0, 2.0, steps, line);
    double const frustum = kPi * 4.0 / 3.0 * (1.0 + 2.0 + 4.0);
    double const mantle = kPi * 3.0 * std::sqrt(1.0 + 16.0);
    ExpectClosedSolid(mesh, frustum, mantle + kPi * 5.0, 0.01, "tube");
    // Along a closed curve, a circle of radius 4, the tube closes round into a torus.
    CNURBS_Curve circle;
    CNURBS_Curve_Create(circle).CircularArc(P(1, 1, 1), V(1, 0, 0), V(0, 1, 1), 4.0, 0.0, 2.0 * kPi);
    create.UsingVariableRadiusCirclesAlongCurve(200, 0.1, 1.0, 1.0, steps, circle);
    ExpectClosedSolid(mesh, 2.0 * kPi * kPi * 4.0, 4.0 * kPi * kPi * 4.0, 0.01, "closed tube");
    EXPECT_EQ(CTriangulation_Analyse_Topology(mesh).CountComponents(), 1);
    // A transition holding the radius at 1 up to the middle.
    steps.PushBack(CTriangulation_Create::sRadiusTransition(0.5, 1.0));
    create.UsingVariableRadiusCirclesAlongCurve(41, 0.1, 1.0, 2.0, steps, line);
    ExpectClosedSolid(mesh, kPi * 2.0 + kPi * 2.0 / 3.0 * 7.0,
                      kPi * 2.0 * 2.0 + kPi * 3.0 * std::sqrt(1.0 + 4.0) + kPi * 5.0, 0.01,
                      "tube with a step");
}

TEST(CTriangulation_Create, RefusedSweepsLeaveTheTargetAsItWas) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    create.Cuboid(P(0, 0, 0), P(1, 1, 1), 0);
    CPointSet two = Profile({P(1, 0, 0), P(1, 0, 1)});
    CPointSet_Modify(two).AppendSection().AddPoint(P(2, 0, 0));
    CNURBS_Curve line, none;
    CNURBS_Curve_Create(line).FromTwoPoints(P(0, 0, 0), P(0, 4, 0), 4, 3);
    CQEL_Array<CTriangulation_Create::sRadiusTransition> steps;
    CQEL_Array<CTriangulation_Create::sRadiusTransition> bad;
    bad.PushBack(CTriangulation_Create::sRadiusTransition(1.5, 1.0));
    struct SCase {
        char const* op;
        std::function<void()> call;
        char const* expected;
    } const cases[] = {
        {"CTriangulation_Create::FromRevolvedProfile",
         [&] { create.FromRevolvedProfile(Profile({P(1, 0, 0)}), P(0, 0, 0), V(0, 0, 1), 0.0); },
         "5 approx_tri_size|Parameter out of range"},
        {"CTriangulation_Create::FromRevolvedProfile",
         [&] { create.FromRevolvedProfile(Profile({P(1, 0, 0)}), P(0, 0, 0), V(0, 0, 0), 0.1); },
         "14 axisDirection|Invalid direction"},
        {"CTriangulation_Create::FromRevolvedProfile",
         [&] { create.FromRevolvedProfile(two, P(0, 0, 0), V(0, 0, 1), 0.1); },
         "14 profilePts|More than one section in PointSet."},
        {"CTriangulation_Create::FromRevolvedProfile",
         [&] { create.FromRevolvedProfile(CPointSet(), P(0, 0, 0), V(0, 0, 1), 0.1); },
         "14 profilePts|No points to revolve."},
        {"CTriangulation_Create::FromRevolvedProfile",
         [&] {
             create.FromRevolvedProfile(Profile({P(0, 0, 1), P(0, 0, 2)}), P(0, 0, 0), V(0, 0, 1), 0.1);
         },
         "14 profilePts|No points to revolve."},
        {"CTriangulation_Create::FromRevolvedProfile",
         [&] {
             create.FromRevolvedProfile(Profile({P(1, 0, 0), P(1, 0, std::nan(""))}), P(0, 0, 0), V(0, 0, 1),
                                        0.1);
         },
         "14 profilePts|Profile points must be finite."},
        {"CTriangulation_Create::ExtrudeProfile",
         [&] { create.ExtrudeProfile(Profile({P(1, 0, 0)}), V(0, 0, 0), 0.0, 1.0); },
         "14 direction|Invalid direction"},
        {"CTriangulation_Create::ExtrudeProfile",
         [&] { create.ExtrudeProfile(Profile({P(1, 0, 0)}), V(0, 0, 1), 1.0, 1.0); },
         "5 fabs(endOffset - startOffset)|Parameter out of range"},
        {"CTriangulation_Create::UsingOffsetFromTris", [&] { create.UsingOffsetFromTris(mesh, 0.0); },
         "5 offset_distance|Parameter out of range"},
        {"CTriangulation_Create::FromOriginalAndOffsetted",
         [&] { create.FromOriginalAndOffsetted(mesh, mesh, 0); }, "5 num_layers|Parameter out of range"},
        {"CTriangulation_Create::UsingVariableRadiusCirclesAlongCurve",
         [&] { create.UsingVariableRadiusCirclesAlongCurve(1, 0.1, 1, 1, steps, line); },
         "5 num_circles|Parameter out of range"},
        {"CTriangulation_Create::UsingVariableRadiusCirclesAlongCurve",
         [&] { create.UsingVariableRadiusCirclesAlongCurve(5, 0.1, 1, 0, steps, line); },
         "5 end_radius|Parameter out of range"},
        {"CTriangulation_Create::UsingVariableRadiusCirclesAlongCurve",
         [&] { create.UsingVariableRadiusCirclesAlongCurve(5, 0.1, 1, 1, bad, line); },
         "5 radiusTransitions|Parameter out of range"},
    };
    for (SCase const& c : cases) {
        EXPECT_EQ(Refusal(c.call, c.op), c.expected) << c.op;
        EXPECT_EQ(mesh.GetNumTris(), 12);
    }
    EXPECT_EQ(ReasonOf([&] { create.UsingVariableRadiusCirclesAlongCurve(5, 0.1, 1, 1, steps, none); }), 10);
    EXPECT_EQ(mesh.GetNumTris(), 12);
}

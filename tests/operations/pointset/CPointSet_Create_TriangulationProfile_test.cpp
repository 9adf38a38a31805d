// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "../../test_helpers/IndexedMeshFixtures.h"
#include "../../test_helpers/ReasonOf.h"
#include "../../test_helpers/TriangulationFixtures.h"
#include "operations/pointset/CPointSet_Create.h"

using namespace QEL::Core;
using V3 = CVector3<double>;

namespace {

using Sections = std::vector<std::vector<V3>>;

Sections Profile(STriangulationFixture const& f, V3 point, V3 normal, double offset = 0.0) {
    CTriangulation mesh;
    BuildTriangulation(mesh, f);
    CPointSet out;
    CPointSet_Create(out).TriangulationProfile(
        mesh, CPlane3d(CPoint3<double>(point.x, point.y, point.z), normal), offset);
    Sections result;
    for (int s = 0; s < out.GetNumSec(); ++s) {
        result.emplace_back();
        for (auto const& p : out.get_Sec(s).GetPtsArray())
            result.back().push_back(V3(p));
    }
    return result;
}

bool Closed(std::vector<V3> const& s) {
    return s.size() > 2 && (s.front() - s.back()).Mag() == 0.0;
}

// Distinct points of a section (without the closing repeat); fails on any duplicate.
std::vector<V3> Distinct(std::vector<V3> const& s) {
    std::vector<V3> d(s.begin(), s.end() - (Closed(s) ? 1 : 0));
    for (std::size_t i = 0; i < d.size(); ++i)
        for (std::size_t j = i + 1; j < d.size(); ++j)
            EXPECT_GT((d[i] - d[j]).Mag(), 1e-12) << "duplicated point " << i << " " << j;
    return d;
}

double Cheb(V3 const& p) {
    return std::max(std::abs(p.x - 0.5), std::abs(p.y - 0.5));
}

STriangulationFixture UVSphere(int rings, int around, double r) {
    double const pi = std::atan(1.0) * 4.0;
    STriangulationFixture f;
    f.points.push_back({0, 0, r});
    for (int i = 1; i < rings; ++i)
        for (int j = 0; j < around; ++j) {
            double const t = pi * i / rings, p = 2 * pi * j / around;
            f.points.push_back({r * std::sin(t) * std::cos(p), r * std::sin(t) * std::sin(p),
                                2 * i == rings ? 0.0 : r * std::cos(t)});
        }
    f.points.push_back({0, 0, -r});
    int const south = int(f.points.size()) - 1;
    auto at = [&](int i, int j) { return 1 + (i - 1) * around + (j % around); };
    for (int j = 0; j < around; ++j) {
        f.triangles.push_back({0, at(1, j), at(1, j + 1)});
        f.triangles.push_back({south, at(rings - 1, j + 1), at(rings - 1, j)});
        for (int i = 1; i + 1 < rings; ++i) {
            f.triangles.push_back({at(i, j), at(i + 1, j), at(i + 1, j + 1)});
            f.triangles.push_back({at(i, j), at(i + 1, j + 1), at(i, j + 1)});
        }
    }
    return f;
}

}  // namespace

TEST(CPointSet_Create_TriangulationProfile, CubeThroughFacesEdgesVerticesAndGeneric) {
    V3 const z(0, 0, 1);
    // Generic: the square at half height, 4 edge crossings and 4 diagonal crossings.
    Sections s = Profile(Cube(), V3(0.5, 0.5, 0.5), z);
    ASSERT_EQ(s.size(), 1u);
    EXPECT_TRUE(Closed(s[0]));
    EXPECT_EQ(Distinct(s[0]).size(), 8u);
    for (V3 const& p : s[0]) {
        EXPECT_EQ(p.z, 0.5);
        EXPECT_NEAR(Cheb(p), 0.5, 1e-15);
    }
    // Through the bottom and top faces: their rims, not the face diagonals.
    for (double h : {0.0, 1.0}) {
        s = Profile(Cube(), V3(0, 0, h), z);
        ASSERT_EQ(s.size(), 1u) << h;
        EXPECT_TRUE(Closed(s[0]));
        EXPECT_EQ(Distinct(s[0]).size(), 4u);
        for (V3 const& p : s[0])
            EXPECT_EQ(Cheb(p), 0.5);
    }
    // Through two opposite edges and the face diagonals between them: the four corners.
    s = Profile(Cube(), V3(0, 0, 0), V3(1, -1, 0));
    ASSERT_EQ(s.size(), 1u);
    EXPECT_TRUE(Closed(s[0]));
    EXPECT_EQ(Distinct(s[0]).size(), 4u);
    // Touching one edge only: that edge, open.
    s = Profile(Cube(), V3(0, 0, 0), V3(1, 1, 0));
    ASSERT_EQ(s.size(), 1u);
    EXPECT_EQ(s[0].size(), 2u);
    // Through three corners (x + y + z = 1) and across the hexagon (= 1.5).
    for (double c : {1.0, 1.5}) {
        s = Profile(Cube(), V3(c, 0, 0), V3(1, 1, 1));
        ASSERT_EQ(s.size(), 1u);
        EXPECT_TRUE(Closed(s[0]));
        for (V3 const& p : Distinct(s[0])) {
            EXPECT_NEAR(p.x + p.y + p.z, c, 1e-15);
            double const out = std::max({std::abs(p.x - 0.5), std::abs(p.y - 0.5), std::abs(p.z - 0.5)});
            EXPECT_NEAR(out, 0.5, 1e-15);
        }
    }
    // A plane missing the mesh leaves an empty set.
    EXPECT_TRUE(Profile(Cube(), V3(0, 0, 2), z).empty());
}

TEST(CPointSet_Create_TriangulationProfile, SphereMatchesItsCircle) {
    double const r = 2.0, pi = std::atan(1.0) * 4.0;
    int const around = 64;
    for (double h : {0.0, 0.7, -1.3, r * std::cos(pi * 3 / 16)}) {
        Sections s = Profile(UVSphere(16, around, r), V3(0, 0, h), V3(0, 0, 1));
        ASSERT_EQ(s.size(), 1u) << h;
        EXPECT_TRUE(Closed(s[0]));
        double const circle = std::sqrt(r * r - h * h);
        for (V3 const& p : Distinct(s[0])) {
            EXPECT_NEAR(p.z, h, 1e-12);
            double const rho = std::hypot(p.x, p.y);
            // Chords of the mesh lie inside the sphere by at most its sagitta.
            EXPECT_LE(rho, circle + 1e-12);
            EXPECT_GE(rho, circle * std::cos(pi / 16) * std::cos(pi / around) - 1e-12);
        }
    }
}

TEST(CPointSet_Create_TriangulationProfile, TorusLoopsHoleAndOffset) {
    QEL::Test::SIndexedMesh const t = QEL::Test::MakeTorus(24, 16);
    STriangulationFixture torus;
    for (auto const& p : t.positions)
        // Rounding residues snapped to zero, so that rings of vertices lie on the planes.
        torus.points.push_back({std::abs(p[0]) < 1e-12 ? 0.0 : p[0], std::abs(p[1]) < 1e-12 ? 0.0 : p[1],
                                std::abs(p[2]) < 1e-12 ? 0.0 : p[2]});
    for (std::size_t i = 0; i < t.corners.size(); i += 3)
        torus.triangles.push_back({t.corners[i], t.corners[i + 1], t.corners[i + 2]});
    // Through the axis (a ring of vertices on the plane), across it, and tangent to the top.
    for (V3 n : {V3(0, 1, 0), V3(1, 0, 0), V3(0, 0, 1), V3(1, 2, 0)}) {
        Sections s = Profile(torus, V3(0, 0, 0), n);
        ASSERT_EQ(s.size(), 2u);
        for (auto const& loop : s) {
            EXPECT_TRUE(Closed(loop));
            Distinct(loop);
        }
    }
    EXPECT_EQ(Profile(torus, V3(0, 0, 1), V3(0, 0, 1)).size(), 1u);

    // Open pieces: a flat strip with a hole cut across it, between vertices and along them.
    Sections s = Profile(Strip(4, {5}), V3(1.5, 0, 0), V3(1, 0, 0));
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0].size() + s[1].size(), 3u + 5u);
    s = Profile(Strip(4, {5}), V3(1, 0, 0), V3(1, 0, 0));
    ASSERT_EQ(s.size(), 1u);
    EXPECT_EQ(Distinct(s[0]).size(), 5u);

    // Three fins on one edge (non-manifold): their crossings share the edge's point.
    STriangulationFixture const fins{{{0, 0, -1}, {0, 0, 1}, {1, 0, 0}, {-1, 1, 0}, {-1, -1, 0}},
                                     {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}}};
    s = Profile(fins, V3(0, 0, 0.5), V3(0, 0, 1));
    std::size_t points = 0;
    for (auto const& piece : s)
        points += Distinct(piece).size();
    EXPECT_EQ(s.size(), 2u);
    EXPECT_EQ(points, 3u + 2u);

    // Offset within the plane: every point moves by the offset, inwards for a
    // positive offset on an outward-facing cube.
    Sections const base = Profile(Cube(), V3(0.5, 0.5, 0.5), V3(0, 0, 1));
    Sections const moved = Profile(Cube(), V3(0.5, 0.5, 0.5), V3(0, 0, 1), 0.1);
    ASSERT_EQ(moved.size(), 1u);
    ASSERT_EQ(moved[0].size(), base[0].size());
    for (std::size_t i = 0; i < base[0].size(); ++i) {
        EXPECT_EQ(moved[0][i].z, 0.5);
        EXPECT_NEAR((moved[0][i] - base[0][i]).Mag(), 0.1, 1e-12);
        EXPECT_LT(Cheb(moved[0][i]), 0.45);
    }
}

TEST(CPointSet_Create_TriangulationProfile, BadArgumentsLeaveTheTarget) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Cube());
    CPointSet out;
    CPlane3d const plane(CPoint3<double>(0, 0, 0.5), V3(0, 0, 1));
    CPointSet_Create(out).TriangulationProfile(mesh, plane, 0.0);
    int const before = out.GetNumPts();
    EXPECT_EQ(ReasonOf([&] { CPointSet_Create(out).TriangulationProfile(mesh, plane, 2e9); }), 5);
    EXPECT_EQ(ReasonOf([&] { CPointSet_Create(out).TriangulationProfile(CTriangulation(), plane, 0.0); }),
              14);
    EXPECT_EQ(out.GetNumPts(), before);
}

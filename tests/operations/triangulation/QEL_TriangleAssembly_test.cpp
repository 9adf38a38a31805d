// SPDX-License-Identifier: MIT
// The assembler's steps over plain arrays: the exact weld against a set of
// distinct coordinate triples, the tolerance weld against brute force, and
// the pairing rules on damaged meshes.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include "operations/triangulation/QEL_TriangleAssembly.h"
#include "test_helpers/IndexedMeshFixtures.h"

using namespace QEL::Core::Assembly;
using namespace QEL::Test;

namespace {

SPointSource FloatPoints(std::vector<float> const& xyz) {
    return {
        reinterpret_cast<unsigned char const*>(xyz.data()), std::int64_t(xyz.size() / 3), 1, 12, 0, false};
}
SPointSource DoublePoints(std::vector<double> const& xyz) {
    return {reinterpret_cast<unsigned char const*>(xyz.data()), std::int64_t(xyz.size() / 3), 1, 24, 0, true};
}

// The bits of a coordinate as the weld compares them: -0 as +0.
std::uint32_t Bits(float f) {
    std::uint32_t b;
    std::memcpy(&b, &f, 4);
    return b == 0x80000000u ? 0 : b;
}

// The weld's contract: ids agree exactly when canonical triples agree, and
// vertices are numbered by first occurrence with that point's position.
void ExpectWeldOf(std::vector<float> const& xyz) {
    SPointSource const source = FloatPoints(xyz);
    std::vector<int> ids(std::size_t(source.Count()));
    CBuffer<int> first;
    int const vertices = Weld(source, ids.data(), first);
    std::map<std::array<std::uint32_t, 3>, int> seen;
    for (std::int64_t i = 0; i < source.Count(); ++i) {
        std::array<std::uint32_t, 3> const key{Bits(xyz[3 * i]), Bits(xyz[3 * i + 1]), Bits(xyz[3 * i + 2])};
        auto const [at, inserted] = seen.emplace(key, int(seen.size()));
        ASSERT_EQ(ids[std::size_t(i)], at->second) << "point " << i;
        if (inserted) {
            ASSERT_EQ(first[at->second], i);
        }
    }
    EXPECT_EQ(vertices, int(seen.size()));
    EXPECT_EQ(first.size(), std::int64_t(seen.size()));
}

}  // namespace

TEST(TriangleAssembly, WeldCountsDistinctCornerTriples) {
    // Coordinates from a small pool so that triples repeat, with signed zeros and NaNs.
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float const otherNan = -std::numeric_limits<float>::quiet_NaN();
    std::vector<float> const pool{0.0f, -0.0f, 1.0f, -1.0f, 0.5f, nan, otherNan, 1e-30f, 3.25f};
    std::mt19937 random(7);
    for (std::int64_t count : {1, 10, 1000, 300000}) {  // the largest is welded in parts
        std::vector<float> xyz(std::size_t(3 * count));
        for (float& v : xyz)
            v = pool[random() % pool.size()];
        ExpectWeldOf(xyz);
    }
    // Distinct everywhere: the tables must grow.
    std::vector<float> distinct(3 * 200000);
    for (std::size_t i = 0; i < distinct.size(); ++i)
        distinct[i] = float(i);
    ExpectWeldOf(distinct);
}

TEST(TriangleAssembly, ToleranceWeldMatchesBruteForceOnCellBorders) {
    // Clusters centred on multiples of the cell width (twice the tolerance),
    // so that close points straddle cell borders, with chains across them.
    double const tolerance = 0.01;
    std::mt19937 random(11);
    std::uniform_real_distribution<double> jitter(-0.008, 0.008);
    std::vector<double> xyz;
    for (int cluster = 0; cluster < 300; ++cluster) {
        double const cx = 2 * tolerance * double(random() % 20), cy = 2 * tolerance * double(random() % 20);
        double const cz = 2 * tolerance * double(random() % 3);
        for (int i = 0; i < 4; ++i)
            xyz.insert(xyz.end(), {cx + jitter(random), cy + jitter(random), cz + jitter(random)});
    }
    xyz.insert(xyz.end(), {std::nan(""), 0, 0, std::nan(""), 0, 0, INFINITY, 0, 0});  // weld only exactly
    SPointSource const source = DoublePoints(xyz);
    int const n = int(source.Count());
    std::vector<int> ids(static_cast<std::size_t>(n));
    CBuffer<int> first;
    int const exact = Weld(source, ids.data(), first);
    std::vector<std::array<double, 3>> vertex(static_cast<std::size_t>(exact));
    for (int v = 0; v < exact; ++v)
        for (int a = 0; a < 3; ++a)
            vertex[std::size_t(v)][std::size_t(a)] = xyz[std::size_t(3 * std::int64_t(first[v]) + a)];
    CBuffer<int> remap;
    int const groups = MergeWithinTolerance(source, first, tolerance, remap);

    // Brute force: union of every pair closer than the tolerance.
    std::vector<int> parent(static_cast<std::size_t>(exact));
    std::iota(parent.begin(), parent.end(), 0);
    std::function<int(int)> find = [&](int v) {
        return parent[std::size_t(v)] == v ? v : parent[std::size_t(v)] = find(parent[std::size_t(v)]);
    };
    int brute = exact;
    for (int v = 0; v < exact; ++v)
        for (int w = v + 1; w < exact; ++w) {
            double d = 0;
            for (int a = 0; a < 3; ++a)
                d += std::pow(vertex[std::size_t(v)][std::size_t(a)] - vertex[std::size_t(w)][std::size_t(a)],
                              2);
            if (!(d < tolerance * tolerance)) continue;
            int const x = find(v), y = find(w);
            if (x != y) parent[std::size_t(std::max(x, y))] = std::min(x, y), --brute;
        }
    EXPECT_EQ(groups, brute);
    for (int v = 0; v < exact; ++v)
        for (int w = v + 1; w < exact; ++w)
            ASSERT_EQ(find(v) == find(w), remap[v] == remap[w]) << v << " " << w;
    EXPECT_LT(groups, exact - 100);  // the test does join many
}

TEST(TriangleAssembly, DamagedMeshesLoadWithTheirFaultsCounted) {
    // A grid with a hole, 64 non-manifold fins, flipped triangles and triangles made degenerate.
    SIndexedMesh grid = MakeGrid(40, 30);
    int const flipped = grid.FlipTriangles({100, 300, 1500});
    int const degenerate = grid.PinchTriangles({3, 7});
    int const fins = grid.AddFins(27 * 40, 64);
    int const holes = grid.CutHole(40, 10, 10, 4, 3);
    SConnected mesh;
    Connect(grid.Corners(), grid.Triangles(), grid.Vertices(), mesh);
    EXPECT_GT(holes, 0);
    EXPECT_EQ(mesh.degenerate, degenerate);
    EXPECT_EQ(mesh.triangles, grid.Triangles() - degenerate);
    EXPECT_EQ(mesh.nonManifoldEdges, fins);
    EXPECT_EQ(mesh.orientationConflicts,
              3 * flipped);  // each flipped interior triangle disagrees on its 3 edges
    ExpectValidConnectivity(mesh, grid.Vertices());
    ASSERT_EQ(mesh.origin.size(), mesh.triangles);
    for (std::int64_t t = 0; t < mesh.triangles; ++t)
        for (int k = 0; k < 3; ++k)
            ASSERT_EQ(mesh.corners[3 * t + k], grid.corners[std::size_t(3 * mesh.origin[t] + k)]);
}

TEST(TriangleAssembly, PairingDoesNotDependOnTheNumberOfParts) {
    // Large enough to be connected in parts: the result equals a one-part brute force.
    SIndexedMesh grid = MakeGrid(400, 300);
    grid.FlipTriangles({5000, 77777});
    grid.AddFins(290 * 400, 64);
    SConnected mesh;
    Connect(grid.Corners(), grid.Triangles(), grid.Vertices(), mesh);
    std::vector<int> const brute = BruteForcePairs(grid.corners);
    ASSERT_EQ(mesh.pairs.size(), std::int64_t(brute.size()));
    for (std::size_t e = 0; e < brute.size(); ++e)
        ASSERT_EQ(mesh.pairs[std::int64_t(e)], brute[e]) << "half-edge " << e;
    ExpectValidConnectivity(mesh, grid.Vertices());
}

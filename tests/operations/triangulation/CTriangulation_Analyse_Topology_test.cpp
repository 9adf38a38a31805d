// SPDX-License-Identifier: MIT
// The topology summary against meshes whose answers are known by hand.
#include <gtest/gtest.h>

#include "entities/CTriangulation.h"
#include "operations/triangulation/CTriangulation_Analyse_Topology.h"
#include "test_helpers/HandBuiltMeshes.h"

using namespace QEL::Core;
using namespace QEL::Test;

namespace {

STriangulationTopology Summary(SHandMesh const& hand) {
    CTriangulation const mesh = Build(hand);
    return CTriangulation_Analyse_Topology(mesh).Summarise();
}

SHandMesh Joined(SHandMesh a, SHandMesh const& b) {
    int const offset = int(a.points.size());
    a.points.insert(a.points.end(), b.points.begin(), b.points.end());
    for (auto t : b.triangles)
        a.triangles.push_back({t[0] + offset, t[1] + offset, t[2] + offset});
    return a;
}

}  // namespace

TEST(TopologySummary, ClosedMeshesHaveVolumeAreaAndNoBoundary) {
    STriangulationTopology const cube = Summary(Cube());
    EXPECT_TRUE(cube.closed);
    EXPECT_EQ(cube.boundaryEdges, 0);
    EXPECT_EQ(cube.boundaryLoops, 0);
    EXPECT_EQ(cube.components, 1);
    EXPECT_EQ(cube.nonManifoldEdges, 0);
    EXPECT_DOUBLE_EQ(cube.area, 24.0);
    ASSERT_TRUE(cube.hasVolume);
    EXPECT_DOUBLE_EQ(cube.volume, 8.0);
    EXPECT_EQ(cube.min.x, -1.0);
    EXPECT_EQ(cube.max.z, 1.0);

    // Two tetrahedra far apart: two components, the volumes add up.
    STriangulationTopology const two = Summary(Joined(Tetrahedron(), Tetrahedron(5.0)));
    EXPECT_EQ(two.components, 2);
    EXPECT_TRUE(two.closed);
    EXPECT_NEAR(two.volume, 2.0 / 6.0, 1e-15);
    EXPECT_EQ(two.max.x, 6.0);

    // Facing inward: the same volume, negative.
    SHandMesh inward = Cube();
    for (auto& t : inward.triangles)
        std::swap(t[1], t[2]);
    EXPECT_DOUBLE_EQ(Summary(inward).volume, -8.0);
}

TEST(TopologySummary, OpenMeshesCountBoundaryEdgesLoopsAndNoVolume) {
    STriangulationTopology const grid = Summary(Grid(2));
    EXPECT_FALSE(grid.closed);
    EXPECT_EQ(grid.boundaryEdges, 8);
    EXPECT_EQ(grid.boundaryLoops, 1);
    EXPECT_EQ(grid.components, 1);
    EXPECT_DOUBLE_EQ(grid.area, 4.0);
    EXPECT_FALSE(grid.hasVolume);
    double untouched = 42.0;
    CTriangulation const mesh = Build(Grid(2));
    EXPECT_FALSE(CTriangulation_Analyse_Topology(mesh).EnclosedVolume(untouched));
    EXPECT_EQ(untouched, 42.0);

    // A hole is a second loop; the vertices around it are used, none unused.
    STriangulationTopology const holed = Summary(Grid(3, true));
    EXPECT_EQ(holed.boundaryEdges, 12 + 4);
    EXPECT_EQ(holed.boundaryLoops, 2);
    EXPECT_EQ(holed.unusedVertices, 0);
    EXPECT_DOUBLE_EQ(holed.area, 8.0);

    // A cube without its top: one loop of four edges.
    SHandMesh open = Cube();
    open.triangles.erase(open.triangles.begin() + 2, open.triangles.begin() + 4);
    STriangulationTopology const box = Summary(open);
    EXPECT_EQ(box.boundaryEdges, 4);
    EXPECT_EQ(box.boundaryLoops, 1);
    EXPECT_FALSE(box.hasVolume);
}

TEST(TopologySummary, TwoFansMeetingAtOneVertexKeepTheirLoopsApart) {
    // Two triangles touching at vertex 0 only (a bow tie): the vertex edge of
    // vertex 0 can name one fan only, the loops must not be joined through it.
    SHandMesh const bowTie{{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}, {-1, -1, 0}},
                           {{0, 1, 2}, {0, 3, 4}}};
    STriangulationTopology const t = Summary(bowTie);
    EXPECT_EQ(t.boundaryEdges, 6);
    EXPECT_EQ(t.boundaryLoops, 2);
    EXPECT_EQ(t.components, 2);
}

TEST(TopologySummary, EdgesOfThreeTrianglesAreNonManifoldAndUnusedVerticesCounted) {
    // A fin: a third triangle on the edge (0, 1) of two paired ones; one
    // vertex used by nothing.
    SHandMesh fin{{{0, 0, 0}, {1, 0, 0}, {0.5, 1, 0}, {0.5, -1, 0}, {0.5, 0, 1}, {9, 9, 9}},
                  {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}}};
    STriangulationTopology const t = Summary(fin);
    EXPECT_EQ(t.nonManifoldEdges, 1);
    EXPECT_EQ(t.unusedVertices, 1);
    EXPECT_EQ(t.boundaryEdges, 4 + 3);
    EXPECT_EQ(t.components, 2);  // the fin is joined by no paired edge

    // Two triangles of opposite orientation on one edge: unpaired, yet an
    // ordinary (two-triangle) edge.
    SHandMesh flipped{{{0, 0, 0}, {1, 0, 0}, {0.5, 1, 0}, {0.5, -1, 0}}, {{0, 1, 2}, {0, 1, 3}}};
    EXPECT_EQ(Summary(flipped).nonManifoldEdges, 0);
    EXPECT_EQ(Summary(flipped).boundaryEdges, 6);

    STriangulationTopology const empty = Summary(SHandMesh{});
    EXPECT_FALSE(empty.closed);
    EXPECT_EQ(empty.components, 0);
    EXPECT_EQ(empty.area, 0.0);
}

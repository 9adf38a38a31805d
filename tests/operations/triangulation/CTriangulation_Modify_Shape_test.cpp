// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>

#include "test_helpers/ReasonOf.h"
#include "test_helpers/TriangulationFixtures.h"
#include "test_helpers/TriangulationInvariants.h"
#include "operations/triangulation/CTriangulation_Analyse_Topology.h"
#include "operations/triangulation/CTriangulation_Create.h"
#include "operations/triangulation/CTriangulation_Modify.h"

using namespace QEL::Core;
using V = CVector3<double>;

TEST(CTriangulation_Modify, SubdivideTriangles_SharesMidpointsAndKeepsPairsAndBoundaries) {
    // An open grid with a hole: the boundary must stay where it was, split.
    CTriangulation mesh;
    ASSERT_EQ(BuildTriangulation(mesh, Strip(3, {4})), 0);
    mesh.AddPtsMetaData(CTrisData_Pts::Err);
    mesh.GetVertexGroup().set_Err(5, 7.0);
    STriangulationTopology const before = CTriangulation_Analyse_Topology(mesh).Summarise();
    CTriangulation_Modify(mesh).SubdivideTriangles(2);
    STriangulationTopology const after = CTriangulation_Analyse_Topology(mesh).Summarise();
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    EXPECT_EQ(after.triangles, 16 * before.triangles);
    EXPECT_EQ(after.boundaryEdges, 4 * before.boundaryEdges);
    EXPECT_EQ(after.boundaryLoops, before.boundaryLoops);
    EXPECT_NEAR(after.area, before.area, 1e-12);
    // Vertices: each pass adds one per edge (E = (3T + B) / 2), shared by both sides.
    int const edges1 = (3 * before.triangles + before.boundaryEdges) / 2;
    int const edges2 = (3 * 4 * before.triangles + 2 * before.boundaryEdges) / 2;
    EXPECT_EQ(after.vertices, before.vertices + edges1 + edges2);
    EXPECT_EQ(mesh.GetVertexGroup().get_Err(5), 7.0);  // old vertices keep number and attributes
    // Triangle 0, corners (0, 1, 5): its first child keeps corner 0, oriented as the parent.
    EXPECT_EQ(mesh.GetPointIndex(mesh.get_Tris(0).GetPt1()), 0);
    EXPECT_NEAR(mesh.get_Tris(0).ComputeNormal().z, 1.0, 1e-12);

    EXPECT_EQ(ReasonOf([&] { CTriangulation_Modify(mesh).SubdivideTriangles(-1); }), 5);
    EXPECT_EQ(ReasonOf([&] { CTriangulation_Modify(mesh).SubdivideTriangles(20); }), 14);
    EXPECT_EQ(mesh.GetNumTris(), after.triangles);
    // A triangle with a missing corner is refused before anything changes.
    mesh.CheckSpace(mesh.GetNumPts(), mesh.GetNumTris() + 1);
    EXPECT_EQ(ReasonOf([&] { CTriangulation_Modify(mesh).SubdivideTriangles(1); }), 14);
    EXPECT_EQ(mesh.GetNumTris(), after.triangles + 1);
}

TEST(CTriangulation_Modify, SwitchNormals_TurnsEverySolidInsideOutWithPairsValid) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    create.Torus(CPoint3<double>(0, 0, 0), V(0, 0, 1), 3.0, 1.0, 0.5);
    double volume = 0.0;
    ASSERT_TRUE(CTriangulation_Analyse_Topology(mesh).EnclosedVolume(volume));
    CTriangulation_Modify(mesh).SwitchNormals();
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    double reversed = 0.0;
    ASSERT_TRUE(CTriangulation_Analyse_Topology(mesh).EnclosedVolume(reversed));
    EXPECT_NEAR(reversed, -volume, 1e-9);
    // Open surfaces too: the boundary walk survives.
    ASSERT_EQ(BuildTriangulation(mesh, Strip(2)), 0);
    CTriangulation_Modify(mesh).SwitchNormals();
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    EXPECT_NEAR(mesh.get_Tris(0).ComputeNormal().z, -1.0, 1e-12);
}

TEST(CTriangulation_Modify, OffsetTrianglesByDistance_MovesAlongVertexNormals) {
    CTriangulation mesh;
    CTriangulation_Create(mesh).Sphere(CPoint3<double>(1, 1, 1), 2.0, 3);
    CTriangulation_Modify(mesh).OffsetTrianglesByDistance(0.5);
    for (int i = 0; i < mesh.GetNumPts(); ++i)
        EXPECT_NEAR((V(mesh.get_Pts(i).GetPoint()) - V(1, 1, 1)).Mag(), 2.5, 0.01);
    CTriangulation_Modify(mesh).OffsetTrianglesByDistance(-0.5);
    EXPECT_EQ(ReasonOf([&] { CTriangulation_Modify(mesh).OffsetTrianglesByDistance(std::nan("")); }), 5);
    for (int i = 0; i < mesh.GetNumPts(); ++i)
        EXPECT_NEAR((V(mesh.get_Pts(i).GetPoint()) - V(1, 1, 1)).Mag(), 2.0, 0.01);
}

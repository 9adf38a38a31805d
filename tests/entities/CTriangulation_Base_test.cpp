// SPDX-License-Identifier: MIT
// Storage of a triangulation: reallocation through index form, compaction,
// copies, metadata and attribute access.
#include <gtest/gtest.h>

#include <vector>

#include "PointSetTestUtil.h"
#include "entities/CTriangulation.h"
#include "test_helpers/TriangulationFixtures.h"
#include "test_helpers/TriangulationInvariants.h"

using namespace QEL::Core;

namespace {

// Connectivity as numbers: per edge its vertex index and pair number, per
// vertex its vertex edge number.
std::vector<int> Links(CTriangulation const& mesh, int numTris, int numPts) {
    std::vector<int> links;
    for (int t = 0; t < numTris; ++t)
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge const& e = mesh.get_Tris(t).Edge(k);
            links.push_back(mesh.GetPointIndex(e.GetVertex()));
            links.push_back(mesh.GetEdgeNumber(e.GetPairedEdge()));
        }
    for (int i = 0; i < numPts; ++i)
        links.push_back(mesh.GetEdgeNumber(mesh.get_Pts(i).GetEdge()));
    return links;
}

}  // namespace

TEST(CTriangulationBase, CheckSpace_ConnectivitySurvivesGrowthShrinkAndCompaction) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Strip(6, {7, 20}));
    int const nPts = mesh.GetNumPts();
    int const nTris = mesh.GetNumTris();
    std::vector<int> const links = Links(mesh, nTris, nPts);
    // Growth far beyond the allocation moves both arrays.
    mesh.CheckSpace(nPts + 5000, nTris + 7000);
    EXPECT_EQ(Links(mesh, nTris, nPts), links);
    // New triangles are fresh: no corners, no pairs, and survive another round trip.
    for (int t = nTris; t < mesh.GetNumTris(); t += 997)
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(mesh.get_Tris(t).Edge(k).GetVertex(), nullptr);
            EXPECT_TRUE(mesh.get_Tris(t).Edge(k).IsBoundary());
        }
    mesh.Compact();
    EXPECT_EQ(Links(mesh, nTris, nPts), links);
    EXPECT_EQ(mesh.get_Tris(nTris + 10).GetPt1(), nullptr);
    EXPECT_EQ(mesh.get_Tris(nTris + 10).GetT1(), nullptr);
    // Back to the original counts: everything as before.
    mesh.CheckSpace(nPts, nTris);
    EXPECT_EQ(Links(mesh, nTris, nPts), links);
    EXPECT_EQ(TriangulationInvariants(mesh), "");

    // Shrinking below the count keeps the first elements; links into the
    // dropped ones become boundary edges.
    mesh.CheckSpace(nPts, nTris / 2);
    EXPECT_EQ(mesh.GetNumTris(), nTris / 2);
    std::vector<int> const kept = Links(mesh, nTris / 2, 0);
    for (std::size_t i = 0; i < kept.size(); i += 2) {
        EXPECT_EQ(kept[i], links[i]);
        EXPECT_TRUE(kept[i + 1] == links[i + 1] || (kept[i + 1] == -1 && links[i + 1] >= 3 * (nTris / 2)));
    }
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    EXPECT_TRUE(mesh.HasValidTopology());
    ExpectQelError([&] { mesh.CheckSpace(-1, 0); }, QEL_INDEX_OUT_OF_RANGE, "nPts");
    EXPECT_EQ(mesh.GetNumTris(), nTris / 2);
}

TEST(CTriangulationBase, IndexForm_LeavesAFreshTriangleWithoutCornersOrPairs) {
    CTriangulation mesh;
    mesh.CheckSpace(4, 2);
    CTriangulation_Vertex* const vertices = mesh.EditVertices().data();
    CTriangulation_Triangle* const triangles = mesh.EditTriangles().data();
    CTriangulation_Triangle& fresh = mesh.get_Tris(1);
    fresh.ConvertPointersToIndex(vertices, triangles);
    fresh.ConvertIndexToPointers(vertices, triangles);
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(fresh.GetPt(k), nullptr);
        EXPECT_EQ(fresh.GetT(k), nullptr);
    }
    // A zero-filled triangle (what growth makes) is left untouched, not tied to vertex 0.
    CTriangulation_Triangle& other = mesh.get_Tris(0);
    other.ConvertIndexToPointers(vertices, triangles);
    EXPECT_EQ(other.GetPt1(), nullptr);
    EXPECT_EQ(other.GetT1(), nullptr);
}

TEST(CTriangulationBase, Copy_RelinksIntoItsOwnArraysAndIgnoresEmptySources) {
    CTriangulation source;
    BuildTriangulation(source, Cube());
    source.AddPtsMetaData(CTrisData_Pts::Err);
    source.GetVertexGroup().set_Err(3, 2.5);
    CTriangulation copy(source);
    EXPECT_EQ(copy.GetNumTris(), 12);
    EXPECT_EQ(copy.GetVertexGroup().get_Err(3), 2.5);
    EXPECT_EQ(Links(copy, 12, 8), Links(source, 12, 8));
    EXPECT_EQ(TriangulationInvariants(copy), "");
    for (CTriangulation_Triangle const& t : copy.GetTriangles())
        for (int k = 0; k < 3; ++k) {
            EXPECT_GE(copy.GetPointIndex(t.Edge(k).GetVertex()), 0);
            EXPECT_GE(copy.GetEdgeNumber(t.Edge(k).GetPairedEdge()), 0);
        }
    // Changing the copy leaves the source alone.
    copy.get_Pts(0).set_x(-7.0);
    EXPECT_EQ(source.get_Pts(0).get_x(), 0.0);

    // Empty sources (no vertices, or vertices but no triangles) change nothing.
    CTriangulation empty;
    copy = empty;
    EXPECT_EQ(copy.GetNumTris(), 12);
    CTriangulation onlyPoints;
    onlyPoints.CheckSpace(5, 0);
    copy.Copy(onlyPoints);
    EXPECT_EQ(copy.GetNumPts(), 8);
    EXPECT_EQ(copy.get_Pts(0).get_x(), -7.0);
}

TEST(CTriangulationBase, MetaData_AlwaysKeepsTheDefaultsAndAccessorsFollowIt) {
    CTriangulation mesh;
    EXPECT_EQ(mesh.GetPtsMetaDataFlags(), CTrisData_Pts::Pts);
    EXPECT_EQ(mesh.GetTrisMetaDataFlags().GetBits(), 7u);
    mesh.SetMetaData(CTrisData_Pts::Vel, CTrisData_Tris::Col);
    EXPECT_EQ(mesh.GetPtsMetaDataFlags(), CTrisData_Pts::Pts | CTrisData_Pts::Vel);
    EXPECT_EQ(mesh.GetTrisMetaDataFlags(), CTrisData_Tris::Default | CTrisData_Tris::Col);
    mesh.RemoveMetaData(CTrisData_Pts::All, CTrisData_Tris::All);
    EXPECT_EQ(mesh.GetPtsMetaDataFlags(), CTrisData_Pts::Default);
    EXPECT_EQ(mesh.GetTrisMetaDataFlags(), CTrisData_Tris::Default);

    BuildTriangulation(mesh, Octahedron());
    mesh.AddMetaData(CTrisData_Pts::Sta | CTrisData_Pts::CUV, CTrisData_Tris::Ind | CTrisData_Tris::Flag);
    EXPECT_TRUE(mesh.HasMetaData(CTrisData_Pts::Sta, CTrisData_Tris::Ind | CTrisData_Tris::Flag));
    EXPECT_FALSE(mesh.HasTrisMetaData(CTrisData_Tris::Type));
    CTriangulation_Vertex_CollectionGroup& pts = mesh.GetVertexGroup();
    CTriangulation_Triangle_CollectionGroup& tris = mesh.GetTriangleGroup();
    EXPECT_EQ(pts.GetStaArray().Count(), 6);
    EXPECT_EQ(tris.get_Ind(5), -1);  // never set reads as no index
    pts.set_Sta(&mesh.get_Pts(2), 9);
    EXPECT_EQ(pts.get_Sta(2), 9);
    tris.set_Flag(&mesh.get_Tris(4), true);
    EXPECT_TRUE(tris.get_Flag(4));
    EXPECT_EQ(tris.GetCoMArray().Count(), 8);
    // Not present, or not an element of this triangulation: reason 5.
    ExpectQelError([&] { tris.get_Type(0); }, QEL_PARAMETER_OUT_OF_RANGE, "index");
    CTriangulation other;
    BuildTriangulation(other, Octahedron());
    ExpectQelError([&] { pts.get_Sta(&other.get_Pts(0)); }, QEL_PARAMETER_OUT_OF_RANGE, "index");
    // Growth keeps attribute values in step.
    mesh.CheckSpace(600, 800);
    EXPECT_EQ(pts.get_Sta(2), 9);
    EXPECT_TRUE(tris.get_Flag(4));
    EXPECT_EQ(tris.get_Ind(700), -1);

    mesh.Reset();
    EXPECT_EQ(mesh.GetNumPts(), 0);
    EXPECT_EQ(mesh.GetPtsMetaDataFlags(), CTrisData_Pts::Default);
    EXPECT_EQ(mesh.GetTrisMetaDataFlags(), CTrisData_Tris::Default);
}

TEST(CTriangulationBase, ComputedNormalsAndCentres_FollowEveryChange) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Strip(1));
    CTriangulation_Triangle_CollectionGroup& tris = mesh.GetTriangleGroup();
    EXPECT_EQ(tris.get_Nms(0), CVector3<double>(0, 0, 1));
    EXPECT_EQ(tris.get_CoM(1), CPoint3<double>(1.0 / 3, 2.0 / 3, 0));
    // A vertex moves: centres and normals of its triangles change.
    mesh.get_Pts(3).set_z(3.0);
    EXPECT_NEAR(tris.get_CoM(1).z, 1.0, 1e-15);
    EXPECT_LT(tris.get_Nms(0).z, 1.0);
    // A triangle changes its corners.
    mesh.get_Tris(0).RotateEdges(true);
    mesh.get_Tris(0).RawSwitchNormal();
    EXPECT_LT(tris.get_Nms(0).z, 0.0);
    // Bulk writes show after MarkAllModified.
    mesh.EditVertices()[3].RawSetPoint(1, 1, 0);
    mesh.MarkAllModified();
    EXPECT_EQ(tris.get_CoM(1), CPoint3<double>(1.0 / 3, 2.0 / 3, 0));
}

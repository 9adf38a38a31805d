// SPDX-License-Identifier: MIT
// Half-edge connectivity: pairing rules, unpairing, boundary walks, edge
// renumbering, reversal, normals and checked access.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "PointSetTestUtil.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"
#include "entities/CTriangulation.h"
#include "test_helpers/ChannelLog.h"
#include "test_helpers/TriangulationFixtures.h"
#include "test_helpers/TriangulationInvariants.h"

using namespace QEL::Core;
using QEL::Elements::kUndefinedValue;

namespace {

// Two triangles (0, 1, 2) and (2, 1, 3) sharing edge 1-2, set up but not paired.
void TwoTriangles(CTriangulation& mesh) {
    STriangulationFixture f{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {{0, 1, 2}, {2, 1, 3}}};
    mesh.Reset();
    mesh.CheckSpace(4, 2);
    for (int i = 0; i < 4; ++i)
        mesh.GetVertexGroup().set_Pts(i, f.points[std::size_t(i)]);
    for (int t = 0; t < 2; ++t)
        for (int k = 0; k < 3; ++k)
            mesh.get_Tris(t).Edge(k).SetVertex(&mesh.get_Pts(f.triangles[std::size_t(t)][std::size_t(k)]));
}

// Edge of triangle t from vertex a to vertex b.
CTriangulation_Edge* EdgeOf(CTriangulation& mesh, int t, int a, int b) {
    for (int k = 0; k < 3; ++k) {
        CTriangulation_Edge& e = mesh.get_Tris(t).Edge(k);
        if (e.GetVertex() == &mesh.get_Pts(a) && e.GetEndVertex() == &mesh.get_Pts(b)) return &e;
    }
    return nullptr;
}

}  // namespace

TEST(CTriangulationEdge, Pairing_FollowsRules51To53AndFailuresChangeNothing) {
    CTriangulation mesh;
    TwoTriangles(mesh);
    CTriangulation_Edge* const e = EdgeOf(mesh, 0, 1, 2);
    CTriangulation_Edge* const p = EdgeOf(mesh, 1, 2, 1);
    e->SetPairedEdge(p);
    EXPECT_EQ(e->GetPairedEdge(), p);
    EXPECT_EQ(p->GetPairedEdge(), e);
    EXPECT_EQ(e->GetNeighbourTriangle(), &mesh.get_Tris(1));
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    // Again with the same edge: nothing happens.
    e->SetPairedEdge(p);
    EXPECT_EQ(e->GetPairedEdge(), p);
    // A third edge: reason 53, both sides as they were.
    CTriangulation_Edge* const third = EdgeOf(mesh, 1, 1, 3);
    std::string const text =
        ExpectQelError([&] { e->SetPairedEdge(third); }, QEL_NON_MANIFOLD_EDGE, "pEdgeToPaired");
    EXPECT_NE(text.find("QEL::Core::CTriangulation_Edge::SetPairedEdge"), std::string::npos) << text;
    EXPECT_NE(text.find("Edges already paired to other edges"), std::string::npos) << text;
    EXPECT_EQ(e->GetPairedEdge(), p);
    EXPECT_TRUE(third->IsBoundary());

    // Same direction between the same vertices: reason 52, both stay unpaired.
    TwoTriangles(mesh);
    mesh.get_Tris(1).Edge(0).RawSetVertex(&mesh.get_Pts(1));  // triangle 1 becomes (1, 2, 3)
    mesh.get_Tris(1).Edge(1).RawSetVertex(&mesh.get_Pts(2));
    CTriangulation_Edge* const a = EdgeOf(mesh, 0, 1, 2);
    CTriangulation_Edge* const same = EdgeOf(mesh, 1, 1, 2);
    ExpectQelError([&] { a->SetPairedEdge(same); }, QEL_NON_ORIENTABLE, "pEdgeToPaired");
    EXPECT_TRUE(a->IsBoundary());
    EXPECT_TRUE(same->IsBoundary());

    // Different endpoints: reason 51; pairing with itself too.
    TwoTriangles(mesh);
    CTriangulation_Edge* const e01 = EdgeOf(mesh, 0, 0, 1);
    ExpectQelError([&] { e01->SetPairedEdge(EdgeOf(mesh, 1, 2, 1)); }, QEL_INVALID_CONNECTIVITY,
                   "pEdgeToPaired");
    ExpectQelError([&] { e01->SetPairedEdge(e01); }, QEL_INVALID_CONNECTIVITY, "pEdgeToPaired");
    EXPECT_TRUE(e01->IsBoundary());
}

TEST(CTriangulationEdge, PairingFromTriangle_FindsTheSharedEdgeOrRefuses) {
    CTriangulation mesh;
    TwoTriangles(mesh);
    CTriangulation_Edge* const e = EdgeOf(mesh, 0, 1, 2);
    e->SetPairedEdgeFromTriangle(&mesh.get_Tris(1));
    EXPECT_EQ(e->GetPairedEdge(), EdgeOf(mesh, 1, 2, 1));
    std::string const text =
        ExpectQelError([&] { EdgeOf(mesh, 0, 0, 1)->SetPairedEdgeFromTriangle(&mesh.get_Tris(1)); },
                       QEL_INVALID_CONNECTIVITY, "pTrisToPaired");
    EXPECT_NE(text.find("Invalid connectivity between triangles"), std::string::npos) << text;
    e->SetPairedEdgeFromTriangle(nullptr);
    EXPECT_TRUE(e->IsBoundary());
    EXPECT_EQ(TriangulationInvariants(mesh), "");
}

TEST(CTriangulationEdge, Unpairing_MakesBothVertexEdgesBoundaryAndTheWalkContinues) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Octahedron());
    ASSERT_TRUE(mesh.HasValidTopology());
    CTriangulation_Edge* const e = &mesh.get_Tris(0).Edge(0);
    CTriangulation_Edge* const q = e->GetPairedEdge();
    e->Decouple();
    EXPECT_TRUE(e->IsBoundary());
    EXPECT_TRUE(q->IsBoundary());
    EXPECT_TRUE(e->IsVertexEdge());
    EXPECT_TRUE(q->IsVertexEdge());
    // The hole has two boundary edges: each walk step reaches the other.
    EXPECT_EQ(e->GetNextBoundaryEdge(), q);
    EXPECT_EQ(q->GetNextBoundaryEdge(), e);
    EXPECT_EQ(e->GetPreviousBoundaryEdge(), q);
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    // Pairing again moves the vertex edges off the (now closed) boundary only if needed.
    e->SetPairedEdge(q);
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    EXPECT_TRUE(mesh.HasValidTopology());
}

TEST(CTriangulationEdge, BoundaryWalks_RefuseInteriorEdgesAndCircleASingleTriangle) {
    CTriangulation mesh;
    BuildTriangulation(mesh, {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}});
    CTriangulation_Edge* const start = &mesh.get_Tris(0).Edge(1);
    CTriangulation_Edge* walk = start;
    for (int i = 0; i < 3; ++i)
        walk = walk->GetNextBoundaryEdge();
    EXPECT_EQ(walk, start);
    EXPECT_EQ(start->GetPreviousBoundaryEdge(), &mesh.get_Tris(0).Edge(0));

    BuildTriangulation(mesh, Octahedron());
    CTriangulation_Edge* const interior = &mesh.get_Tris(3).Edge(2);
    std::string const text =
        ExpectQelError([&] { interior->GetNextBoundaryEdge(); }, QEL_INVALID_OPERATION, nullptr);
    EXPECT_NE(text.find("QEL::Core::CTriangulation_Edge::GetNextBoundaryEdge"), std::string::npos) << text;
    ExpectQelError([&] { interior->GetPreviousBoundaryEdge(); }, QEL_INVALID_OPERATION, nullptr);

    // Open strips with holes: every boundary loop (outer and inner) closes.
    BuildTriangulation(mesh, Strip(5, {6, 12, 18}));
    EXPECT_EQ(TriangulationInvariants(mesh), "");
}

TEST(CTriangulationEdge, VertexEdges_SetEdgeValidatesAndUpdateFindsTheBoundary) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Strip(2));
    CTriangulation_Vertex& corner = mesh.get_Pts(0);
    CTriangulation_Edge* const foreign = &mesh.get_Tris(1).Edge(1);  // starts at another vertex
    std::string const text =
        ExpectQelError([&] { corner.SetEdge(foreign); }, QEL_INVALID_CONNECTIVITY, "pEdge");
    EXPECT_NE(text.find("The given edge doesn't point to current vertex."), std::string::npos) << text;
    EXPECT_NE(text.find("QEL::Core::CTriangulation_Vertex::SetEdge"), std::string::npos) << text;
    // The centre vertex of the 3x3 grid is interior: its vertex edge stays where it is.
    CTriangulation_Vertex& centre = mesh.get_Pts(4);
    CTriangulation_Edge* const before = centre.GetEdge();
    centre.UpdateVertexEdge();
    EXPECT_EQ(centre.GetEdge(), before);
    // A boundary vertex whose vertex edge was moved inside comes back to the boundary.
    CTriangulation_Vertex& side = mesh.get_Pts(1);
    for (int t = 0; t < mesh.GetNumTris(); ++t)
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge& e = mesh.get_Tris(t).Edge(k);
            if (e.GetVertex() == &side && !e.IsBoundary()) side.SetEdge(&e);
        }
    ASSERT_FALSE(side.GetEdge()->IsBoundary());
    side.UpdateVertexEdge();
    EXPECT_TRUE(side.GetEdge()->IsBoundary());
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    corner.SetEdge(nullptr);
    EXPECT_EQ(corner.GetEdge(), nullptr);
}

TEST(CTriangulationTriangle, RotateEdges_KeepsCornersCyclicAndLinksValid) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Strip(3, {4}));
    for (int t = 0; t < mesh.GetNumTris(); ++t) {
        CTriangulation_Triangle& tri = mesh.get_Tris(t);
        CTriangulation_Vertex* const corners[3] = {tri.GetPt1(), tri.GetPt2(), tri.GetPt3()};
        tri.RotateEdges(t % 2 == 0);
        int const shift = t % 2 == 0 ? 1 : 2;
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(tri.GetPt(k), corners[(k + shift) % 3]);
        ASSERT_EQ(TriangulationInvariants(mesh), "") << "after triangle " << t;
    }
}

TEST(CTriangulationTriangle, RawSwitchNormal_OverAWholeMeshKeepsPairsAndFlipsNormals) {
    for (STriangulationFixture const& fixture :
         {Octahedron(), Cube(), Strip(4, {5, 10}), FlippedOctahedron()}) {
        CTriangulation mesh;
        BuildTriangulation(mesh, fixture);
        std::vector<CVector3<double>> before;
        for (int t = 0; t < mesh.GetNumTris(); ++t)
            before.push_back(mesh.GetTriangleGroup().get_Nms(t));
        int const boundary = mesh.GetTopologyCheckResults().boundaryEdges;
        for (CTriangulation_Triangle& t : mesh.EditTriangles())
            t.RawSwitchNormal();
        EXPECT_EQ(TriangulationInvariants(mesh), "");
        EXPECT_EQ(mesh.GetTopologyCheckResults().boundaryEdges, boundary);
        for (int t = 0; t < mesh.GetNumTris(); ++t) {
            CVector3<double> const n = mesh.GetTriangleGroup().get_Nms(t);
            EXPECT_NEAR(n.Dot(before[std::size_t(t)]), -1.0, 1e-12) << "triangle " << t;
        }
        // A second pass gives back every corner and pair.
        for (CTriangulation_Triangle& t : mesh.EditTriangles())
            t.RawSwitchNormal();
        EXPECT_EQ(TriangulationInvariants(mesh), "");
        for (int t = 0; t < mesh.GetNumTris(); ++t)
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(mesh.GetPointIndex(mesh.get_Tris(t).GetPt(k)),
                          fixture.triangles[std::size_t(t)][std::size_t(k)]);
        EXPECT_EQ(mesh.GetTopologyCheckResults().boundaryEdges, boundary);
    }
}

TEST(CTriangulationTriangle, ComputeNormal_MarksMissingCornersAndWarnsOnRepeatedOnes) {
    CTriangulation mesh;
    mesh.CheckSpace(3, 1);
    CTriangulation_Triangle& t = mesh.get_Tris(0);
    CVector3<double> const undefined = t.ComputeNormal();
    EXPECT_EQ(undefined, CVector3<double>(kUndefinedValue, kUndefinedValue, kUndefinedValue));
    EXPECT_TRUE(t.HasNullEdge());

    QEL::Test::SChannelLog warnings(CQEL_Output_Events::EChannel::Warning);
    t.Edge(0).SetVertex(&mesh.get_Pts(0));
    t.Edge(1).SetVertex(&mesh.get_Pts(0));
    t.Edge(2).SetVertex(&mesh.get_Pts(1));
    t.ComputeNormal();
    EXPECT_EQ(warnings.lines, std::vector<std::string>{"Bad triangle in triangulation"});
    EXPECT_TRUE(t.HasNullEdge());

    mesh.GetVertexGroup().set_Pts(1, {1, 0, 0});
    mesh.GetVertexGroup().set_Pts(2, {0, 1, 0});
    t.Edge(1).SetVertex(&mesh.get_Pts(1));
    t.Edge(2).SetVertex(&mesh.get_Pts(2));
    EXPECT_FALSE(t.HasNullEdge());
    EXPECT_EQ(t.ComputeNormal(), CVector3<double>(0, 0, 1));
    EXPECT_EQ(t.ComputeCentreOfMass(), CPoint3<double>(1.0 / 3, 1.0 / 3, 0));
}

TEST(CTriangulationTriangle, CheckedAccess_RejectsIndicesOutsideTheTriangle) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Octahedron());
    CTriangulation_Triangle& t = mesh.get_Tris(0);
    for (int bad : {-1, 3}) {
        std::string const text = ExpectQelError([&] { t.GetPt(bad); }, QEL_PARAMETER_OUT_OF_RANGE, "ind");
        EXPECT_NE(text.find("QEL::Core::CTriangulation_Triangle::GetPt"), std::string::npos) << text;
        ExpectQelError([&] { t.GetT(bad); }, QEL_PARAMETER_OUT_OF_RANGE, "ind");
    }
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(t.GetT(k), t.Edge(k).GetPairedEdge()->GetTriangle());
        EXPECT_EQ(t.Edge(k).GetNextEdge(), &t.Edge((k + 1) % 3));
        EXPECT_EQ(t.Edge(k).GetPrevEdge(), &t.Edge((k + 2) % 3));
    }
}

TEST(CTriangulationEdge, RandomUnpairingAndRepairing_KeepsEveryInvariant) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Strip(6, {8, 9, 22}));
    // Every pair, by its edge of lower number.
    std::vector<std::pair<CTriangulation_Edge*, CTriangulation_Edge*>> pairs;
    for (int t = 0; t < mesh.GetNumTris(); ++t)
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge* const e = &mesh.get_Tris(t).Edge(k);
            if (e->GetPairedEdge() && mesh.GetEdgeNumber(e) < mesh.GetEdgeNumber(e->GetPairedEdge()))
                pairs.push_back({e, e->GetPairedEdge()});
        }
    std::mt19937 random(2024);
    for (int step = 0; step < 400; ++step) {
        auto const& [e, p] = pairs[random() % pairs.size()];
        bool const pick = random() % 2 == 0;
        if (e->IsBoundary()) {
            if (pick)
                e->SetPairedEdge(p);
            else
                p->SetPairedEdge(e);
        } else {
            (pick ? e : p)->Decouple();
        }
        EXPECT_TRUE(e->IsBoundary() || e->GetPairedEdge() == p);
        ASSERT_EQ(TriangulationInvariants(mesh), "") << "step " << step;
    }
    for (auto const& [e, p] : pairs)
        if (e->IsBoundary()) p->SetPairedEdge(e);
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    EXPECT_TRUE(mesh.HasValidTopology());
}

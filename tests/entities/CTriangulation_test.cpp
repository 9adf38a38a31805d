// SPDX-License-Identifier: MIT
// The triangulation entity: its cache, transform, topology check and
// closest-triangle finder.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>

#include "PointSetTestUtil.h"
#include "core/CExportData.h"
#include "entities/CTriangulation.h"
#include "entities/CTriangulation_ClosestTriangle_BSPTree.h"
#include "spatial/CTriangleBVH.h"
#include "test_helpers/TriangulationFixtures.h"
#include "test_helpers/TriangulationInvariants.h"

using namespace QEL::Core;
using QEL::Elements::CTransform4;

TEST(CTriangulation, Identity_HasAFixedClassIdentifierAndRefusesTheRecordClearly) {
    CTriangulation mesh;
    EXPECT_STREQ(mesh.GetClassGUID().GetArray(), "6B3F2A90-4C1D-4E57-9A86-3D0C7E52F1B4");
    EXPECT_STREQ(CTriangulation::GetStaticClassGUID(), CTriangulation::kClassGUID);
    std::unique_ptr<CQEL_Type> copy(static_cast<CQEL_Type const&>(mesh).CreateCopy());
    EXPECT_NE(dynamic_cast<CTriangulation*>(copy.get()), nullptr);
    ExpectQelError([&] { mesh.Serialise(nullptr); }, QEL_NULL_PARAMETER, "data");
}

TEST(CTriangulation, Cache_RecomputesBoxCentreAndErrorsAfterAnyChange) {
    CTriangulation mesh;
    EXPECT_EQ(mesh.GetMin(), CPoint3<double>(0, 0, 0));
    BuildTriangulation(mesh, Cube());
    EXPECT_EQ(mesh.GetMin(), CPoint3<double>(0, 0, 0));
    EXPECT_EQ(mesh.GetMax(), CPoint3<double>(1, 1, 1));
    EXPECT_EQ(mesh.GetCenMass(), CPoint3<double>(0.5, 0.5, 0.5));
    EXPECT_EQ(mesh.GetErrorStats()->count, 0);
    mesh.get_Pts(6).set_x(3.0);
    EXPECT_EQ(mesh.GetMax(), CPoint3<double>(3, 1, 1));
    mesh.AddPtsMetaData(CTrisData_Pts::Err);
    mesh.GetVertexGroup().set_Err(5, -2.0);
    mesh.GetVertexGroup().set_Err(1, 4.0);
    SErrorStats const* stats = mesh.GetErrorStats();
    EXPECT_EQ(stats->count, 8);
    EXPECT_EQ(stats->minIndex, 5);
    EXPECT_EQ(stats->maxIndex, 1);
    EXPECT_DOUBLE_EQ(stats->mean, 0.25);
}

TEST(CTriangulation, Transform_MovesEveryVertexAndDerivedDataFollow) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Octahedron());
    CVector3<double> const before = mesh.GetTriangleGroup().get_Nms(0);
    double const m[16] = {0, 1, 0, 0, -1, 0, 0, 0,
                          0, 0, 1, 0, 10, 0, 0, 1};  // quarter turn about z, then x + 10
    mesh.Transform(CEntityTransform(CTransform4<double>(m)));
    EXPECT_EQ(mesh.GetCenMass(), CPoint3<double>(10, 0, 0));
    EXPECT_EQ(mesh.GetMax(), CPoint3<double>(11, 1, 1));
    CVector3<double> const after = mesh.GetTriangleGroup().get_Nms(0);
    EXPECT_NEAR(after.x, -before.y, 1e-12);
    EXPECT_NEAR(after.y, before.x, 1e-12);
    EXPECT_EQ(TriangulationInvariants(mesh), "");
}

TEST(CTriangulation, Topology_ValidOnTheCatalogueAndFindsDamagedLinks) {
    for (STriangulationFixture const& fixture :
         {Octahedron(), Cube(), Strip(4, {3, 9}), FlippedOctahedron()}) {
        CTriangulation mesh;
        BuildTriangulation(mesh, fixture);
        EXPECT_TRUE(mesh.HasValidTopology());
        EXPECT_EQ(TriangulationInvariants(mesh), "");
    }
    CTriangulation mesh;
    EXPECT_EQ(BuildTriangulation(mesh, FlippedOctahedron()), 3);
    EXPECT_EQ(mesh.GetTopologyCheckResults().boundaryEdges, 6);

    BuildTriangulation(mesh, Octahedron());
    EXPECT_EQ(mesh.GetTopologyCheckResults().boundaryEdges, 0);
    // A one-sided pair, made behind the checks' back.
    CTriangulation_Edge& e = mesh.get_Tris(0).Edge(0);
    e.RawSetPairedEdge(&mesh.get_Tris(2).Edge(1));
    mesh.MarkAllModified();
    EXPECT_FALSE(mesh.HasValidTopology());
    EXPECT_EQ(mesh.GetTopologyCheckResults().asymmetricPairs, 2);  // e, and its old pair
    EXPECT_NE(TriangulationInvariants(mesh), "");
    // A vertex edge that does not start at its vertex.
    BuildTriangulation(mesh, Octahedron());
    mesh.get_Pts(0).RawSetEdge(&mesh.get_Tris(1).Edge(0));
    mesh.MarkAllModified();
    EXPECT_EQ(mesh.GetTopologyCheckResults().badVertexEdges, 1);
    EXPECT_NE(TriangulationInvariants(mesh), "");
}

TEST(CTriangulation, RenderNormals_AreAreaWeightedAndUnit) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Cube());
    CQEL_Array<CVector3<double>> const& normals = mesh.GetRenderNormals();
    ASSERT_EQ(normals.Count(), 8);
    // Corner 6 = (1, 1, 1): the faces around it meet with equal area.
    double const s = 1.0 / std::sqrt(3.0);
    CVector3<double> const n = normals[6];
    EXPECT_NEAR(n.x, s, 0.2);
    EXPECT_NEAR(n.Mag(), 1.0, 1e-12);
    EXPECT_GT(n.x, 0.0);
    EXPECT_GT(n.y, 0.0);
    EXPECT_GT(n.z, 0.0);
}

namespace {

int g_factoryCalls = 0;

std::unique_ptr<ITriangulation_ClosestTriangleFinder> CountingFactory(CTriangulation const& mesh) {
    ++g_factoryCalls;
    return CTriangulation_ClosestTriangle_BSPTree::Create(mesh);
}

}  // namespace

TEST(CTriangulation, ClosestTriangle_AgreesWithBruteForceAndFollowsChanges) {
    CTriangulation mesh;
    BuildTriangulation(mesh, Strip(12, {5, 40, 41, 77}));
    // Lift the grid into a wavy surface so that the answer is not a projection.
    for (int i = 0; i < mesh.GetNumPts(); ++i) {
        CTriangulation_Vertex& v = mesh.get_Pts(i);
        v.set_z(std::sin(v.get_x()) * std::cos(0.7 * v.get_y()));
    }
    std::mt19937 random(1234);
    std::uniform_real_distribution<double> coordinate(-2.0, 14.0);
    for (int q = 0; q < 300; ++q) {
        CPoint3<double> const query(coordinate(random), coordinate(random), 0.3 * coordinate(random));
        SClosestTriangle found;
        ASSERT_TRUE(mesh.FindClosestTriangle(query, found));
        double best = HUGE_VAL;
        for (CTriangulation_Triangle const& t : mesh.GetTriangles())
            best = std::min(best, ClosestPointOnTriangle(query, t.GetPt1()->GetPoint(),
                                                         t.GetPt2()->GetPoint(), t.GetPt3()->GetPoint())
                                      .Distance(query));
        EXPECT_NEAR(found.distance, best, 1e-12);
        EXPECT_NEAR(found.point.Distance(query), found.distance, 1e-12);
        CTriangulation_Triangle const& t = mesh.get_Tris(found.triangle);
        CPoint3<double> const onIt = ClosestPointOnTriangle(query, t.GetPt1()->GetPoint(),
                                                            t.GetPt2()->GetPoint(), t.GetPt3()->GetPoint());
        EXPECT_NEAR(onIt.Distance(query), best, 1e-12);
    }

    // The finder is kept while nothing changes and rebuilt after a change.
    g_factoryCalls = 0;
    mesh.RegisterQueryCTF(&CountingFactory);
    SClosestTriangle found;
    mesh.FindClosestTriangle({0, 0, 5}, found);
    mesh.FindClosestTriangle({1, 0, 5}, found);
    EXPECT_EQ(g_factoryCalls, 1);
    mesh.get_Pts(0).set_z(4.0);
    mesh.FindClosestTriangle({0, 0, 5}, found);
    EXPECT_EQ(g_factoryCalls, 2);
    EXPECT_NEAR(found.distance, 1.0, 1e-12);
    mesh.RegisterQueryCTF(nullptr);

    CTriangulation empty;
    EXPECT_FALSE(empty.FindClosestTriangle({0, 0, 0}, found));
    EXPECT_EQ(found.triangle, -1);
}

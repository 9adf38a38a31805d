// SPDX-License-Identifier: MIT
// The assembler's public face: what it fills, reports and refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CTriangulation.h"
#include "operations/triangulation/CTriangulation_Merge_Parts.h"
#include "test_helpers/ChannelLog.h"
#include "test_helpers/IndexedMeshFixtures.h"
#include "test_helpers/ReasonOf.h"
#include "test_helpers/TriangulationInvariants.h"

using namespace QEL::Core;
using namespace QEL::Test;

TEST(MergeParts, FillsAPairedTriangulationAndReportsWhatItMerged) {
    SIndexedMesh grid = MakeGrid(6, 5);
    grid.AddFins(0, 1);
    std::vector<double> const soup = grid.Soup<double>();
    CTriangulation mesh;
    mesh.CheckSpace(3, 1);  // replaced, not added to
    SChannelLog texts(CQEL_Output_Events::EChannel::Text);
    CTriangulation_Merge_Parts assembler(mesh);
    assembler.AddTriangles(soup.data(), grid.Triangles());
    SAssemblyReport const report = assembler.Merge();
    EXPECT_EQ(report.cornersIn, 3 * grid.Triangles());
    EXPECT_EQ(report.verticesOut, grid.Vertices());
    EXPECT_EQ(report.trianglesOut, grid.Triangles());
    EXPECT_EQ(report.nonManifoldEdges, 1);
    EXPECT_EQ(report.boundaryHalfEdges,
              2 * (6 + 5) + 3 + 2);  // the rim, the fin's edge three times, its two others
    EXPECT_EQ(mesh.GetNumPts(), grid.Vertices());
    EXPECT_EQ(mesh.GetNumTris(), grid.Triangles());
    EXPECT_EQ(TriangulationInvariants(mesh), "");
    EXPECT_THAT(texts.lines, ::testing::ElementsAre(::testing::HasSubstr("corners welded into 43 vertices")));
    EXPECT_EQ(assembler.GetNumTriangles(), 0);  // the collected triangles are gone
}

TEST(MergeParts, ToleranceJoinsCloseCornersAndDropsWhatDegenerates) {
    // Two triangles meeting along an edge whose copies differ by 1e-7; a sliver collapses.
    std::vector<double> const soup{0, 0,    0, 1, 0, 0,          0, 1, 0,     // a
                                   1, 1e-7, 0, 1, 1, 0,          0, 1, 1e-7,  // b shares a's edge, almost
                                   5, 5,    5, 5, 5, 5.00000001, 6, 5, 5};
    CTriangulation mesh;
    CTriangulation_Merge_Parts assembler(mesh);
    SAssemblyReport exact = assembler.Merge({soup.data(), 3, 72, 24, true}, {0.0, false});
    EXPECT_EQ(exact.verticesOut, 9);
    EXPECT_EQ(exact.boundaryHalfEdges, 9);
    SAssemblyReport const joined = assembler.Merge({soup.data(), 3, 72, 24, true}, {1e-6, false});
    EXPECT_EQ(joined.verticesOut, 6);
    EXPECT_EQ(joined.weldedByTolerance, 3);
    EXPECT_EQ(joined.degenerateDropped, 1);
    EXPECT_EQ(joined.trianglesOut, 2);
    EXPECT_EQ(joined.boundaryHalfEdges, 4);
    EXPECT_EQ(mesh.get_Pts(1).get_y(), 0.0);  // a group keeps its first corner's position
    EXPECT_EQ(TriangulationInvariants(mesh), "");
}

TEST(MergeParts, RefusesBadArguments) {
    CTriangulation mesh;
    CTriangulation_Merge_Parts assembler(mesh);
    float const xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    int const corners[] = {0, 1, 3};
    EXPECT_EQ(ReasonOf([&] { assembler.MergeIndexed(xyz, 3, corners, 1); }), QEL_INVALID_PARAMETER);
    EXPECT_EQ(ReasonOf([&] { assembler.Merge(SAssemblyOptions{-1.0}); }), QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_EQ(ReasonOf([&] { assembler.Merge(SAssemblyOptions{std::nan("")}); }), QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_EQ(ReasonOf([&] { assembler.Merge({nullptr, 1, 72, 24, true}); }), QEL_NULL_PARAMETER);
    int const good[] = {0, 1, 2};
    EXPECT_EQ(assembler.MergeIndexed(xyz, 3, good, 1).trianglesOut, 1);
    // Vertices without triangles (found by fuzzing: no corner array at all).
    SAssemblyReport const lonely = assembler.MergeIndexed(xyz, 3, nullptr, 0);
    EXPECT_EQ(lonely.verticesOut, 3);
    EXPECT_EQ(mesh.GetNumTris(), 0);
}

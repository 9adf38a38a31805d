// SPDX-License-Identifier: MIT
// Checks a whole triangulation against the pairing invariants, independently
// of the entity's own topology check:
//  - every corner is a vertex of this triangulation;
//  - every pair lies in this triangulation, is symmetric and joins the same
//    two vertices in the opposite direction;
//  - every vertex used by a triangle has a vertex edge starting at it, an
//    outgoing boundary half-edge when it has one; unused vertices have none;
//  - from every boundary half-edge, GetNextBoundaryEdge gives a boundary
//    half-edge starting where it ends and GetPreviousBoundaryEdge one ending
//    where it starts; where no vertex has two outgoing boundary half-edges,
//    every boundary loop closes.
// Returns "" when all hold, otherwise a description of the first faults.
//
//     EXPECT_EQ(TriangulationInvariants(mesh), "");
#pragma once

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "entities/CTriangulation_Base.h"

inline std::string TriangulationInvariants(QEL::Core::CTriangulation_Base const& constMesh) {
    using namespace QEL::Core;
    auto& mesh = const_cast<CTriangulation_Base&>(constMesh);  // the boundary walks are non-const
    std::ostringstream out;
    int faults = 0;
    auto fault = [&](auto const&... parts) {
        if (++faults <= 8) ((out << parts), ...) << "\n";
    };
    int const nPts = mesh.GetNumPts();
    int const nTris = mesh.GetNumTris();
    std::vector<int> boundaryOut(std::size_t(nPts), 0);
    std::vector<char> used(std::size_t(nPts), 0);
    int boundaryEdges = 0;
    for (int t = 0; t < nTris; ++t)
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge& e = mesh.get_Tris(t).Edge(k);
            int const v = mesh.GetPointIndex(e.GetVertex());
            if (v < 0) {
                fault("edge ", t, ".", k, ": corner missing or outside the triangulation");
                continue;
            }
            used[std::size_t(v)] = 1;
            if (e.GetTriangle() != &mesh.get_Tris(t) || e.GetEdgeIndex() != k)
                fault("edge ", t, ".", k, ": owner or index arithmetic wrong");
            CTriangulation_Edge* const p = e.GetPairedEdge();
            if (!p) {
                ++boundaryEdges;
                ++boundaryOut[std::size_t(v)];
                continue;
            }
            if (mesh.GetEdgeNumber(p) < 0) {
                fault("edge ", t, ".", k, ": pair outside the triangulation");
                continue;
            }
            if (p->GetPairedEdge() != &e) fault("edge ", t, ".", k, ": pair not symmetric");
            if (p->GetVertex() != e.GetEndVertex() || p->GetEndVertex() != e.GetVertex())
                fault("edge ", t, ".", k, ": pair does not join the same vertices in opposite directions");
        }
    bool simpleBoundary = true;
    for (int i = 0; i < nPts; ++i) {
        CTriangulation_Vertex& v = mesh.get_Pts(i);
        CTriangulation_Edge* const e = v.GetEdge();
        if (boundaryOut[std::size_t(i)] > 1) simpleBoundary = false;
        if (!e) {
            if (used[std::size_t(i)]) fault("vertex ", i, ": used but without a vertex edge");
            continue;
        }
        if (mesh.GetEdgeNumber(e) < 0) {
            fault("vertex ", i, ": vertex edge outside the triangulation");
            continue;
        }
        if (e->GetVertex() != &v) fault("vertex ", i, ": vertex edge does not start at the vertex");
        if (boundaryOut[std::size_t(i)] > 0 && !e->IsBoundary())
            fault("vertex ", i, ": on the boundary but its vertex edge is interior");
    }
    if (faults > 0) return out.str();
    // Boundary walks.
    std::set<CTriangulation_Edge const*> seen;
    for (int t = 0; t < nTris; ++t)
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge& e = mesh.get_Tris(t).Edge(k);
            if (!e.IsBoundary()) continue;
            CTriangulation_Edge* const next = e.GetNextBoundaryEdge();
            if (!next || !next->IsBoundary() || next->GetVertex() != e.GetEndVertex())
                fault("edge ", t, ".", k, ": next boundary edge does not continue the boundary");
            CTriangulation_Edge* const prev = e.GetPreviousBoundaryEdge();
            if (!prev || !prev->IsBoundary() || prev->GetEndVertex() != e.GetVertex())
                fault("edge ", t, ".", k, ": previous boundary edge does not lead into it");
            if (!simpleBoundary || seen.count(&e) || faults > 0) continue;
            CTriangulation_Edge* walk = &e;
            int steps = 0;
            do {
                seen.insert(walk);
                walk = walk->GetNextBoundaryEdge();
            } while (walk != &e && ++steps <= boundaryEdges);
            if (walk != &e) fault("edge ", t, ".", k, ": boundary loop does not close");
        }
    return out.str();
}

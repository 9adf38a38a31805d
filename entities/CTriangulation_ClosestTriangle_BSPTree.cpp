// SPDX-License-Identifier: MIT
#include "entities/CTriangulation_ClosestTriangle_BSPTree.h"

#include <cmath>
#include <vector>

#include "entities/CTriangulation.h"

namespace QEL::Core {

CTriangulation_ClosestTriangle_BSPTree::CTriangulation_ClosestTriangle_BSPTree(
    CTriangulation const& triangulation) {
    std::vector<CPoint3<double>> corners;
    std::vector<int> ids;
    corners.reserve(3 * std::size_t(triangulation.GetNumTris()));
    ids.reserve(std::size_t(triangulation.GetNumTris()));
    int index = 0;
    for (CTriangulation_Triangle const& t : triangulation.GetTriangles()) {
        CTriangulation_Vertex const* const p0 = t.GetPt1();
        CTriangulation_Vertex const* const p1 = t.GetPt2();
        CTriangulation_Vertex const* const p2 = t.GetPt3();
        if (p0 && p1 && p2) {
            corners.push_back(p0->GetPoint());
            corners.push_back(p1->GetPoint());
            corners.push_back(p2->GetPoint());
            ids.push_back(index);
        }
        ++index;
    }
    m_tree.Build(corners, ids);
}

bool CTriangulation_ClosestTriangle_BSPTree::FindClosest(CPoint3<double> const& query,
                                                         SClosestTriangle& result) const {
    CTriangleBVH::SHit hit;
    bool const found = m_tree.FindClosest(query, hit);
    result.point = hit.point;
    result.triangle = hit.triangle;
    result.distance = found ? std::sqrt(hit.distanceSq) : 0.0;
    return found;
}

std::unique_ptr<ITriangulation_ClosestTriangleFinder> CTriangulation_ClosestTriangle_BSPTree::Create(
    CTriangulation const& triangulation) {
    return std::make_unique<CTriangulation_ClosestTriangle_BSPTree>(triangulation);
}

}  // namespace QEL::Core

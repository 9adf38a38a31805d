// SPDX-License-Identifier: MIT
// CTriangleBVH: a bounding-volume hierarchy over triangles for closest-point
// queries, and the point-triangle closest-point routine it rests on.
//
// The tree is built once from the triangles' corners (median split of the
// centroids along the longest axis, at most four triangles per leaf; cost
// O(n log n)) and is then read only: any number of queries, from any number
// of threads. A query descends nearer child first and skips every box farther
// than the best distance so far, which is about log(n) boxes for points near
// the surface. The hierarchy keeps its own copy of the corners, in tree
// order, so that leaves are read contiguously.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "core/CPoint3.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

using Elements::CPoint3;

// The point of triangle (a, b, c) closest to p: Ericson, Real-Time Collision
// Detection, 5.1.5 (Voronoi regions of corners, edges and face). Degenerate
// triangles (collinear or coincident corners) are answered as the closest of
// their three edges as segments, so that no division by a vanishing area
// takes place.
QEL_API CPoint3<double> ClosestPointOnTriangle(CPoint3<double> const& p, CPoint3<double> const& a,
                                               CPoint3<double> const& b, CPoint3<double> const& c);

class QEL_API CTriangleBVH {
  public:
    struct SHit {
        CPoint3<double> point;    // closest point
        int triangle = -1;        // id of its triangle
        double distanceSq = 0.0;  // squared distance from the query
    };

    // An empty hierarchy: every query finds nothing.
    CTriangleBVH() = default;

    // Builds over corners.size() / 3 triangles, triangle i having corners
    // 3i, 3i+1, 3i+2; ids gives each triangle's reported id (empty: i). A
    // corner count not divisible by 3, or ids of another length, throw
    // reason 14 ("corners" or "ids"). Replaces any earlier tree.
    void Build(std::span<CPoint3<double> const> corners, std::span<int const> ids = {});

    // The closest point over all triangles; false when there are none or the
    // query has a coordinate that is not finite.
    bool FindClosest(CPoint3<double> const& query, SHit& hit) const;

    int GetNumTriangles() const { return int(m_ids.size()); }
    int GetNumNodes() const { return int(m_nodes.size()); }
    // Heap bytes held.
    std::int64_t GetApproxSize() const;

  private:
    // 32 bytes: floats rounded outwards, so a box never excludes its triangles.
    struct SNode {
        float lo[3], hi[3];
        int first;  // leaf: first triangle; inner: index of the second child (the first follows the node)
        int count;  // leaf: number of triangles (> 0); inner: 0
    };

    struct SItem {
        double centroid[3];
        int index;
    };

    int BuildNode(std::vector<SItem>& items, std::span<CPoint3<double> const> corners, int first, int count);

    std::vector<SNode> m_nodes;
    std::vector<CPoint3<double>> m_corners;  // three per triangle, in tree order
    std::vector<int> m_ids;                  // reported id per triangle, in tree order
};

}  // namespace QEL::Core

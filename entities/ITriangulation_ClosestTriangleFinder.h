// SPDX-License-Identifier: MIT
// ITriangulation_ClosestTriangleFinder: closest-point queries against the
// surface of one triangulation.
//
// A finder is made for a triangulation as it stands (CTriangulation::
// GetClosestTriangleFinder builds one on first use and keeps it until the
// triangulation changes) and answers, for a query point, the closest point
// on any triangle, that triangle's index and the distance. Which
// implementation is made is decided by a factory that hosts can replace
// (CTriangulation::RegisterQueryCTF for one triangulation,
// RegisterQueryCTF_Static for all); the library's own is
// CTriangulation_ClosestTriangle_BSPTree, a bounding-volume hierarchy.
#pragma once

#include <memory>

#include "core/CPoint3.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

using Elements::CPoint3;

class CTriangulation;

// The answer to one query.
struct SClosestTriangle {
    CPoint3<double> point;  // closest point on the surface
    int triangle = -1;      // index of the triangle it lies on, -1 when there is none
    double distance = 0.0;  // distance from the query point to point
};

class QEL_API ITriangulation_ClosestTriangleFinder {
  public:
    virtual ~ITriangulation_ClosestTriangleFinder();

    // The closest point to query over every triangle with three corners.
    // Returns false, with triangle -1, when there is no such triangle. Among
    // triangles at equal distance the answer is one of them.
    virtual bool FindClosest(CPoint3<double> const& query, SClosestTriangle& result) const = 0;
};

// Makes a finder for triangulation (which outlives it and does not change
// while it lives).
using QueryCTF_Factory =
    std::unique_ptr<ITriangulation_ClosestTriangleFinder> (*)(CTriangulation const& triangulation);

}  // namespace QEL::Core

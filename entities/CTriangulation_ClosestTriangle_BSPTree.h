// SPDX-License-Identifier: MIT
// CTriangulation_ClosestTriangle_BSPTree: the library's closest-triangle
// finder, a bounding-volume hierarchy (spatial/CTriangleBVH.h) over the
// triangles of one triangulation that have three corners.
//
// Building copies the corners (72 bytes per triangle, plus about 25 for the
// tree and ids: some 108 bytes per triangle in all) and costs O(n log n); a
// query near the surface visits about log n boxes.
#pragma once

#include <memory>

#include "core/QEL_Export.h"
#include "entities/ITriangulation_ClosestTriangleFinder.h"
#include "spatial/CTriangleBVH.h"

namespace QEL::Core {

class QEL_API CTriangulation_ClosestTriangle_BSPTree final : public ITriangulation_ClosestTriangleFinder {
  public:
    explicit CTriangulation_ClosestTriangle_BSPTree(CTriangulation const& triangulation);

    bool FindClosest(CPoint3<double> const& query, SClosestTriangle& result) const override;

    CTriangleBVH const& GetTree() const { return m_tree; }

    // The factory (QueryCTF_Factory) of this finder.
    static std::unique_ptr<ITriangulation_ClosestTriangleFinder> Create(CTriangulation const& triangulation);

  private:
    CTriangleBVH m_tree;
};

}  // namespace QEL::Core

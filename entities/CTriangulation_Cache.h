// SPDX-License-Identifier: MIT
// CTriangulation_Cache: the derived data of a triangulation, each computed on
// first use after a change and kept until the next one.
//
// The cache registers on the triangulation's entity flag (CTriangulation_Base::
// GetCacheFlag), which any change of a vertex, a triangle or an attribute
// raises; every query validates the triangulation's flags first, which
// discards stale values. Entries, each computed on its own:
//  - box, centre of mass (mean of the vertices) and error statistics of the
//    vertex Err values (one pass over the vertices);
//  - render normals: per vertex, the area-weighted mean of the normals of the
//    triangles around it, unit length (zero for a vertex no triangle uses);
//  - the topology check (CTriTopologyCheckResults);
//  - the closest-triangle finder, built by the registered factory.
#pragma once

#include <memory>

#include "core/CCache_Flag.h"
#include "core/CPoint3.h"
#include "core/CQEL_Array.h"
#include "core/CVector3.h"
#include "core/ICachedObject.h"
#include "core/QEL_Export.h"
#include "entities/ITriangulation_ClosestTriangleFinder.h"
#include "entities/SErrorStats.h"

namespace QEL::Core {

using Elements::CVector3;

class CTriangulation;

// What the topology check found. The triangulation is valid when every count
// below is 0: every pair obeys invariant 1 (opposite directions between the
// same two vertices) and is symmetric (pair(pair(e)) = e), and every vertex
// edge obeys invariant 4 (it starts at its vertex and, for a vertex with an
// outgoing boundary half-edge, is one). Boundary edges are counted, not faults.
struct CTriTopologyCheckResults {
    int missingCorners = 0;       // half-edges without a vertex
    int asymmetricPairs = 0;      // e with pair(pair(e)) != e, or a pair outside the triangulation
    int misorientedPairs = 0;     // pairs that do not join the same vertices in opposite directions
    int badVertexEdges = 0;       // vertex edges not starting at their vertex, or outside the triangulation
    int interiorVertexEdges = 0;  // boundary vertices whose vertex edge is not a boundary edge
    int unlinkedVertices = 0;     // vertices used by a triangle but without a vertex edge
    int boundaryEdges = 0;        // half-edges without a pair (not a fault)

    bool IsValid() const {
        return missingCorners == 0 && asymmetricPairs == 0 && misorientedPairs == 0 && badVertexEdges == 0 &&
               interiorVertexEdges == 0 && unlinkedVertices == 0;
    }
};

class QEL_API CTriangulation_Cache : public ICachedObject {
  public:
    // Binds the cache to triangulation (which owns and outlives it).
    explicit CTriangulation_Cache(CTriangulation const& triangulation);
    CTriangulation_Cache(CTriangulation_Cache const&) = delete;
    CTriangulation_Cache& operator=(CTriangulation_Cache const&) = delete;
    ~CTriangulation_Cache() override;

    // Corners of the bounding box and mean of the vertices; (0, 0, 0) without vertices.
    CPoint3<double> const& GetMin();
    CPoint3<double> const& GetMax();
    CPoint3<double> const& GetCenMass();
    SErrorStats const& GetErrorStats();
    // One unit normal per vertex.
    CQEL_Array<CVector3<double>> const& GetRenderNormals();
    CTriTopologyCheckResults const& GetTopology();
    // The finder for the triangulation as it stands; valid until it changes.
    ITriangulation_ClosestTriangleFinder const& GetClosestTriangleFinder();

    // The factory for this cache's finders; null means the process-wide one.
    void SetFactory(QueryCTF_Factory factory);

    void InvalidateCache(CCache_Flag& flag) override;

  private:
    void Validate();
    void UpdateBox();

    CTriangulation const& m_triangulation;
    QueryCTF_Factory m_factory = nullptr;
    bool m_boxValid = false;
    bool m_normalsValid = false;
    bool m_topologyValid = false;
    CPoint3<double> m_min, m_max, m_cenMass;
    SErrorStats m_errorStats;
    CQEL_Array<CVector3<double>> m_renderNormals;
    CTriTopologyCheckResults m_topology;
    std::unique_ptr<ITriangulation_ClosestTriangleFinder> m_finder;
};

}  // namespace QEL::Core

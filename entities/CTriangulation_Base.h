// SPDX-License-Identifier: MIT
// CTriangulation_Base: the storage of a triangulation, its vertex and
// triangle collection groups, and the bookkeeping that keeps the pointers
// between elements valid.
//
// Elements point at each other (an edge at its vertex and its pair, a vertex
// at its vertex edge). Whenever the arrays may move, the whole triangulation
// is turned into index form (vertex indices, global half-edge numbers
// 3 x triangle + edge, -1 for none), reallocated, and turned back; this only
// happens around an actual reallocation, a shrink or a compaction.
//
// Cache flags. Six CCache_Flag: the vertex array's and the triangle array's
// data-modified flags (every element attached to them, so any checked change
// of a vertex or a triangle raises them), one for the other vertex
// attributes, one for the other triangle attributes, one raised by hand
// (MarkModified, e.g. by Transform), and the entity flag, chained on the other
// five, on which the entity cache registers. The computed triangle normals and
// centres depend on the vertex, triangle and hand-raised flags.
//
// Bulk building (readers, the triangle assembler). The checked connectivity
// operations cost a call, a few branches and a flag store per step; a builder
// that fills millions of elements does this instead:
//   1. CheckSpace(nPts, nTris, ...) once with the final counts (no growth
//      afterwards, so that pointers taken from the spans stay valid);
//   2. write through EditVertices() / EditTriangles() with the Raw... setters
//      (RawSetPoint, RawSetEdge, RawSetVertex, RawSetPairedEdge), which check
//      and mark nothing;
//   3. call MarkAllModified() once at the end.
// Before step 3 the builder must have restored, for every triangle it wrote:
// each half-edge's vertex points into this triangulation's vertex array;
// invariant 1 (a pair joins the same two vertices in opposite directions and
// pair(pair(e)) = e; leave an edge unpaired rather than pair it against
// that); invariant 3 (unpaired = boundary); invariant 4 (every vertex used by
// a triangle has a vertex edge starting at it, an outgoing boundary half-edge
// when it has one; unused vertices have none). tests/test_helpers/
// TriangulationInvariants.h checks all of that over a whole mesh.
#pragma once

#include <cstdint>
#include <span>

#include "core/CCache_Flag.h"
#include "core/QEL_Export.h"
#include "entities/CTriangulation_CollectionGroups.h"
#include "entities/CTrisData.h"

namespace QEL::Core {

class QEL_API CTriangulation_Base {
  public:
    // No vertices, no triangles, default attributes.
    CTriangulation_Base();
    // A copy with its own arrays and links (Copy).
    CTriangulation_Base(CTriangulation_Base const& other);
    CTriangulation_Base& operator=(CTriangulation_Base const& other);
    virtual ~CTriangulation_Base();

    int GetNumPts() const { return m_pts.GetNumElements(); }
    int GetNumTris() const { return m_tris.GetNumElements(); }
    // Index of a vertex or triangle of this triangulation; -1 for null or an
    // element elsewhere.
    int GetPointIndex(CTriangulation_Vertex const* pVertex) const { return m_pts.IndexOf(pVertex); }
    int GetTriangleIndex(CTriangulation_Triangle const* pTriangle) const { return m_tris.IndexOf(pTriangle); }
    // Global number 3 x triangle + edge index; -1 for null or an edge elsewhere.
    int GetEdgeNumber(CTriangulation_Edge const* pEdge) const;

    // Elements by index (0..count-1, else reason 5 "index"). Writable: their
    // own operations mark them.
    CTriangulation_Vertex& get_Pts(int i) { return m_pts.get_Pts(i); }
    CTriangulation_Vertex const& get_Pts(int i) const { return m_pts.get_Pts(i); }
    CTriangulation_Triangle& get_Tris(int i) { return m_tris.get_Tris(i); }
    CTriangulation_Triangle const& get_Tris(int i) const { return m_tris.get_Tris(i); }

    // The attribute groups (get_X / set_X / GetXArray for every attribute).
    CTriangulation_Vertex_CollectionGroup& GetVertexGroup() { return m_pts; }
    CTriangulation_Vertex_CollectionGroup const& GetVertexGroup() const { return m_pts; }
    CTriangulation_Triangle_CollectionGroup& GetTriangleGroup() { return m_tris; }
    CTriangulation_Triangle_CollectionGroup const& GetTriangleGroup() const { return m_tris; }

    // Makes the counts nPts and nTris (>= 0, else reason 4) and activates the
    // default attributes, the current ones and the given ones. Existing
    // elements are kept up to the new counts, with their links (converted
    // through index form when the arrays move). Links to elements beyond a
    // smaller count are dropped: such pairs become boundary edges and their
    // vertices take them as vertex edges. New elements are unlinked.
    void CheckSpace(int nPts, int nTris, CTrisData_Pts ptsFlags = {}, CTrisData_Tris trisFlags = {});
    // Shrinks the arrays to their counts (only when either has slack).
    void Compact();
    // A copy of other with its own links. An empty other (no vertices or no
    // triangles) leaves this triangulation as it was.
    void Copy(CTriangulation_Base const& other);
    // No vertices, no triangles, default attributes.
    void Reset();
    // Heap bytes held by both groups.
    std::int64_t GetApproxSize() const { return m_pts.GetApproxSize() + m_tris.GetApproxSize(); }

    // --- metadata: the default bits (Pts; Tris, Nms, CoM) are always added ----------
    void AddMetaData(CTrisData_Pts pts, CTrisData_Tris tris);
    void RemoveMetaData(CTrisData_Pts pts, CTrisData_Tris tris);
    void SetMetaData(CTrisData_Pts pts, CTrisData_Tris tris);
    bool HasMetaData(CTrisData_Pts pts, CTrisData_Tris tris) const {
        return HasPtsMetaData(pts) && HasTrisMetaData(tris);
    }
    void RemoveAllMetaData();
    void AddPtsMetaData(CTrisData_Pts flags);
    void RemovePtsMetaData(CTrisData_Pts flags);
    void SetPtsMetaData(CTrisData_Pts flags);
    bool HasPtsMetaData(CTrisData_Pts flags) const { return GetPtsMetaDataFlags().Contains(flags); }
    void RemoveAllPtsMetaData();
    CTrisData_Pts GetPtsMetaDataFlags() const { return m_pts.GetMetaDataFlags(); }
    void AddTrisMetaData(CTrisData_Tris flags);
    void RemoveTrisMetaData(CTrisData_Tris flags);
    void SetTrisMetaData(CTrisData_Tris flags);
    bool HasTrisMetaData(CTrisData_Tris flags) const { return GetTrisMetaDataFlags().Contains(flags); }
    void RemoveAllTrisMetaData();
    CTrisData_Tris GetTrisMetaDataFlags() const { return m_tris.GetMetaDataFlags(); }

    // --- bulk access (see the contract above) ----------------------------------------
    std::span<CTriangulation_Vertex> EditVertices() { return {m_pts.m_pts.Data(), std::size_t(GetNumPts())}; }
    std::span<CTriangulation_Triangle> EditTriangles() {
        return {m_tris.m_tris.Data(), std::size_t(GetNumTris())};
    }
    std::span<CTriangulation_Vertex const> GetVertices() const {
        return {m_pts.m_pts.Data(), std::size_t(GetNumPts())};
    }
    std::span<CTriangulation_Triangle const> GetTriangles() const {
        return {m_tris.m_tris.Data(), std::size_t(GetNumTris())};
    }
    // Marks vertices, triangles and their attributes modified: everything
    // derived is recomputed on its next use.
    void MarkAllModified();

    // --- derived data ---------------------------------------------------------------
    // The entity flag: raised (on validation) by any change of the
    // triangulation. Derived data register on it.
    CCache_Flag& GetCacheFlag() const { return m_cacheFlag; }
    // Marks the geometry changed by hand (after writes the elements cannot see).
    void MarkModified() const { m_geometryFlag.SetModified(); }
    // Validates every source flag, so that pending changes raise their
    // invalidation events (the entity flag's included). Call before reading
    // derived data.
    void ValidateCaches() const;

  private:
    void Init();
    // Index form of every link, and back (numbers beyond the counts become null).
    void ConvertPointersToIndex();
    void ConvertIndexToPointers(int numPts, int numTris);
    // After a shrink: pairs and vertex edges that pointed beyond the counts.
    void RepairAfterShrink();
    void Relink(CTriangulation_Base const& source);

    // Declared before the groups: the collections hold pointers to them.
    mutable CCache_Flag m_ptsFlag;
    mutable CCache_Flag m_trisFlag;
    mutable CCache_Flag m_ptsAttrFlag;
    mutable CCache_Flag m_trisAttrFlag;
    mutable CCache_Flag m_geometryFlag;
    mutable CCache_Flag m_cacheFlag;
    CTriangulation_Vertex_CollectionGroup m_pts;
    CTriangulation_Triangle_CollectionGroup m_tris;
};

}  // namespace QEL::Core

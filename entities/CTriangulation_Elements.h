// SPDX-License-Identifier: MIT
// The elements of a triangulation: vertices, half-edges and triangles.
//
// A triangle is exactly three half-edges stored in order (edge 0, 1, 2) and a
// pointer to its modified flag. Edge k runs from the vertex of edge k to the
// vertex of edge (k+1) mod 3, so the corners are the vertices of edges 0, 1
// and 2 in that order. Half-edges never live on their own: the owning triangle
// is found from the half-edge's address minus its edge index, and the next and
// previous edges by arithmetic on that index, never by search. The edge index
// is kept in the two low bits of the paired-edge word (edges are 8-aligned),
// which keeps an edge at two words and a triangle at 56 bytes.
//
// Invariants kept by every checked connectivity operation (the Raw... setters
// keep none of them; see CTriangulation_Base for the bulk contract):
//  1. Two half-edges are paired only if they join the same two vertices in
//     opposite directions, and pairing is symmetric: pair(pair(e)) = e.
//  2. Hence neighbouring triangles are consistently oriented.
//  3. A half-edge without a pair is a boundary edge.
//  4. The vertex edge of a vertex starts at that vertex; for a vertex on the
//     boundary it is an outgoing boundary half-edge, so that the boundary can
//     be walked vertex by vertex (GetNextBoundaryEdge).
//
// Updatable elements: the collections attach each element to their
// data-modified flag (AttachToFlag); every checked mutating operation sets it,
// so that derived data (triangle normals and centres, the entity cache) are
// recomputed on their next use. Raw setters do not set it.
//
// Pointers between elements stay valid until the vertex or triangle arrays
// reallocate; CTriangulation_Base turns them into indices around every
// reallocation (ConvertPointersToIndex / ConvertIndexToPointers).
#pragma once

#include <climits>
#include <cstdint>

#include "core/CPoint3.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

using Elements::CPoint3;
using Elements::CVector3;

class CTriangulation_Edge;
class CTriangulation_Triangle;

class QEL_API CTriangulation_Vertex {
  public:
    constexpr CTriangulation_Vertex() = default;
    constexpr CTriangulation_Vertex(CPoint3<double> const& p)  // NOLINT(google-explicit-constructor)
        : m_x(p.x), m_y(p.y), m_z(p.z) {}
    constexpr CTriangulation_Vertex(double x, double y, double z) : m_x(x), m_y(y), m_z(z) {}

    // --- position (setters mark the vertex modified) -------------------------------
    double get_x() const { return m_x; }
    double get_y() const { return m_y; }
    double get_z() const { return m_z; }
    void set_x(double value) { m_x = value, MarkModified(); }
    void set_y(double value) { m_y = value, MarkModified(); }
    void set_z(double value) { m_z = value, MarkModified(); }
    CPoint3<double> GetPoint() const { return {m_x, m_y, m_z}; }
    operator CPoint3<double>() const { return {m_x, m_y, m_z}; }  // NOLINT(google-explicit-constructor)
    void SetPoint(CPoint3<double> const& p) { m_x = p.x, m_y = p.y, m_z = p.z, MarkModified(); }
    // Sets the position only; for bulk builders (no mark).
    void RawSetPoint(double x, double y, double z) { m_x = x, m_y = y, m_z = z; }

    // --- vertex edge ----------------------------------------------------------------
    CTriangulation_Edge* GetEdge() { return m_edge; }
    CTriangulation_Edge const* GetEdge() const { return m_edge; }
    // pEdge must start at this vertex (else reason 51, "pEdge", "The given edge
    // doesn't point to current vertex."); null clears the vertex edge. Marks
    // the vertex and the edge (the old one for null) modified.
    void SetEdge(CTriangulation_Edge* pEdge);
    // Sets the field only: no check, no mark.
    void RawSetEdge(CTriangulation_Edge* pEdge) { m_edge = pEdge; }
    // Moves the vertex edge around the fan, from the current one, to the
    // outgoing boundary half-edge (unchanged on a closed fan; nothing without
    // a vertex edge).
    void UpdateVertexEdge();

    // --- updatable element ------------------------------------------------------------
    void AttachToFlag(bool* flag) { m_flag = flag; }
    bool* GetModifiedFlag() const { return m_flag; }
    void MarkModified() const {
        if (m_flag) *m_flag = true;
    }

  private:
    friend class CTriangulation_Base;

    double m_x = 0.0, m_y = 0.0, m_z = 0.0;
    CTriangulation_Edge* m_edge = nullptr;
    bool* m_flag = nullptr;
};

class QEL_API CTriangulation_Edge {
  public:
    // Position inside the triangle: 0, 1 or 2.
    int GetEdgeIndex() const { return int(m_pair & kIndexMask); }
    CTriangulation_Edge* GetNextEdge() { return this + (GetEdgeIndex() == 2 ? -2 : 1); }
    CTriangulation_Edge const* GetNextEdge() const { return this + (GetEdgeIndex() == 2 ? -2 : 1); }
    CTriangulation_Edge* GetPrevEdge() { return this + (GetEdgeIndex() == 0 ? 2 : -1); }
    CTriangulation_Edge const* GetPrevEdge() const { return this + (GetEdgeIndex() == 0 ? 2 : -1); }
    inline CTriangulation_Triangle* GetTriangle();
    inline CTriangulation_Triangle const* GetTriangle() const;
    // Triangle of the paired edge, or null on a boundary.
    inline CTriangulation_Triangle* GetNeighbourTriangle();
    inline CTriangulation_Triangle const* GetNeighbourTriangle() const;
    CTriangulation_Edge* GetPairedEdge() {
        return reinterpret_cast<CTriangulation_Edge*>(m_pair & ~kIndexMask);
    }
    CTriangulation_Edge const* GetPairedEdge() const {
        return reinterpret_cast<CTriangulation_Edge const*>(m_pair & ~kIndexMask);
    }
    // Start vertex, may be null.
    CTriangulation_Vertex* GetVertex() { return m_vertex; }
    CTriangulation_Vertex const* GetVertex() const { return m_vertex; }
    // End vertex (start of the next edge), may be null.
    CTriangulation_Vertex* GetEndVertex() { return GetNextEdge()->m_vertex; }
    CTriangulation_Vertex const* GetEndVertex() const { return GetNextEdge()->m_vertex; }
    bool IsBoundary() const { return (m_pair & ~kIndexMask) == 0; }
    // True when this half-edge is its vertex's vertex edge.
    bool IsVertexEdge() const { return m_vertex && m_vertex->GetEdge() == this; }

    // Sets the start vertex; if that vertex has no vertex edge yet, this edge
    // becomes it. Marks modified; returns pVertex.
    CTriangulation_Vertex* SetVertex(CTriangulation_Vertex* pVertex);
    // Pairs this edge with pEdgeToPaired both ways (null unpairs, as
    // Decouple). Already paired with each other: nothing. Throws (leaving both
    // edges as they were) reason 53 "pEdgeToPaired" "Edges already paired to
    // other edges" when either is paired elsewhere; reason 52 "Edges
    // connecting non-orientable triangles" when both run the same way between
    // the same vertices; reason 51 "Edges do not share same vertices" when the
    // endpoints differ (or are missing, or the edge is this one). A vertex
    // edge that stops being a boundary edge moves on (UpdateVertexEdge).
    void SetPairedEdge(CTriangulation_Edge* pEdgeToPaired);
    // Pairs with the edge of pTrisToPaired (edges 0, 1, 2 in that order) that
    // joins this edge's two vertices, in either direction (the same direction
    // then fails with reason 52). None: reason 51 "pTrisToPaired" "Invalid
    // connectivity between triangles". Null unpairs.
    void SetPairedEdgeFromTriangle(CTriangulation_Triangle* pTrisToPaired);
    // Unpairs both sides; both start vertices take their now-boundary edges as
    // vertex edges.
    void Decouple();
    // The boundary half-edge that starts where this one ends (the vertex edge
    // of the end vertex). This edge must be a boundary edge (else reason 30);
    // a missing end vertex throws reason 0.
    CTriangulation_Edge* GetNextBoundaryEdge();
    // The boundary half-edge that ends where this one starts, found by turning
    // around the start vertex (not through its vertex edge). Reason 30 for a
    // paired edge.
    CTriangulation_Edge* GetPreviousBoundaryEdge();

    // Set the field only: no check, no fix-up of the other side, no vertex
    // edge upkeep, no mark. For bulk builders.
    void RawSetVertex(CTriangulation_Vertex* pVertex) { m_vertex = pVertex; }
    void RawSetPairedEdge(CTriangulation_Edge* pEdge) {
        m_pair = reinterpret_cast<std::uintptr_t>(pEdge) | (m_pair & kIndexMask);
    }

    // Sets the owning triangle's modified flag.
    inline void MarkModified() const;

  private:
    friend class CTriangulation_Triangle;
    friend class CTriangulation_Base;
    static constexpr std::uintptr_t kIndexMask = 3;

    constexpr CTriangulation_Edge() = default;
    constexpr explicit CTriangulation_Edge(int index) : m_pair(std::uintptr_t(index)) {}
    constexpr CTriangulation_Edge(CTriangulation_Edge const&) = default;
    constexpr CTriangulation_Edge& operator=(CTriangulation_Edge const&) = default;

    // Index form: the pointer part holds a (signed) number instead of an address.
    std::intptr_t GetPairNumber() const { return std::intptr_t(m_pair) >> 2; }
    void SetPairNumber(std::intptr_t number) {
        m_pair = (std::uintptr_t(number) << 2) | (m_pair & kIndexMask);
    }
    void Unpair();

    std::uintptr_t m_pair = 0;  // paired edge's address | own edge index
    CTriangulation_Vertex* m_vertex = nullptr;
};

class QEL_API CTriangulation_Triangle {
  public:
    // No vertices, no pairs.
    constexpr CTriangulation_Triangle()
        : m_edges{CTriangulation_Edge(0), CTriangulation_Edge(1), CTriangulation_Edge(2)} {}

    // Edge ind (0..2, else reason 5 "ind" "Parameter out of range").
    CTriangulation_Edge* GetEdge(int ind);
    CTriangulation_Edge const* GetEdge(int ind) const;
    // Unchecked edge access for loops that know k is 0, 1 or 2.
    CTriangulation_Edge& Edge(int k) { return m_edges[k]; }
    CTriangulation_Edge const& Edge(int k) const { return m_edges[k]; }

    // Vertex of edge ind (0..2, else reason 5 "ind"), may be null.
    CTriangulation_Vertex* GetPt(int ind);
    CTriangulation_Vertex const* GetPt(int ind) const;
    CTriangulation_Vertex* GetPt1() { return m_edges[0].m_vertex; }
    CTriangulation_Vertex* GetPt2() { return m_edges[1].m_vertex; }
    CTriangulation_Vertex* GetPt3() { return m_edges[2].m_vertex; }
    CTriangulation_Vertex const* GetPt1() const { return m_edges[0].m_vertex; }
    CTriangulation_Vertex const* GetPt2() const { return m_edges[1].m_vertex; }
    CTriangulation_Vertex const* GetPt3() const { return m_edges[2].m_vertex; }
    // Neighbour across edge ind (0..2, else reason 5 "ind"), or null.
    CTriangulation_Triangle* GetT(int ind);
    CTriangulation_Triangle const* GetT(int ind) const;
    CTriangulation_Triangle* GetT1() { return m_edges[0].GetNeighbourTriangle(); }
    CTriangulation_Triangle* GetT2() { return m_edges[1].GetNeighbourTriangle(); }
    CTriangulation_Triangle* GetT3() { return m_edges[2].GetNeighbourTriangle(); }

    // Unit normal (p1 - p0) x (p2 - p0) of the corners of edges 0, 1, 2. A
    // missing corner gives the undefined marker 1000000000001 in all three
    // components; two corners at the same vertex send the warning "Bad
    // triangle in triangulation" and the computation goes on.
    CVector3<double> ComputeNormal() const;
    // Mean of the three corners (the undefined marker with a corner missing).
    CPoint3<double> ComputeCentreOfMass() const;
    // Renumbers the edges cyclically, keeping orientation and shape: forward,
    // new edge k takes the vertex and pair of old edge (k+1) mod 3, else of
    // (k+2) mod 3. Pairs and vertex edges follow.
    void RotateEdges(bool forward);
    // Reverses the orientation, corners (a, b, c) becoming (c, b, a), on the
    // assumption that every triangle of the mesh is reversed in the same pass
    // (pairs into neighbours are redirected to where the neighbour's reversal
    // moves them). Vertex edges are repaired as the pass goes; invariants hold
    // again once every triangle is done.
    void RawSwitchNormal();
    // True with a corner missing or an edge joining a vertex to itself.
    bool HasNullEdge() const;

    // Index form: vertices as indices from pVertices, pairs as global half-edge
    // numbers (3 x triangle + edge) from pTriangles, none as -1.
    void ConvertPointersToIndex(CTriangulation_Vertex const* pVertices,
                                CTriangulation_Triangle const* pTriangles);
    // Back to pointers. A triangle whose six fields are all zero is left
    // untouched (a freshly allocated triangle, never put in index form).
    // Numbers outside [0, numPts) or [0, 3 x numTris) become null.
    void ConvertIndexToPointers(CTriangulation_Vertex* pVertices, CTriangulation_Triangle* pTriangles,
                                int numPts = INT_MAX, int numTris = INT_MAX / 3);

    // --- updatable element ------------------------------------------------------------
    void AttachToFlag(bool* flag) { m_flag = flag; }
    bool* GetModifiedFlag() const { return m_flag; }
    void MarkModified() const {
        if (m_flag) *m_flag = true;
    }

  private:
    friend class CTriangulation_Edge;

    CTriangulation_Edge m_edges[3];
    bool* m_flag = nullptr;
};

inline CTriangulation_Triangle* CTriangulation_Edge::GetTriangle() {
    return reinterpret_cast<CTriangulation_Triangle*>(this - GetEdgeIndex());
}
inline CTriangulation_Triangle const* CTriangulation_Edge::GetTriangle() const {
    return reinterpret_cast<CTriangulation_Triangle const*>(this - GetEdgeIndex());
}
inline CTriangulation_Triangle* CTriangulation_Edge::GetNeighbourTriangle() {
    CTriangulation_Edge* const pair = GetPairedEdge();
    return pair ? pair->GetTriangle() : nullptr;
}
inline CTriangulation_Triangle const* CTriangulation_Edge::GetNeighbourTriangle() const {
    CTriangulation_Edge const* const pair = GetPairedEdge();
    return pair ? pair->GetTriangle() : nullptr;
}
inline void CTriangulation_Edge::MarkModified() const {
    GetTriangle()->MarkModified();
}

}  // namespace QEL::Core

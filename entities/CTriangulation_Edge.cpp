// SPDX-License-Identifier: MIT
// Connectivity of half-edges and vertices: pairing, unpairing, vertex edges
// and the boundary walks.
#include "core/CQEL_Operation.h"
#include "entities/CTriangulation_Elements.h"

namespace QEL::Core {

namespace {

// Walks around a fan stop after this many steps: a fan never has that many
// triangles, so only pairs damaged through the raw setters get here, and the
// walk must end rather than hang.
constexpr int kMaxFanSteps = 1 << 24;

}  // namespace

// --- vertex -------------------------------------------------------------------------

void CTriangulation_Vertex::SetEdge(CTriangulation_Edge* pEdge) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Vertex::SetEdge");
    if (pEdge) {
        if (pEdge->GetVertex() != this)
            op.Throw(QEL_INVALID_CONNECTIVITY, "pEdge", "The given edge doesn't point to current vertex.");
        pEdge->MarkModified();
    } else if (m_edge) {
        m_edge->MarkModified();
    }
    m_edge = pEdge;
    MarkModified();
}

void CTriangulation_Vertex::UpdateVertexEdge() {
    CTriangulation_Edge* const start = m_edge;
    if (!start) return;
    CTriangulation_Edge* e = start;
    for (int step = 0; step < kMaxFanSteps; ++step) {
        CTriangulation_Edge* const pair = e->GetPairedEdge();
        if (!pair) break;
        e = pair->GetNextEdge();
        if (e == start) break;
    }
    if (e != m_edge) {
        m_edge = e;
        MarkModified();
    }
}

// --- half-edge ----------------------------------------------------------------------

CTriangulation_Vertex* CTriangulation_Edge::SetVertex(CTriangulation_Vertex* pVertex) {
    m_vertex = pVertex;
    if (pVertex && !pVertex->GetEdge()) {
        pVertex->RawSetEdge(this);
        pVertex->MarkModified();
    }
    MarkModified();
    return pVertex;
}

void CTriangulation_Edge::SetPairedEdge(CTriangulation_Edge* pEdgeToPaired) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Edge::SetPairedEdge");
    CTriangulation_Edge* const p = pEdgeToPaired;
    if (!p) {
        Unpair();
        return;
    }
    CTriangulation_Edge* const mine = GetPairedEdge();
    CTriangulation_Edge* const theirs = p->GetPairedEdge();
    if (mine || theirs) {
        if (mine == p && theirs == this) return;
        op.Throw(QEL_NON_MANIFOLD_EDGE, "pEdgeToPaired", "Edges already paired to other edges");
    }
    CTriangulation_Vertex* const a = m_vertex;
    CTriangulation_Vertex* const b = GetEndVertex();
    CTriangulation_Vertex* const pa = p->m_vertex;
    CTriangulation_Vertex* const pb = p->GetEndVertex();
    bool const complete = a && b && p != this;
    if (complete && b == pa && pb == a) {
        RawSetPairedEdge(p);
        p->RawSetPairedEdge(this);
        // A vertex edge that is no longer on the boundary moves to the fan's boundary edge.
        if (a->GetEdge() == this) a->UpdateVertexEdge();
        if (b->GetEdge() == p) b->UpdateVertexEdge();
        MarkModified();
        p->MarkModified();
        return;
    }
    if (complete && a == pa && b == pb)
        op.Throw(QEL_NON_ORIENTABLE, "pEdgeToPaired", "Edges connecting non-orientable triangles");
    op.Throw(QEL_INVALID_CONNECTIVITY, "pEdgeToPaired", "Edges do not share same vertices");
}

void CTriangulation_Edge::SetPairedEdgeFromTriangle(CTriangulation_Triangle* pTrisToPaired) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Edge::SetPairedEdgeFromTriangle");
    if (!pTrisToPaired) {
        Unpair();
        return;
    }
    CTriangulation_Vertex const* const a = m_vertex;
    CTriangulation_Vertex const* const b = GetEndVertex();
    for (int k = 0; k < 3; ++k) {
        CTriangulation_Edge& candidate = pTrisToPaired->Edge(k);
        CTriangulation_Vertex const* const ka = candidate.m_vertex;
        CTriangulation_Vertex const* const kb = candidate.GetEndVertex();
        if ((ka == b && kb == a) || (ka == a && kb == b)) {
            SetPairedEdge(&candidate);
            return;
        }
    }
    op.Throw(QEL_INVALID_CONNECTIVITY, "pTrisToPaired", "Invalid connectivity between triangles");
}

void CTriangulation_Edge::Decouple() {
    Unpair();
}

void CTriangulation_Edge::Unpair() {
    CTriangulation_Edge* const q = GetPairedEdge();
    if (!q) return;
    // Both become boundary edges: their start vertices take them (invariant 4).
    if (q->m_vertex) q->m_vertex->RawSetEdge(q);
    q->RawSetPairedEdge(nullptr);
    if (m_vertex) m_vertex->RawSetEdge(this);
    RawSetPairedEdge(nullptr);
    q->MarkModified();
    MarkModified();
    if (q->m_vertex) q->m_vertex->MarkModified();
    if (m_vertex) m_vertex->MarkModified();
}

CTriangulation_Edge* CTriangulation_Edge::GetNextBoundaryEdge() {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Edge::GetNextBoundaryEdge");
    if (!IsBoundary()) op.Throw(QEL_INVALID_OPERATION);
    CTriangulation_Vertex* const end = GetEndVertex();
    if (!end) op.Throw(QEL_NULL_PARAMETER);
    return end->GetEdge();
}

CTriangulation_Edge* CTriangulation_Edge::GetPreviousBoundaryEdge() {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Edge::GetPreviousBoundaryEdge");
    if (!IsBoundary()) op.Throw(QEL_INVALID_OPERATION);
    // Turn around the start vertex through the incoming edges of its fan.
    CTriangulation_Edge* c = GetPrevEdge();
    for (int step = 0; step < kMaxFanSteps; ++step) {
        CTriangulation_Edge* const pair = c->GetPairedEdge();
        if (!pair) break;
        c = pair->GetPrevEdge();
    }
    return c;
}

}  // namespace QEL::Core

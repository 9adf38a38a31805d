// SPDX-License-Identifier: MIT
// Triangles: corner and neighbour access, normal and centre, renumbering,
// reversal and the index form used around reallocations.
#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"
#include "core/QEL_Elements_Common.h"
#include "core/QEL_VectorNormal.h"
#include "entities/CTriangulation_Elements.h"

namespace QEL::Core {

namespace {

[[noreturn]] void ThrowBadIndex(CQEL_Operation const& op) {
    op.Throw(QEL_PARAMETER_OUT_OF_RANGE, "ind", "Parameter out of range");
}

}  // namespace

CTriangulation_Edge* CTriangulation_Triangle::GetEdge(int ind) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Triangle::GetEdge");
    if (ind < 0 || ind > 2) [[unlikely]]
        ThrowBadIndex(op);
    return &m_edges[ind];
}
CTriangulation_Edge const* CTriangulation_Triangle::GetEdge(int ind) const {
    return const_cast<CTriangulation_Triangle*>(this)->GetEdge(ind);
}

CTriangulation_Vertex* CTriangulation_Triangle::GetPt(int ind) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Triangle::GetPt");
    if (ind < 0 || ind > 2) [[unlikely]]
        ThrowBadIndex(op);
    return m_edges[ind].m_vertex;
}
CTriangulation_Vertex const* CTriangulation_Triangle::GetPt(int ind) const {
    return const_cast<CTriangulation_Triangle*>(this)->GetPt(ind);
}

CTriangulation_Triangle* CTriangulation_Triangle::GetT(int ind) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Triangle::GetT");
    if (ind < 0 || ind > 2) [[unlikely]]
        ThrowBadIndex(op);
    return m_edges[ind].GetNeighbourTriangle();
}
CTriangulation_Triangle const* CTriangulation_Triangle::GetT(int ind) const {
    return const_cast<CTriangulation_Triangle*>(this)->GetT(ind);
}

CVector3<double> CTriangulation_Triangle::ComputeNormal() const {
    CTriangulation_Vertex const* const p0 = m_edges[0].m_vertex;
    CTriangulation_Vertex const* const p1 = m_edges[1].m_vertex;
    CTriangulation_Vertex const* const p2 = m_edges[2].m_vertex;
    if (!p0 || !p1 || !p2)
        return {Elements::kUndefinedValue, Elements::kUndefinedValue, Elements::kUndefinedValue};
    if (p0 == p1 || p1 == p2 || p2 == p0)
        CQEL_Output_Events::Warning(CQEL_String::FromASCII("Bad triangle in triangulation"));
    return Elements::GetVectorNormal(p0->GetPoint(), p1->GetPoint(), p2->GetPoint());
}

CPoint3<double> CTriangulation_Triangle::ComputeCentreOfMass() const {
    CTriangulation_Vertex const* const p0 = m_edges[0].m_vertex;
    CTriangulation_Vertex const* const p1 = m_edges[1].m_vertex;
    CTriangulation_Vertex const* const p2 = m_edges[2].m_vertex;
    if (!p0 || !p1 || !p2)
        return {Elements::kUndefinedValue, Elements::kUndefinedValue, Elements::kUndefinedValue};
    return {(p0->get_x() + p1->get_x() + p2->get_x()) / 3.0, (p0->get_y() + p1->get_y() + p2->get_y()) / 3.0,
            (p0->get_z() + p1->get_z() + p2->get_z()) / 3.0};
}

bool CTriangulation_Triangle::HasNullEdge() const {
    CTriangulation_Vertex const* const p0 = m_edges[0].m_vertex;
    CTriangulation_Vertex const* const p1 = m_edges[1].m_vertex;
    CTriangulation_Vertex const* const p2 = m_edges[2].m_vertex;
    return !p0 || !p1 || !p2 || p0 == p1 || p1 == p2 || p2 == p0;
}

void CTriangulation_Triangle::RotateEdges(bool forward) {
    CTriangulation_Vertex* vertices[3];
    CTriangulation_Edge* pairs[3];
    bool vertexEdge[3];
    for (int k = 0; k < 3; ++k) {
        vertices[k] = m_edges[k].m_vertex;
        pairs[k] = m_edges[k].GetPairedEdge();
        vertexEdge[k] = m_edges[k].IsVertexEdge();
    }
    int const shift = forward ? 1 : 2;
    for (int k = 0; k < 3; ++k) {
        int const from = (k + shift) % 3;
        CTriangulation_Edge& edge = m_edges[k];
        edge.m_vertex = vertices[from];
        edge.RawSetPairedEdge(pairs[from]);
        if (pairs[from]) pairs[from]->RawSetPairedEdge(&edge);
        if (vertexEdge[from]) vertices[from]->RawSetEdge(&edge);
    }
    MarkModified();
}

void CTriangulation_Triangle::RawSwitchNormal() {
    bool boundary[3];
    bool vertexEdge[3];
    CTriangulation_Edge* pairs[3];
    for (int k = 0; k < 3; ++k) {
        boundary[k] = m_edges[k].IsBoundary();
        vertexEdge[k] = m_edges[k].IsVertexEdge();
        // The neighbour is reversed in the same pass, which swaps its edges 0 and 1.
        CTriangulation_Edge* pair = m_edges[k].GetPairedEdge();
        if (pair) {
            int const j = pair->GetEdgeIndex();
            if (j == 0)
                pair += 1;
            else if (j == 1)
                pair -= 1;
        }
        pairs[k] = pair;
    }
    // Corners (a, b, c) become (c, b, a): old edge 0 (a-b) is new edge 1, old
    // edge 1 (b-c) new edge 0, edge 2 stays.
    m_edges[0].RawSetPairedEdge(pairs[1]);
    m_edges[1].RawSetPairedEdge(pairs[0]);
    m_edges[2].RawSetPairedEdge(pairs[2]);
    CTriangulation_Vertex* const a = m_edges[0].m_vertex;
    m_edges[0].m_vertex = m_edges[2].m_vertex;
    m_edges[2].m_vertex = a;

    // Vertex edges: a reversed boundary edge is outgoing at its old end vertex;
    // a vertex edge whose slot now starts elsewhere moves to the edge that
    // starts at its vertex.
    auto take = [this](int k) {
        if (m_edges[k].m_vertex) m_edges[k].m_vertex->SetEdge(&m_edges[k]);
    };
    if (boundary[0])
        take(1);
    else if (vertexEdge[0])
        take(2);
    if (boundary[1]) take(0);
    if (boundary[2])
        take(2);
    else if (vertexEdge[2])
        take(0);
    MarkModified();
}

void CTriangulation_Triangle::ConvertPointersToIndex(CTriangulation_Vertex const* pVertices,
                                                     CTriangulation_Triangle const* pTriangles) {
    for (CTriangulation_Edge& edge : m_edges) {
        std::intptr_t const vertex = edge.m_vertex ? std::intptr_t(edge.m_vertex - pVertices) : -1;
        edge.m_vertex = reinterpret_cast<CTriangulation_Vertex*>(vertex);
        CTriangulation_Edge const* const pair = edge.GetPairedEdge();
        edge.SetPairNumber(pair ? 3 * std::intptr_t(pair->GetTriangle() - pTriangles) + pair->GetEdgeIndex()
                                : -1);
    }
}

void CTriangulation_Triangle::ConvertIndexToPointers(CTriangulation_Vertex* pVertices,
                                                     CTriangulation_Triangle* pTriangles, int numPts,
                                                     int numTris) {
    bool fresh = true;
    for (CTriangulation_Edge const& edge : m_edges)
        if (edge.m_vertex || edge.GetPairNumber() != 0) fresh = false;
    if (fresh) return;
    std::intptr_t const numEdges = 3 * std::intptr_t(numTris);
    for (CTriangulation_Edge& edge : m_edges) {
        std::intptr_t const vertex = reinterpret_cast<std::intptr_t>(edge.m_vertex);
        edge.m_vertex = vertex >= 0 && vertex < numPts ? pVertices + vertex : nullptr;
        std::intptr_t const pair = edge.GetPairNumber();
        edge.RawSetPairedEdge(pair >= 0 && pair < numEdges ? &pTriangles[pair / 3].m_edges[pair % 3]
                                                           : nullptr);
    }
}

}  // namespace QEL::Core

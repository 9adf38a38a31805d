// SPDX-License-Identifier: MIT
#include "entities/CTriangulation_Base.h"

#include <algorithm>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

namespace {

constexpr unsigned kDefaultPts = CTrisData_Pts::Default.GetBits();
constexpr unsigned kDefaultTris = CTrisData_Tris::Default.GetBits();

}  // namespace

CTriangulation_Base::CTriangulation_Base() {
    Init();
}

CTriangulation_Base::CTriangulation_Base(CTriangulation_Base const& other) : CTriangulation_Base() {
    Copy(other);
}

CTriangulation_Base& CTriangulation_Base::operator=(CTriangulation_Base const& other) {
    Copy(other);
    return *this;
}

CTriangulation_Base::~CTriangulation_Base() {
    // The collections outlive nothing of ours, but they must not write into
    // the flags while the members are torn down.
    m_pts.SetModifiedFlags(nullptr, nullptr);
    m_tris.SetModifiedFlags(nullptr, nullptr);
}

void CTriangulation_Base::Init() {
    m_pts.SetModifiedFlags(m_ptsFlag.GetFlag(), m_ptsAttrFlag.GetFlag());
    m_tris.SetModifiedFlags(m_trisFlag.GetFlag(), m_trisAttrFlag.GetFlag());
    for (CCache_Flag* source : {&m_ptsFlag, &m_trisFlag, &m_geometryFlag}) {
        m_tris.m_nms.DependOn(*source);
        m_tris.m_com.DependOn(*source);
    }
    for (CCache_Flag* source : {&m_ptsFlag, &m_trisFlag, &m_ptsAttrFlag, &m_trisAttrFlag, &m_geometryFlag})
        source->RegisterObject(&m_cacheFlag);
}

int CTriangulation_Base::GetEdgeNumber(CTriangulation_Edge const* pEdge) const {
    if (!pEdge) return -1;
    int const triangle = GetTriangleIndex(pEdge->GetTriangle());
    return triangle < 0 ? -1 : 3 * triangle + pEdge->GetEdgeIndex();
}

void CTriangulation_Base::ValidateCaches() const {
    for (CCache_Flag* source : {&m_ptsFlag, &m_trisFlag, &m_ptsAttrFlag, &m_trisAttrFlag, &m_geometryFlag})
        source->Validate();
    m_cacheFlag.Validate();
}

void CTriangulation_Base::MarkAllModified() {
    for (CCache_Flag* source : {&m_ptsFlag, &m_trisFlag, &m_ptsAttrFlag, &m_trisAttrFlag, &m_geometryFlag})
        source->SetModified();
}

// --- index form -----------------------------------------------------------------------

void CTriangulation_Base::ConvertPointersToIndex() {
    CTriangulation_Vertex* const vertices = m_pts.m_pts.Data();
    CTriangulation_Triangle* const triangles = m_tris.m_tris.Data();
    for (CTriangulation_Vertex& vertex : EditVertices()) {
        CTriangulation_Edge const* const edge = vertex.m_edge;
        std::intptr_t const number =
            edge ? 3 * std::intptr_t(edge->GetTriangle() - triangles) + edge->GetEdgeIndex() : -1;
        vertex.m_edge = reinterpret_cast<CTriangulation_Edge*>(number);
    }
    for (CTriangulation_Triangle& triangle : EditTriangles())
        triangle.ConvertPointersToIndex(vertices, triangles);
}

void CTriangulation_Base::ConvertIndexToPointers(int numPts, int numTris) {
    CTriangulation_Vertex* const vertices = m_pts.m_pts.Data();
    CTriangulation_Triangle* const triangles = m_tris.m_tris.Data();
    std::intptr_t const numEdges = 3 * std::intptr_t(GetNumTris());
    for (int i = 0; i < std::min(numPts, GetNumPts()); ++i) {
        CTriangulation_Vertex& vertex = vertices[i];
        std::intptr_t const number = reinterpret_cast<std::intptr_t>(vertex.m_edge);
        vertex.m_edge =
            number >= 0 && number < numEdges ? &triangles[number / 3].Edge(int(number % 3)) : nullptr;
    }
    for (int t = 0; t < std::min(numTris, GetNumTris()); ++t)
        triangles[t].ConvertIndexToPointers(vertices, triangles, GetNumPts(), GetNumTris());
}

void CTriangulation_Base::RepairAfterShrink() {
    // Every vertex still used gets a vertex edge; an edge that lost its pair is
    // a boundary edge and becomes its vertex's vertex edge (invariant 4).
    for (CTriangulation_Triangle& triangle : EditTriangles())
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge& edge = triangle.Edge(k);
            if (edge.m_vertex && !edge.m_vertex->m_edge) edge.m_vertex->m_edge = &edge;
        }
    for (CTriangulation_Triangle& triangle : EditTriangles())
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge& edge = triangle.Edge(k);
            if (edge.m_vertex && edge.IsBoundary()) edge.m_vertex->m_edge = &edge;
        }
}

// --- structure --------------------------------------------------------------------------

void CTriangulation_Base::CheckSpace(int nPts, int nTris, CTrisData_Pts ptsFlags, CTrisData_Tris trisFlags) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Base::CheckSpace");
    op.Run([&] {
        unsigned const pts = kDefaultPts | m_pts.GetActiveCollections() | ptsFlags.GetBits();
        unsigned const tris = kDefaultTris | m_tris.GetActiveCollections() | trisFlags.GetBits();
        op.Check(nPts >= 0, QEL_INDEX_OUT_OF_RANGE, "nPts", "Parameter out of range");
        op.Check(nTris >= 0, QEL_INDEX_OUT_OF_RANGE, "nTris", "Parameter out of range");
        int const oldPts = GetNumPts();
        int const oldTris = GetNumTris();
        bool const shrinks = nPts < oldPts || nTris < oldTris;
        if (!shrinks && !m_pts.RequiresAllocation(nPts) && !m_tris.RequiresAllocation(nTris)) {
            m_pts.CheckSpace(nPts);
            m_tris.CheckSpace(nTris);
            m_pts.ActivateCollections(pts);
            m_tris.ActivateCollections(tris);
            return;
        }
        ConvertPointersToIndex();
        try {
            m_pts.CheckSpace(nPts);
            m_tris.CheckSpace(nTris);
            m_pts.ActivateCollections(pts);
            m_tris.ActivateCollections(tris);
        } catch (...) {
            ConvertIndexToPointers(std::min(oldPts, GetNumPts()), std::min(oldTris, GetNumTris()));
            throw;
        }
        ConvertIndexToPointers(std::min(oldPts, nPts), std::min(oldTris, nTris));
        if (shrinks) RepairAfterShrink();
    });
}

void CTriangulation_Base::Compact() {
    if (m_pts.GetNumAllocated() <= GetNumPts() && m_tris.GetNumAllocated() <= GetNumTris()) return;
    ConvertPointersToIndex();
    try {
        m_pts.Compact();
        m_tris.Compact();
    } catch (...) {
        ConvertIndexToPointers(GetNumPts(), GetNumTris());
        throw;
    }
    ConvertIndexToPointers(GetNumPts(), GetNumTris());
}

void CTriangulation_Base::Copy(CTriangulation_Base const& other) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Base::Copy");
    op.Run([&] {
        // Deliberately not a reset: an empty source leaves this one as it is.
        if (&other == this || other.GetNumPts() == 0 || other.GetNumTris() == 0) return;
        Reset();
        m_pts.CDataManager::Copy(other.m_pts);
        m_tris.CDataManager::Copy(other.m_tris);
        Relink(other);
        MarkAllModified();
    });
}

void CTriangulation_Base::Relink(CTriangulation_Base const& source) {
    // The copied elements still point into source: move every link by index.
    CTriangulation_Vertex const* const fromVertices = source.m_pts.m_pts.Data();
    CTriangulation_Triangle const* const fromTriangles = source.m_tris.m_tris.Data();
    CTriangulation_Vertex* const vertices = m_pts.m_pts.Data();
    CTriangulation_Triangle* const triangles = m_tris.m_tris.Data();
    auto edgeHere = [&](CTriangulation_Edge const* edge) -> CTriangulation_Edge* {
        if (!edge) return nullptr;
        return &triangles[edge->GetTriangle() - fromTriangles].Edge(edge->GetEdgeIndex());
    };
    for (CTriangulation_Vertex& vertex : EditVertices())
        vertex.m_edge = edgeHere(vertex.m_edge);
    for (CTriangulation_Triangle& triangle : EditTriangles())
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge& edge = triangle.Edge(k);
            if (edge.m_vertex) edge.m_vertex = vertices + (edge.m_vertex - fromVertices);
            edge.RawSetPairedEdge(edgeHere(edge.GetPairedEdge()));
        }
}

void CTriangulation_Base::Reset() {
    m_pts.Reset();
    m_tris.Reset();
    m_pts.SetActiveCollections(kDefaultPts);
    m_tris.SetActiveCollections(kDefaultTris);
}

// --- metadata ---------------------------------------------------------------------------

void CTriangulation_Base::AddMetaData(CTrisData_Pts pts, CTrisData_Tris tris) {
    AddPtsMetaData(pts);
    AddTrisMetaData(tris);
}
void CTriangulation_Base::RemoveMetaData(CTrisData_Pts pts, CTrisData_Tris tris) {
    RemovePtsMetaData(pts);
    RemoveTrisMetaData(tris);
}
void CTriangulation_Base::SetMetaData(CTrisData_Pts pts, CTrisData_Tris tris) {
    SetPtsMetaData(pts);
    SetTrisMetaData(tris);
}
void CTriangulation_Base::RemoveAllMetaData() {
    RemoveAllPtsMetaData();
    RemoveAllTrisMetaData();
}
void CTriangulation_Base::AddPtsMetaData(CTrisData_Pts flags) {
    m_pts.ActivateCollections(flags.GetBits() | kDefaultPts);
}
void CTriangulation_Base::RemovePtsMetaData(CTrisData_Pts flags) {
    m_pts.DeactivateCollections(flags.GetBits() & ~kDefaultPts);
}
void CTriangulation_Base::SetPtsMetaData(CTrisData_Pts flags) {
    m_pts.SetActiveCollections((flags.GetBits() | kDefaultPts) & CTrisData_Pts::All.GetBits());
}
void CTriangulation_Base::RemoveAllPtsMetaData() {
    m_pts.SetActiveCollections(kDefaultPts);
}
void CTriangulation_Base::AddTrisMetaData(CTrisData_Tris flags) {
    m_tris.ActivateCollections(flags.GetBits() | kDefaultTris);
}
void CTriangulation_Base::RemoveTrisMetaData(CTrisData_Tris flags) {
    m_tris.DeactivateCollections(flags.GetBits() & ~kDefaultTris);
}
void CTriangulation_Base::SetTrisMetaData(CTrisData_Tris flags) {
    m_tris.SetActiveCollections((flags.GetBits() | kDefaultTris) & CTrisData_Tris::All.GetBits());
}
void CTriangulation_Base::RemoveAllTrisMetaData() {
    m_tris.SetActiveCollections(kDefaultTris);
}

}  // namespace QEL::Core

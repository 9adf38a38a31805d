// SPDX-License-Identifier: MIT
#include "entities/CTriangulation_Cache.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/CQEL_Operation.h"
#include "entities/CTriangulation.h"

namespace QEL::Core {

ITriangulation_ClosestTriangleFinder::~ITriangulation_ClosestTriangleFinder() = default;

CTriangulation_Cache::CTriangulation_Cache(CTriangulation const& triangulation)
    : m_triangulation(triangulation) {
    m_triangulation.GetCacheFlag().RegisterObject(this);
}

CTriangulation_Cache::~CTriangulation_Cache() = default;

void CTriangulation_Cache::InvalidateCache(CCache_Flag&) {
    m_boxValid = false;
    m_normalsValid = false;
    m_topologyValid = false;
    m_finder.reset();
}

void CTriangulation_Cache::SetFactory(QueryCTF_Factory factory) {
    m_factory = factory;
    m_finder.reset();
}

void CTriangulation_Cache::Validate() {
    m_triangulation.ValidateCaches();
}

CPoint3<double> const& CTriangulation_Cache::GetMin() {
    UpdateBox();
    return m_min;
}
CPoint3<double> const& CTriangulation_Cache::GetMax() {
    UpdateBox();
    return m_max;
}
CPoint3<double> const& CTriangulation_Cache::GetCenMass() {
    UpdateBox();
    return m_cenMass;
}
SErrorStats const& CTriangulation_Cache::GetErrorStats() {
    UpdateBox();
    return m_errorStats;
}

void CTriangulation_Cache::UpdateBox() {
    Validate();
    if (m_boxValid) return;
    double sum[3] = {0.0, 0.0, 0.0};
    double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
    double hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
    std::span<CTriangulation_Vertex const> const vertices = m_triangulation.GetVertices();
    for (CTriangulation_Vertex const& v : vertices) {
        double const p[3] = {v.get_x(), v.get_y(), v.get_z()};
        for (int c = 0; c < 3; ++c) {
            sum[c] += p[c];
            lo[c] = std::min(lo[c], p[c]);
            hi[c] = std::max(hi[c], p[c]);
        }
    }
    if (!vertices.empty()) {
        double const inv = 1.0 / double(vertices.size());
        m_cenMass = CPoint3<double>(sum[0] * inv, sum[1] * inv, sum[2] * inv);
        m_min = CPoint3<double>(lo[0], lo[1], lo[2]);
        m_max = CPoint3<double>(hi[0], hi[1], hi[2]);
    } else {
        m_cenMass = m_min = m_max = CPoint3<double>(0.0, 0.0, 0.0);
    }

    // Error values: Welford's running mean and squared deviations.
    SErrorStats stats;
    if (m_triangulation.HasPtsMetaData(CTrisData_Pts::Err)) {
        CQEL_Array<double> const& errors = m_triangulation.GetVertexGroup().GetErrArray();
        double mean = 0.0, m2 = 0.0, sumSquares = 0.0;
        for (int i = 0; i < errors.Count(); ++i) {
            double const v = errors.Unsafe_Get(i);
            ++stats.count;
            if (stats.count == 1 || v < stats.min) stats.min = v, stats.minIndex = i;
            if (stats.count == 1 || v > stats.max) stats.max = v, stats.maxIndex = i;
            double const d = v - mean;
            mean += d / stats.count;
            m2 += d * (v - mean);
            sumSquares += v * v;
        }
        if (stats.count > 0) {
            stats.mean = mean;
            stats.rms = std::sqrt(sumSquares / stats.count);
            stats.stdDev = std::sqrt(std::max(m2 / stats.count, 0.0));
            stats.maxAbs = std::max(std::fabs(stats.min), std::fabs(stats.max));
        }
    }
    m_errorStats = stats;
    m_boxValid = true;
}

CQEL_Array<CVector3<double>> const& CTriangulation_Cache::GetRenderNormals() {
    Validate();
    if (m_normalsValid) return m_renderNormals;
    std::span<CTriangulation_Vertex const> const vertices = m_triangulation.GetVertices();
    CTriangulation_Vertex const* const base = vertices.data();
    int const n = int(vertices.size());
    m_renderNormals.Reset();
    m_renderNormals.CheckSpace(n);
    for (int i = 0; i < n; ++i)
        m_renderNormals.Unsafe_Get(i) = CVector3<double>(0.0, 0.0, 0.0);
    // The unnormalised cross product is twice the area times the unit normal:
    // summing it weights each triangle by its area.
    for (CTriangulation_Triangle const& t : m_triangulation.GetTriangles()) {
        CTriangulation_Vertex const* const p0 = t.GetPt1();
        CTriangulation_Vertex const* const p1 = t.GetPt2();
        CTriangulation_Vertex const* const p2 = t.GetPt3();
        if (!p0 || !p1 || !p2) continue;
        CVector3<double> const cross =
            (p1->GetPoint() - p0->GetPoint()).Cross(p2->GetPoint() - p0->GetPoint());
        for (CTriangulation_Vertex const* p : {p0, p1, p2})
            m_renderNormals.Unsafe_Get(int(p - base)) += cross;
    }
    for (int i = 0; i < n; ++i)
        m_renderNormals.Unsafe_Get(i).Normalise();
    m_normalsValid = true;
    return m_renderNormals;
}

CTriTopologyCheckResults const& CTriangulation_Cache::GetTopology() {
    Validate();
    if (m_topologyValid) return m_topology;
    CTriTopologyCheckResults r;
    std::span<CTriangulation_Vertex const> const vertices = m_triangulation.GetVertices();
    CTriangulation_Vertex const* const base = vertices.data();
    int const n = int(vertices.size());
    // Per vertex: 1 = used by a triangle, 2 = has an outgoing boundary half-edge.
    std::vector<unsigned char> state(std::size_t(n), 0);
    for (CTriangulation_Triangle const& t : m_triangulation.GetTriangles())
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge const& e = t.Edge(k);
            int const v = m_triangulation.GetPointIndex(e.GetVertex());
            if (v < 0) {
                ++r.missingCorners;
                continue;
            }
            state[std::size_t(v)] |= 1;
            CTriangulation_Edge const* const p = e.GetPairedEdge();
            if (!p) {
                ++r.boundaryEdges;
                state[std::size_t(v)] |= 2;
            } else if (m_triangulation.GetEdgeNumber(p) < 0 || p->GetPairedEdge() != &e) {
                ++r.asymmetricPairs;
            } else if (p->GetVertex() != e.GetEndVertex() || p->GetEndVertex() != e.GetVertex()) {
                ++r.misorientedPairs;
            }
        }
    for (int i = 0; i < n; ++i) {
        CTriangulation_Edge const* const e = base[i].GetEdge();
        if (!e) {
            if (state[std::size_t(i)] & 1) ++r.unlinkedVertices;
        } else if (m_triangulation.GetEdgeNumber(e) < 0 || e->GetVertex() != &base[i]) {
            ++r.badVertexEdges;
        } else if ((state[std::size_t(i)] & 2) && !e->IsBoundary()) {
            ++r.interiorVertexEdges;
        }
    }
    m_topology = r;
    m_topologyValid = true;
    return m_topology;
}

ITriangulation_ClosestTriangleFinder const& CTriangulation_Cache::GetClosestTriangleFinder() {
    Validate();
    if (!m_finder) {
        QueryCTF_Factory const factory = m_factory ? m_factory : CTriangulation::GetQueryCTF_Static();
        m_finder = factory(m_triangulation);
        if (!m_finder) {
            static CQEL_Operation const op("QEL::Core::CTriangulation_Cache::GetClosestTriangleFinder");
            op.Throw(QEL_OPERATION_FAILED, "factory", "The closest-triangle factory made no finder");
        }
    }
    return *m_finder;
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "operations/triangulation/CTriangulation_Analyse_Topology.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <unordered_map>
#include <vector>

#include "core/CQEL_Operation.h"
#include "entities/CTriangulation.h"

namespace QEL::Core {

namespace {

using Elements::CPoint3;

// Half-edges by global number 3 x triangle + edge.
struct SHalfEdges {
    CTriangulation_Triangle const* base;
    int edges;

    CTriangulation_Edge const& operator[](int e) const { return base[e / 3].Edge(e % 3); }
    int Number(CTriangulation_Edge const* e) const {
        return int(3 * (e->GetTriangle() - base)) + e->GetEdgeIndex();
    }
};

SHalfEdges HalfEdges(CTriangulation const& mesh) {
    return {mesh.GetTriangles().data(), 3 * mesh.GetNumTris()};
}

int BoundaryEdges(SHalfEdges const& edges) {
    int count = 0;
    for (int e = 0; e < edges.edges; ++e)
        count += edges[e].GetPairedEdge() == nullptr;
    return count;
}

// The boundary edge that leaves e's end vertex in the same fan: turn around
// that vertex across paired edges. A walk longer than the mesh (only a
// damaged mesh has one) gives none.
CTriangulation_Edge const* NextInFan(CTriangulation_Edge const* e, int limit) {
    CTriangulation_Edge const* c = e->GetNextEdge();
    for (int steps = 0; c->GetPairedEdge() != nullptr; ++steps) {
        if (steps > limit) return nullptr;
        c = c->GetPairedEdge()->GetNextEdge();
    }
    return c;
}

int BoundaryLoops(SHalfEdges const& edges) {
    std::vector<bool> seen(std::size_t(edges.edges), false);
    int loops = 0;
    for (int start = 0; start < edges.edges; ++start) {
        if (seen[std::size_t(start)] || edges[start].GetPairedEdge() != nullptr) continue;
        ++loops;
        for (int e = start; e >= 0 && !seen[std::size_t(e)];) {
            seen[std::size_t(e)] = true;
            CTriangulation_Edge const* next = NextInFan(&edges[e], edges.edges);
            e = next ? edges.Number(next) : -1;
        }
    }
    return loops;
}

int Find(std::vector<int>& parent, int t) {
    while (parent[std::size_t(t)] != t) {
        parent[std::size_t(t)] = parent[std::size_t(parent[std::size_t(t)])];
        t = parent[std::size_t(t)];
    }
    return t;
}

int Components(SHalfEdges const& edges) {
    int const triangles = edges.edges / 3;
    std::vector<int> parent(static_cast<std::size_t>(triangles));
    std::iota(parent.begin(), parent.end(), 0);
    int components = triangles;
    for (int e = 0; e < edges.edges; ++e) {
        CTriangulation_Edge const* pair = edges[e].GetPairedEdge();
        if (pair == nullptr) continue;
        int const a = Find(parent, e / 3), b = Find(parent, edges.Number(pair) / 3);
        if (a != b) parent[std::size_t(std::max(a, b))] = std::min(a, b), --components;
    }
    return components;
}

// Vertex pairs of the boundary edges, each with its number of unpaired
// half-edges and of paired edges (two half-edges each) between them.
int NonManifoldEdges(CTriangulation const& mesh, SHalfEdges const& edges) {
    auto const vertexIndex = [&](CTriangulation_Vertex const* v) {
        return std::int64_t(v - mesh.GetVertices().data());
    };
    auto const key = [&](CTriangulation_Edge const& e) -> std::int64_t {
        CTriangulation_Vertex const *a = e.GetVertex(), *b = e.GetEndVertex();
        if (a == nullptr || b == nullptr) return -1;
        std::int64_t const i = vertexIndex(a), j = vertexIndex(b);
        return std::min(i, j) << 32 | std::max(i, j);
    };
    std::unordered_map<std::int64_t, int> halfEdges;
    for (int e = 0; e < edges.edges; ++e)
        if (edges[e].GetPairedEdge() == nullptr) {
            std::int64_t const k = key(edges[e]);
            if (k >= 0) ++halfEdges[k];
        }
    if (halfEdges.empty()) return 0;
    for (int e = 0; e < edges.edges; ++e) {
        CTriangulation_Edge const* pair = edges[e].GetPairedEdge();
        if (pair == nullptr || edges.Number(pair) < e) continue;
        auto const found = halfEdges.find(key(edges[e]));
        if (found != halfEdges.end()) found->second += 2;
    }
    return int(std::count_if(halfEdges.begin(), halfEdges.end(),
                             [](auto const& entry) { return entry.second >= 3; }));
}

struct SShape {
    double area = 0.0;
    double volume6 = 0.0;  // six times the signed volume
};

SShape Shape(SHalfEdges const& edges) {
    SShape shape;
    for (int t = 0; t < edges.edges / 3; ++t) {
        CTriangulation_Triangle const& triangle = edges.base[t];
        CTriangulation_Vertex const *a = triangle.GetPt1(), *b = triangle.GetPt2(), *c = triangle.GetPt3();
        if (a == nullptr || b == nullptr || c == nullptr) continue;
        CPoint3<double> const p0 = *a, p1 = *b, p2 = *c;
        double const ux = p1.x - p0.x, uy = p1.y - p0.y, uz = p1.z - p0.z;
        double const vx = p2.x - p0.x, vy = p2.y - p0.y, vz = p2.z - p0.z;
        double const nx = uy * vz - uz * vy, ny = uz * vx - ux * vz, nz = ux * vy - uy * vx;
        shape.area += 0.5 * std::sqrt(nx * nx + ny * ny + nz * nz);
        shape.volume6 += p0.x * (p1.y * p2.z - p1.z * p2.y) + p0.y * (p1.z * p2.x - p1.x * p2.z) +
                         p0.z * (p1.x * p2.y - p1.y * p2.x);
    }
    return shape;
}

}  // namespace

int CTriangulation_Analyse_Topology::CountBoundaryEdges() const {
    return BoundaryEdges(HalfEdges(m_mesh));
}

int CTriangulation_Analyse_Topology::CountBoundaryLoops() const {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Analyse_Topology::CountBoundaryLoops");
    return op.Run([&] { return BoundaryLoops(HalfEdges(m_mesh)); });
}

int CTriangulation_Analyse_Topology::CountComponents() const {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Analyse_Topology::CountComponents");
    return op.Run([&] { return Components(HalfEdges(m_mesh)); });
}

int CTriangulation_Analyse_Topology::CountNonManifoldEdges() const {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Analyse_Topology::CountNonManifoldEdges");
    return op.Run([&] { return NonManifoldEdges(m_mesh, HalfEdges(m_mesh)); });
}

int CTriangulation_Analyse_Topology::CountUnusedVertices() const {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Analyse_Topology::CountUnusedVertices");
    return op.Run([&] {
        int const n = m_mesh.GetNumPts();
        if (n == 0) return 0;
        std::vector<bool> used(std::size_t(n), false);
        CTriangulation_Vertex const* const base = m_mesh.GetVertices().data();
        SHalfEdges const edges = HalfEdges(m_mesh);
        for (int e = 0; e < edges.edges; ++e)
            if (CTriangulation_Vertex const* v = edges[e].GetVertex()) used[std::size_t(v - base)] = true;
        return int(std::count(used.begin(), used.end(), false));
    });
}

bool CTriangulation_Analyse_Topology::IsClosed() const {
    return m_mesh.GetNumTris() > 0 && CountBoundaryEdges() == 0;
}

double CTriangulation_Analyse_Topology::SurfaceArea() const {
    return Shape(HalfEdges(m_mesh)).area;
}

bool CTriangulation_Analyse_Topology::EnclosedVolume(double& volume) const {
    if (!IsClosed()) return false;
    volume = Shape(HalfEdges(m_mesh)).volume6 / 6.0;
    return true;
}

STriangulationTopology CTriangulation_Analyse_Topology::Summarise() const {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Analyse_Topology::Summarise");
    return op.Run([&] {
        STriangulationTopology summary;
        SHalfEdges const edges = HalfEdges(m_mesh);
        summary.vertices = m_mesh.GetNumPts();
        summary.triangles = m_mesh.GetNumTris();
        summary.unusedVertices = CountUnusedVertices();
        summary.boundaryEdges = BoundaryEdges(edges);
        summary.boundaryLoops = summary.boundaryEdges > 0 ? BoundaryLoops(edges) : 0;
        summary.components = Components(edges);
        summary.nonManifoldEdges = summary.boundaryEdges > 0 ? NonManifoldEdges(m_mesh, edges) : 0;
        summary.closed = summary.triangles > 0 && summary.boundaryEdges == 0;
        for (int i = 0; i < summary.vertices; ++i) {
            CPoint3<double> const p = m_mesh.GetVertices()[std::size_t(i)];
            if (i == 0) summary.min = summary.max = p;
            summary.min = {std::min(summary.min.x, p.x), std::min(summary.min.y, p.y),
                           std::min(summary.min.z, p.z)};
            summary.max = {std::max(summary.max.x, p.x), std::max(summary.max.y, p.y),
                           std::max(summary.max.z, p.z)};
        }
        SShape const shape = Shape(edges);
        summary.area = shape.area;
        summary.hasVolume = summary.closed;
        if (summary.closed) summary.volume = shape.volume6 / 6.0;
        return summary;
    });
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CPointSet_Create::TriangulationProfile: the sections of a triangulation cut
// by a plane.
//
// The cut is built as a graph: its nodes are the vertices on the plane and
// the edges that cross it strictly (keyed by their two vertex indices, so
// that the triangles of a non-manifold edge share one node), its segments
// come from the triangles. Pieces are then walked along the segments, open
// ones from their ends first, so that every node is emitted once per piece
// whatever the number of triangles that meet at it.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/CQEL_Operation.h"
#include "operations/pointset/CPointSet_Create.h"
#include "operations/pointset/CPointSet_Modify.h"

namespace QEL::Core {

namespace {

using V3 = CVector3<double>;

struct SSegment {
    int a = 0, b = 0;  // nodes, in the direction of travel
    bool used = false;
};

class CSectionGraph {
  public:
    CSectionGraph(CTriangulation const& mesh, CPlane3d const& plane)
        : m_mesh(mesh), m_origin(plane.GetPoint()), m_normal(plane.GetNormal()) {
        std::span<CTriangulation_Vertex const> const verts = mesh.GetVertices();
        m_side.resize(verts.size());
        m_dist.resize(verts.size());
        for (std::size_t i = 0; i < verts.size(); ++i) {
            double const d = Dot(V3(verts[i].GetPoint()) - m_origin, m_normal);
            m_dist[i] = d;
            m_side[i] = std::int8_t(d > 0.0 ? 1 : (d < 0.0 ? -1 : 0));
        }
        for (CTriangulation_Triangle const& tri : mesh.GetTriangles())
            AddTriangle(tri);
    }

    std::vector<V3> const& Points() const { return m_points; }
    std::vector<SSegment>& Segments() { return m_segments; }
    std::vector<std::vector<int>> const& Incident() const { return m_incident; }

  private:
    int Index(CTriangulation_Vertex const* v) const { return m_mesh.GetPointIndex(v); }

    int NewNode(V3 const& p) {
        m_points.push_back(p);
        m_incident.emplace_back();
        return int(m_points.size()) - 1;
    }

    int VertexNode(int v) {
        auto const [it, added] = m_nodes.try_emplace(Key(v, v), 0);
        if (added) it->second = NewNode(V3(m_mesh.GetVertices()[std::size_t(v)].GetPoint()));
        return it->second;
    }

    // The crossing of edge (u, v), the same point whichever way it is met.
    int EdgeNode(int u, int v) {
        if (u > v) std::swap(u, v);
        auto const [it, added] = m_nodes.try_emplace(Key(u, v), 0);
        if (added) {
            V3 const pu(m_mesh.GetVertices()[std::size_t(u)].GetPoint());
            V3 const pv(m_mesh.GetVertices()[std::size_t(v)].GetPoint());
            double const t = m_dist[std::size_t(u)] / (m_dist[std::size_t(u)] - m_dist[std::size_t(v)]);
            it->second = NewNode(pu + (pv - pu) * t);
        }
        return it->second;
    }

    static std::uint64_t Key(int u, int v) {
        return (std::uint64_t(std::uint32_t(u)) << 32) | std::uint32_t(v);
    }

    // Segment between nodes a and b, turned to run along along (plane normal x
    // triangle normal; an edge's own direction in a triangle in the plane); a segment already
    // present (an edge in the plane met from both sides) is not added again.
    void AddSegment(int a, int b, V3 const& along) {
        if (a == b) return;
        if (Dot(m_points[std::size_t(b)] - m_points[std::size_t(a)], along) < 0.0) std::swap(a, b);
        for (int s : m_incident[std::size_t(a)]) {
            SSegment const& seg = m_segments[std::size_t(s)];
            if ((seg.a == a && seg.b == b) || (seg.a == b && seg.b == a)) return;
        }
        int const id = int(m_segments.size());
        m_segments.push_back({a, b, false});
        m_incident[std::size_t(a)].push_back(id);
        m_incident[std::size_t(b)].push_back(id);
    }

    bool InPlane(CTriangulation_Triangle const* tri) const {
        for (int k = 0; k < 3; ++k) {
            int const v = Index(tri->Edge(k).GetVertex());
            if (v < 0 || m_side[std::size_t(v)] != 0) return false;
        }
        return true;
    }

    void AddTriangle(CTriangulation_Triangle const& tri) {
        int v[3];
        int s[3];
        for (int k = 0; k < 3; ++k) {
            // A missing corner (or one of another mesh) leaves the triangle out.
            v[k] = Index(tri.Edge(k).GetVertex());
            if (v[k] < 0) return;
            s[k] = m_side[std::size_t(v[k])];
        }
        if (s[0] > 0 && s[1] > 0 && s[2] > 0) return;
        if (s[0] < 0 && s[1] < 0 && s[2] < 0) return;
        if (s[0] == 0 && s[1] == 0 && s[2] == 0) {
            // In the plane: only its edges towards the rest of the mesh count.
            for (int k = 0; k < 3; ++k) {
                CTriangulation_Edge const* const pair = tri.Edge(k).GetPairedEdge();
                if (pair && InPlane(pair->GetTriangle())) continue;
                int const a = VertexNode(v[k]), b = VertexNode(v[(k + 1) % 3]);
                AddSegment(a, b, m_points[std::size_t(b)] - m_points[std::size_t(a)]);
            }
            return;
        }
        V3 const normal = tri.ComputeNormal();
        int nodes[3];
        int count = 0;
        for (int k = 0; k < 3; ++k) {
            int const k1 = (k + 1) % 3;
            if (s[k] == 0)
                nodes[count++] = VertexNode(v[k]);
            else if (s[k] * s[k1] < 0)
                nodes[count++] = EdgeNode(v[k], v[k1]);
        }
        // Two nodes make a segment; one is a vertex the plane only touches.
        if (count == 2) AddSegment(nodes[0], nodes[1], Cross(m_normal, normal));
    }

    CTriangulation const& m_mesh;
    V3 const m_origin;
    V3 const m_normal;
    std::vector<std::int8_t> m_side;
    std::vector<double> m_dist;
    std::unordered_map<std::uint64_t, int> m_nodes;
    std::vector<V3> m_points;
    std::vector<std::vector<int>> m_incident;
    std::vector<SSegment> m_segments;
};

// Walks unused segments from node start; returns the nodes visited, in the
// direction of travel of the segments where they agree.
std::vector<int> Walk(CSectionGraph& graph, int start) {
    std::vector<SSegment>& segs = graph.Segments();
    std::vector<int> chain{start};
    int at = start;
    bool forward = true, decided = false;
    for (;;) {
        int next = -1;
        for (int s : graph.Incident()[std::size_t(at)]) {
            SSegment& seg = segs[std::size_t(s)];
            if (seg.used) continue;
            seg.used = true;
            next = seg.a == at ? seg.b : seg.a;
            if (!decided) forward = seg.a == at, decided = true;
            break;
        }
        if (next < 0) break;
        chain.push_back(next);
        at = next;
        if (at == start) break;
    }
    if (!forward) std::reverse(chain.begin(), chain.end());
    return chain;
}

}  // namespace

void CPointSet_Create::TriangulationProfile(CTriangulation const& source, CPlane3d const& plane,
                                            double offset) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::TriangulationProfile");
    op.Run([&] {
        op.CheckRange(offset, -1e9, 1e9, "offset");
        op.Check(source.GetNumTris() > 0 && source.GetNumPts() > 0, QEL_INVALID_PARAMETER, "source",
                 "Triangulation cannot be empty.");
        CSectionGraph graph(source, plane);
        std::vector<std::vector<int>> pieces;
        auto const& incident = graph.Incident();
        // Open pieces start at free ends, then at other branch points of odd
        // degree (so that a branch is passed through rather than cut), then
        // the loops remain.
        for (int pass = 0; pass < 3; ++pass)
            for (int n = 0; n < int(incident.size()); ++n) {
                std::size_t const degree = incident[std::size_t(n)].size();
                if ((pass == 0 && degree != 1) || (pass == 1 && degree % 2 == 0)) continue;
                for (;;) {
                    std::vector<int> chain = Walk(graph, n);
                    if (chain.size() < 2) break;
                    pieces.push_back(std::move(chain));
                }
            }

        V3 const normal(plane.GetNormal());
        m_target.Reset();
        std::vector<V3> moved;
        for (std::vector<int> const& piece : pieces) {
            std::vector<V3> const& pts = graph.Points();
            int const n = int(piece.size());
            bool const closed = piece.front() == piece.back();
            int const distinct = closed ? n - 1 : n;
            moved.assign(std::size_t(n), V3{0.0, 0.0, 0.0});
            for (int i = 0; i < distinct; ++i) {
                V3 const p = pts[std::size_t(piece[std::size_t(i)])];
                V3 side{0.0, 0.0, 0.0};
                if (offset != 0.0) {
                    int const after = closed ? (i + 1) % distinct : std::min(i + 1, n - 1);
                    int const before = closed ? (i + distinct - 1) % distinct : std::max(i - 1, 0);
                    V3 const across = Cross(normal, pts[std::size_t(piece[std::size_t(after)])] -
                                                        pts[std::size_t(piece[std::size_t(before)])]);
                    if (across.Mag() > 0.0) side = across.GetNormalised();
                }
                moved[std::size_t(i)] = p + side * offset;
            }
            if (closed) moved[std::size_t(n - 1)] = moved[0];
            auto section = std::make_unique<CPointSet_Section>(n, CPtsData::def);
            std::span<CPointSet_Section::Point> const out = section->EditPts();
            for (int j = 0; j < n; ++j) {
                V3 const& p = moved[std::size_t(j)];
                out[std::size_t(j)].RawSet(CPoint3<double>(p.x, p.y, p.z));
            }
            CPointSet_Modify(m_target).AddSection_After(m_target.GetNumSec() - 1, section.release());
        }
    });
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CTriangulation_Modify: subdivision, reversal and offset.
#include <cstdint>
#include <vector>

#include "core/CQEL_Operation.h"
#include "operations/triangulation/CTriangulation_Modify.h"

namespace QEL::Core {

namespace {

constexpr std::int64_t kMaxTriangles = 715827882;  // half-edges are numbered in int
constexpr std::int64_t kMaxVertices = 2147483647;

// Half-edge h = 3t + k of child c of triangle t after a split: child 4t + c, edge k.
constexpr int Child(int t, int c, int k) {
    return 3 * (4 * t + c) + k;
}
// The child half-edge that starts at corner k of t, and the one that ends at corner k + 1.
constexpr int FirstHalf(int t, int k) {
    return Child(t, k, k);  // (a, ab, ca) edge 0, (ab, b, bc) edge 1, (ca, bc, c) edge 2
}
constexpr int SecondHalf(int t, int k) {
    return Child(t, (k + 1) % 3, k);  // (ab, b, bc) edge 0, (ca, bc, c) edge 1, (a, ab, ca) edge 2
}

// The number 3t + k of a half-edge of tris from its address alone (the
// entity's GetEdgeNumber reads the edge's index, a cache miss per pair).
int EdgeNumber(std::span<CTriangulation_Triangle const> tris, CTriangulation_Edge const* e) {
    if (!e) return -1;
    std::ptrdiff_t const offset =
        reinterpret_cast<char const*>(e) - reinterpret_cast<char const*>(tris.data());
    std::ptrdiff_t const t = offset / std::ptrdiff_t(sizeof(CTriangulation_Triangle));
    if (offset < 0 || t >= std::ptrdiff_t(tris.size())) return -1;
    return int(3 * t + (e - &tris[std::size_t(t)].Edge(0)));
}

// One pass of the four-way split, in index form.
void SplitOnce(CTriangulation& mesh) {
    int const nPts = mesh.GetNumPts(), nTris = mesh.GetNumTris();
    std::span<CTriangulation_Triangle const> const tris = mesh.GetTriangles();
    std::vector<int> corner(std::size_t(3) * nTris), pair(std::size_t(3) * nTris),
        mid(std::size_t(3) * nTris);
    int added = 0;
    for (int t = 0; t < nTris; ++t)
        for (int k = 0; k < 3; ++k) {
            int const h = 3 * t + k;
            corner[h] = mesh.GetPointIndex(tris[t].Edge(k).GetVertex());
            pair[h] = EdgeNumber(tris, tris[t].Edge(k).GetPairedEdge());
            // A paired edge takes the midpoint that its pair made first.
            mid[h] = pair[h] >= 0 && pair[h] < h ? mid[pair[h]] : nPts + added++;
        }

    // Where each old vertex's edge was: its new one is the first half of it,
    // which is a boundary half-edge exactly when the old one was.
    std::vector<int> vertexEdge(static_cast<std::size_t>(nPts));
    for (int v = 0; v < nPts; ++v)
        vertexEdge[v] = mesh.GetEdgeNumber(mesh.get_Pts(v).GetEdge());

    // Room and attributes: each child copies its parent (from the back, so
    // that no parent is overwritten before it is copied), each new vertex the
    // first vertex of its edge. With the default attributes only there is
    // nothing to copy: the elements are written below, normals and centres
    // are recomputed.
    mesh.CheckSpace(nPts + added, 4 * nTris);
    if (mesh.GetTrisMetaDataFlags() != CTrisData_Tris::Default) {
        CDataManager& triGroup = mesh.GetTriangleGroup();
        for (int t = nTris - 1; t >= 0; --t)
            for (int c = 3; c >= 0; --c)
                if (4 * t + c != t) triGroup.CopyElement(4 * t + c, t);
    }
    if (mesh.GetPtsMetaDataFlags() != CTrisData_Pts::Default) {
        CDataManager& ptsGroup = mesh.GetVertexGroup();
        for (int h = 0; h < 3 * nTris; ++h)
            if (pair[h] < 0 || pair[h] > h) ptsGroup.CopyElement(mid[h], corner[h]);
    }

    std::span<CTriangulation_Vertex> const pts = mesh.EditVertices();
    for (int h = 0; h < 3 * nTris; ++h) {
        if (pair[h] >= 0 && pair[h] < h) continue;
        CTriangulation_Vertex const& a = pts[corner[h]];
        CTriangulation_Vertex const& b = pts[corner[h - h % 3 + (h % 3 + 1) % 3]];
        pts[mid[h]].RawSetPoint(0.5 * (a.get_x() + b.get_x()), 0.5 * (a.get_y() + b.get_y()),
                                0.5 * (a.get_z() + b.get_z()));
    }

    std::span<CTriangulation_Triangle> const out = mesh.EditTriangles();
    auto edge = [&](int number) -> CTriangulation_Edge& { return out[number / 3].Edge(number % 3); };
    auto link = [&](int e, int p) {
        edge(e).RawSetPairedEdge(&edge(p));
        edge(p).RawSetPairedEdge(&edge(e));
    };
    for (int t = 0; t < nTris; ++t) {
        int const* c = &corner[3 * t];
        int const* m = &mid[3 * t];
        int const children[4][3] = {
            {c[0], m[0], m[2]}, {m[0], c[1], m[1]}, {m[2], m[1], c[2]}, {m[0], m[1], m[2]}};
        for (int i = 0; i < 4; ++i)
            for (int k = 0; k < 3; ++k) {
                edge(Child(t, i, k)).RawSetVertex(&pts[children[i][k]]);
                edge(Child(t, i, k)).RawSetPairedEdge(nullptr);
            }
    }
    for (int t = 0; t < nTris; ++t) {
        link(Child(t, 0, 1), Child(t, 3, 2));
        link(Child(t, 1, 2), Child(t, 3, 0));
        link(Child(t, 2, 0), Child(t, 3, 1));
        for (int k = 0; k < 3; ++k) {
            int const p = pair[3 * t + k];
            if (p < 3 * t + k) continue;  // unpaired, or linked from the other side
            link(FirstHalf(t, k), SecondHalf(p / 3, p % 3));
            link(SecondHalf(t, k), FirstHalf(p / 3, p % 3));
        }
    }

    // Vertex edges: an outgoing boundary half-edge where there is one. A
    // midpoint starts the second half of its edge, which is a boundary
    // half-edge exactly when its edge was.
    for (int v = 0; v < nPts; ++v) {
        int const h = vertexEdge[v];
        pts[v].RawSetEdge(h < 0 ? nullptr : &edge(FirstHalf(h / 3, h % 3)));
    }
    for (int h = 0; h < 3 * nTris; ++h)
        if (pair[h] < 0 || pair[h] > h) pts[mid[h]].RawSetEdge(&edge(SecondHalf(h / 3, h % 3)));
    mesh.MarkAllModified();
}

}  // namespace

void CTriangulation_Modify::SubdivideTriangles(int passes) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Modify::SubdivideTriangles");
    op.Run([&] {
        op.CheckRange(passes, 0, 1000000000, "passes");
        for (CTriangulation_Triangle const& t : m_target.GetTriangles())
            op.Check(!t.HasNullEdge(), QEL_INVALID_PARAMETER, "triangulation",
                     "Triangle with a missing corner");
        // Each pass: triangles times 4, vertices plus the edges.
        std::int64_t tris = m_target.GetNumTris(), pts = m_target.GetNumPts();
        std::int64_t halfEdges = 3 * tris, boundary = 0;
        for (CTriangulation_Triangle const& t : m_target.GetTriangles())
            for (int k = 0; k < 3; ++k)
                boundary += t.Edge(k).IsBoundary() ? 1 : 0;
        for (int i = 0; i < passes && tris > 0; ++i) {
            pts += (halfEdges + boundary) / 2;
            tris *= 4, halfEdges *= 4, boundary *= 2;
            op.Check(tris <= kMaxTriangles && pts <= kMaxVertices, QEL_INVALID_PARAMETER, "passes",
                     "Too many passes: the triangulation would exceed 715827882 triangles");
        }
        // Room for the result at once, so that no pass moves the arrays.
        if (passes > 1 && m_target.GetNumTris() > 0) {
            int const nPts = m_target.GetNumPts(), nTris = m_target.GetNumTris();
            m_target.CheckSpace(int(pts), int(tris));
            m_target.CheckSpace(nPts, nTris);
        }
        for (int i = 0; i < passes && m_target.GetNumTris() > 0; ++i)
            SplitOnce(m_target);
    });
}

void CTriangulation_Modify::SwitchNormals() {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Modify::SwitchNormals");
    op.Run([&] {
        for (CTriangulation_Triangle& t : m_target.EditTriangles())
            t.RawSwitchNormal();
        if (m_target.HasPtsMetaData(CTrisData_Pts::Nms))
            for (int i = 0; i < m_target.GetNumPts(); ++i) {
                auto& group = m_target.GetVertexGroup();
                group.set_Nms(i, -group.get_Nms(i));
            }
        m_target.MarkAllModified();
    });
}

void CTriangulation_Modify::OffsetTrianglesByDistance(double distance) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Modify::OffsetTrianglesByDistance");
    op.Run([&] {
        op.CheckRange(distance, -1e9, 1e9, "distance");
        CQEL_Array<CVector3<double>> const normals =
            m_target.GetRenderNormals();  // a copy: moving invalidates
        std::span<CTriangulation_Vertex> const pts = m_target.EditVertices();
        for (std::size_t i = 0; i < pts.size(); ++i) {
            CVector3<double> const n = normals[int(i)] * distance;
            pts[i].RawSetPoint(pts[i].get_x() + n.x, pts[i].get_y() + n.y, pts[i].get_z() + n.z);
        }
        m_target.MarkAllModified();
    });
}

}  // namespace QEL::Core

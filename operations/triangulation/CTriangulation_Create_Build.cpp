// SPDX-License-Identifier: MIT
#include "operations/triangulation/CTriangulation_Create_Build.h"

#include <cmath>

#include "operations/triangulation/QEL_TriangleAssembly.h"

namespace QEL::Core::MeshBuild {

int Pieces(double length, double size, int minimum) {
    double const n = std::ceil(length / size);
    return n < minimum ? minimum : int(n);
}

void CheckTriangleBudget(CQEL_Operation const& op, double triangles, char const* param,
                         std::source_location where) {
    if (!(triangles <= double(Assembly::kMaxTriangles)))
        op.Throw(QEL_INVALID_PARAMETER, param, "The triangulation would exceed 715827882 triangles", where);
}

void CheckDirection(CQEL_Operation const& op, CVector3<double> const& v, char const* param,
                    std::source_location where) {
    op.Check(v.IsFinite() && v.Mag() > 0.0, QEL_INVALID_PARAMETER, param, "Invalid direction", where);
}

CTransform4<double> AlongAxis(CPoint3<double> const& origin, CVector3<double> const& axis) {
    CTransform4<double> frame;
    frame.CreateRotation(CVector3<double>(0.0, 0.0, 1.0), axis);
    frame.SetTranslation(CVector3<double>(origin.x, origin.y, origin.z));
    return frame;
}

std::vector<int> AddRing(SMesh& mesh, CTransform4<double> const& frame, double r, double z, int count) {
    std::vector<int> ring(std::size_t(count), 0);
    if (count == 1) {
        ring[0] = mesh.Add(frame.Apply(CPoint3<double>(0.0, 0.0, z)));
        return ring;
    }
    for (int j = 0; j < count; ++j) {
        double const angle = 2.0 * kPi * j / count;
        ring[std::size_t(j)] =
            mesh.Add(frame.Apply(CPoint3<double>(r * std::cos(angle), r * std::sin(angle), z)));
    }
    return ring;
}

void AddBand(SMesh& mesh, std::vector<int> const& a, std::vector<int> const& b) {
    // A ring of one point never advances: its triangles fan round it.
    std::int64_t const na = std::int64_t(a.size()), nb = std::int64_t(b.size());
    std::int64_t const stepsA = na == 1 ? 0 : na, stepsB = nb == 1 ? 0 : nb;
    std::int64_t i = 0, j = 0;
    while (i < stepsA || j < stepsB) {
        // Compare (i + 1) / na with (j + 1) / nb without rounding.
        bool const advanceA = j >= stepsB || (i < stepsA && (i + 1) * nb <= (j + 1) * na);
        int const ai = a[std::size_t(i % na)], bj = b[std::size_t(j % nb)];
        if (advanceA) {
            mesh.Triangle(ai, a[std::size_t((i + 1) % na)], bj);
            ++i;
        } else {
            mesh.Triangle(ai, b[std::size_t((j + 1) % nb)], bj);
            ++j;
        }
    }
}

void Fill(CTriangulation& target, SMesh const& mesh) {
    using namespace Assembly;
    int const nPts = int(mesh.points.size()), nTris = mesh.NumTris();
    CBuffer<int> corners(3 * std::int64_t(nTris));
    for (std::size_t i = 0; i < mesh.corners.size(); ++i)
        corners[std::int64_t(i)] = mesh.corners[i];
    SConnected connected;
    Connect(std::move(corners), nTris, nPts, connected);

    target.Reset();
    target.CheckSpace(nPts, int(connected.triangles));
    std::span<CTriangulation_Vertex> const v = target.EditVertices();
    std::span<CTriangulation_Triangle> const t = target.EditTriangles();
    auto edge = [&](int number) -> CTriangulation_Edge* {
        return number < 0 ? nullptr : &t[std::size_t(number / 3)].Edge(number % 3);
    };
    for (int i = 0; i < nPts; ++i) {
        CPoint3<double> const& p = mesh.points[std::size_t(i)];
        v[std::size_t(i)].RawSetPoint(p.x, p.y, p.z);
        v[std::size_t(i)].RawSetEdge(edge(connected.VertexEdge(i)));
    }
    for (std::int64_t h = 0; h < 3 * connected.triangles; ++h) {
        CTriangulation_Edge& e = t[std::size_t(h / 3)].Edge(int(h % 3));
        e.RawSetVertex(&v[std::size_t(connected.corners[h])]);
        e.RawSetPairedEdge(edge(connected.pairs[h]));
    }
    target.MarkAllModified();
}

}  // namespace QEL::Core::MeshBuild

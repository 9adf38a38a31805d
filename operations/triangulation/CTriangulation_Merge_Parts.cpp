// SPDX-License-Identifier: MIT
#include "operations/triangulation/CTriangulation_Merge_Parts.h"

#include <cmath>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"
#include "entities/CTriangulation.h"
#include "operations/triangulation/QEL_TriangleAssembly.h"
#include "platform/CTask.h"

namespace QEL::Core {

using namespace Assembly;

namespace {

CQEL_Operation const& MergeOp() {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Merge_Parts::Merge");
    return op;
}

int PartsForElements(std::int64_t count) {
    return PartsFor(count, std::int64_t(1) << 16);
}

// Writes the assembled vertices, corners, pairs and vertex edges into the
// target's storage through the raw setters, side by side, and marks it
// modified once.
void Fill(CTriangulation& target, SPointSource const& points, CBuffer<int> const& vertexPoint,
          SConnected const& mesh) {
    int const vertices = int(vertexPoint.size());
    int const triangles = int(mesh.triangles);
    target.CheckSpace(vertices, triangles, target.GetPtsMetaDataFlags(), target.GetTrisMetaDataFlags());
    std::span<CTriangulation_Vertex> const v = target.EditVertices();
    std::span<CTriangulation_Triangle> const t = target.EditTriangles();
    auto edge = [&](int number) -> CTriangulation_Edge* {
        return number < 0 ? nullptr : &t[std::size_t(number / 3)].Edge(number % 3);
    };
    int const parts = PartsForElements(triangles);
    RunInParts(parts, [&](int part) {
        for (std::int64_t i = std::int64_t(vertices) * part / parts,
                          end = std::int64_t(vertices) * (part + 1) / parts;
             i < end; ++i) {
            double xyz[3];
            points.Get(vertexPoint[i], xyz);
            CTriangulation_Vertex& vertex = v[std::size_t(i)];
            vertex.RawSetPoint(xyz[0], xyz[1], xyz[2]);
            vertex.RawSetEdge(edge(mesh.VertexEdge(int(i))));
        }
        int const* const corners = mesh.corners.data();
        int const* const pairs = mesh.pairs.data();
        for (std::int64_t i = std::int64_t(triangles) * part / parts,
                          end = std::int64_t(triangles) * (part + 1) / parts;
             i < end; ++i) {
            CTriangulation_Triangle& triangle = t[std::size_t(i)];
            for (int k = 0; k < 3; ++k) {
                triangle.Edge(k).RawSetVertex(&v[std::size_t(corners[3 * i + k])]);
                triangle.Edge(k).RawSetPairedEdge(edge(pairs[3 * i + k]));
            }
        }
    });
    target.MarkAllModified();
}

void Announce(SAssemblyReport const& r) {
    CQEL_Output_Events::Text(CQEL_String::FromFormat(
        "  Triangle assembly: %lld corners welded into %d vertices, %d triangles (%d degenerate dropped), "
        "%d boundary half-edges, %d non-manifold edges, %d orientation conflicts",
        (long long)r.cornersIn, r.verticesOut, r.trianglesOut, r.degenerateDropped, r.boundaryHalfEdges,
        r.nonManifoldEdges, r.orientationConflicts));
    if (r.weldedByTolerance > 0)
        CQEL_Output_Events::Text(
            CQEL_String::FromFormat("  %d vertices joined within the tolerance", r.weldedByTolerance));
}

// The assembly: weld the points, map the corners onto vertices (through
// indices when given), join within the tolerance, connect, fill.
// indices: the corners' vertices for indexed input (points are vertices), else null (points are corners).
SAssemblyReport Assemble(CTriangulation& target, SPointSource const& points, bool indexed, int const* indices,
                         std::int64_t triangles, SAssemblyOptions const& options) {
    CQEL_Operation const& op = MergeOp();
    op.CheckParameter(std::isfinite(options.tolerance) && options.tolerance >= 0.0, "tolerance");
    op.Check(triangles >= 0 && triangles <= kMaxTriangles, QEL_INVALID_POINTSET, "triangles",
             "More triangles than a triangulation holds");
    target.Reset();
    SAssemblyReport report;
    report.cornersIn = points.Count();
    report.trianglesIn = triangles;

    CBuffer<int> corners(3 * triangles);
    CBuffer<int> vertexPoint;
    int vertices = 0;
    if (!indexed) {
        vertices = Weld(points, corners.data(), vertexPoint);
    } else {
        CBuffer<int> ids(points.Count());
        vertices = Weld(points, ids.data(), vertexPoint);
        std::int64_t const count = points.Count();
        for (std::int64_t c = 0; c < 3 * triangles; ++c) {
            int const index = indices[c];
            if (index < 0 || index >= count)
                op.Throw(
                    QEL_INVALID_PARAMETER, "corners",
                    CQEL_String::FromFormat("Triangle %lld refers to vertex %d, outside the %lld vertices",
                                            (long long)(c / 3), index, (long long)count));
            corners[c] = ids[index];
        }
    }
    if (options.tolerance > 0.0) {
        CBuffer<int> remap;
        int const joined = MergeWithinTolerance(points, vertexPoint, options.tolerance, remap);
        report.weldedByTolerance = vertices - joined;
        vertices = joined;
        if (report.weldedByTolerance > 0)
            for (std::int64_t c = 0; c < 3 * triangles; ++c)
                corners[c] = remap[corners[c]];
    }

    SConnected mesh;
    Connect(std::move(corners), triangles, vertices, mesh);
    Fill(target, points, vertexPoint, mesh);

    report.verticesOut = vertices;
    report.trianglesOut = int(mesh.triangles);
    report.degenerateDropped = int(mesh.degenerate);
    report.boundaryHalfEdges = int(mesh.boundaryHalfEdges);
    report.nonManifoldEdges = int(mesh.nonManifoldEdges);
    report.orientationConflicts = int(mesh.orientationConflicts);
    if (options.announce) Announce(report);
    return report;
}

}  // namespace

CTriangulation_Merge_Parts::CTriangulation_Merge_Parts(CTriangulation& target) : m_target(target) {}

CTriangulation_Merge_Parts::~CTriangulation_Merge_Parts() = default;

void CTriangulation_Merge_Parts::Reserve(std::int64_t triangles) {
    if (triangles > 0 && triangles <= kMaxTriangles) m_corners.reserve(std::size_t(triangles) * 9);
}

void CTriangulation_Merge_Parts::AddTriangle(Elements::CPoint3<double> const& a,
                                             Elements::CPoint3<double> const& b,
                                             Elements::CPoint3<double> const& c) {
    m_corners.insert(m_corners.end(), {a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z});
}

void CTriangulation_Merge_Parts::AddTriangles(double const* xyz, std::int64_t triangles) {
    if (triangles > 0) m_corners.insert(m_corners.end(), xyz, xyz + 9 * triangles);
}

SAssemblyReport CTriangulation_Merge_Parts::Merge(SAssemblyOptions const& options) {
    return MergeOp().Run([&] {
        std::vector<double> corners = std::move(m_corners);
        m_corners.clear();
        SCornerLayout const layout{corners.data(), std::int64_t(corners.size() / 9), 72, 24, true};
        return Merge(layout, options);
    });
}

SAssemblyReport CTriangulation_Merge_Parts::Merge(SCornerLayout const& layout,
                                                  SAssemblyOptions const& options) {
    return MergeOp().Run([&] {
        MergeOp().Check(layout.first != nullptr || layout.triangles == 0, QEL_NULL_PARAMETER, "layout.first",
                        "Null Pointer");
        SPointSource const points{static_cast<unsigned char const*>(layout.first),
                                  layout.triangles,
                                  3,
                                  layout.triangleStride,
                                  layout.cornerStride,
                                  layout.isDouble};
        return Assemble(m_target, points, false, nullptr, layout.triangles, options);
    });
}

SAssemblyReport CTriangulation_Merge_Parts::MergeIndexed(float const* xyz, int vertices, int const* corners,
                                                         std::int64_t triangles,
                                                         SAssemblyOptions const& options) {
    return MergeOp().Run([&] {
        MergeOp().CheckParameter(vertices >= 0, "vertices");
        MergeOp().Check((xyz != nullptr || vertices == 0) && (corners != nullptr || triangles <= 0),
                        QEL_NULL_PARAMETER, "xyz", "Null Pointer");
        SPointSource const points{reinterpret_cast<unsigned char const*>(xyz), vertices, 1, 12, 0, false};
        return Assemble(m_target, points, true, corners, triangles, options);
    });
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// What the triangle format files share (internal to the library).
#pragma once

#include <cstring>

#include "core/CQEL_String.h"
#include "entities/CTriangulation.h"
#include "operations/triangulation/CTriangulation_Merge_Parts.h"

namespace QEL::Core {

class CQEL_Operation;

namespace TriangleFiles {

// "  Number of points = %d", "  Number of triangles = %d".
void AnnounceCounts(SAssemblyReport const& report);
// Reason 23: "<path>: read failure".
[[noreturn]] void ReadFailure(CQEL_Operation const& op, CQEL_String const& path);

// A triangulation as the writers walk it: corner positions and indices by
// triangle, straight from the storage (safe to use from several threads).
class STriangleView {
  public:
    explicit STriangleView(CTriangulation const& tris)
        : m_vertices(tris.GetVertices().data()),
          m_triangles(tris.GetTriangles().data()),
          m_triangleCount(tris.GetNumTris()),
          m_normals(tris.GetTriangleGroup().GetNmsArray().begin()) {}

    int Triangles() const { return m_triangleCount; }
    // The vertex index of corner k of triangle t (-1 for a missing corner).
    int Corner(int t, int k) const {
        CTriangulation_Vertex const* v = m_triangles[t].Edge(k).GetVertex();
        return v ? int(v - m_vertices) : -1;
    }
    CTriangulation_Vertex const& Vertex(int v) const { return m_vertices[v]; }
    // Position of corner k of triangle t (the origin for a missing corner).
    void CornerPosition(int t, int k, double xyz[3]) const {
        CTriangulation_Vertex const* v = m_triangles[t].Edge(k).GetVertex();
        xyz[0] = v ? v->get_x() : 0.0, xyz[1] = v ? v->get_y() : 0.0, xyz[2] = v ? v->get_z() : 0.0;
    }
    // Binary STL records of triangles first .. first + count - 1, 50 bytes
    // each: the normal and the three corners as floats, two zero bytes.
    void Records(int first, int count, unsigned char* out) const {
        // Each float is stored straight into the record: gathered on the
        // stack first, reading them back as a block stalls on every record.
        auto put = [](unsigned char* at, double value) {
            float const f = float(value);
            std::memcpy(at, &f, 4);
        };
        for (int t = first; t < first + count; ++t, out += 50) {
            CVector3<double> const& n = m_normals[t];
            put(out, n.x), put(out + 4, n.y), put(out + 8, n.z);
            CTriangulation_Triangle const& triangle = m_triangles[t];
            for (int k = 0; k < 3; ++k) {
                CTriangulation_Vertex const* v = triangle.Edge(k).GetVertex();
                unsigned char* const xyz = out + 12 + 12 * k;
                put(xyz, v ? v->get_x() : 0.0), put(xyz + 4, v ? v->get_y() : 0.0),
                    put(xyz + 8, v ? v->get_z() : 0.0);
            }
            out[48] = out[49] = 0;
        }
    }

  private:
    CTriangulation_Vertex const* m_vertices;
    CTriangulation_Triangle const* m_triangles;
    int m_triangleCount;
    CVector3<double> const* m_normals;
};

}  // namespace TriangleFiles
}  // namespace QEL::Core

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
        for (int t = first; t < first + count; ++t, out += 50) {
            float values[12];
            CVector3<double> const& n = m_normals[t];
            values[0] = float(n.x), values[1] = float(n.y), values[2] = float(n.z);
            CTriangulation_Triangle const& triangle = m_triangles[t];
            for (int k = 0; k < 3; ++k) {
                CTriangulation_Vertex const* v = triangle.Edge(k).GetVertex();
                float* const xyz = values + 3 + 3 * k;
                if (v) {
                    xyz[0] = float(v->get_x()), xyz[1] = float(v->get_y()), xyz[2] = float(v->get_z());
                } else {
                    xyz[0] = xyz[1] = xyz[2] = 0.0f;
                }
            }
            std::memcpy(out, values, 48);
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

// SPDX-License-Identifier: MIT
// What the triangle format files share (internal to the library).
#pragma once

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
    // A binary STL record's 12 floats: the triangle's normal, its three corners.
    void Record(int t, float out[12]) const {
        CVector3<double> const& n = m_normals[t];
        out[0] = float(n.x), out[1] = float(n.y), out[2] = float(n.z);
        for (int k = 0; k < 3; ++k) {
            double xyz[3];
            CornerPosition(t, k, xyz);
            out[3 + 3 * k] = float(xyz[0]), out[4 + 3 * k] = float(xyz[1]), out[5 + 3 * k] = float(xyz[2]);
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

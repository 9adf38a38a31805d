// SPDX-License-Identifier: MIT
// CTriangulation_Modify: changes of a triangulation's structure and shape
// that keep its pairing invariants (CTriangulation_Elements.h).
//
// Bound to one target triangulation, which must outlive it. Every operation
// runs in the library's exception frame and reports as
// "QEL::Core::CTriangulation_Modify::<Operation>".
#pragma once

#include "core/QEL_Export.h"
#include "entities/CTriangulation.h"

namespace QEL::Core {

class QEL_API CTriangulation_Modify {
  public:
    explicit CTriangulation_Modify(CTriangulation& target) : m_target(target) {}

    // Splits every triangle into four, passes times over. A pass puts one new
    // vertex at the middle of every edge, shared by the two triangles of a
    // paired edge, and replaces triangle t (corners a, b, c, edge midpoints
    // ab, bc, ca) by triangles 4t .. 4t + 3: (a, ab, ca), (ab, b, bc),
    // (ca, bc, c) and the middle one (ab, bc, ca), all oriented as t. The
    // pairs between the four and across the old edges are set directly, so
    // a closed mesh stays closed and boundaries stay where they were. Old
    // vertices keep their numbers; the new ones follow in the order of their
    // edges (3t + k). The children carry their parent's triangle attributes,
    // a new vertex the other attributes of its edge's first vertex. passes in
    // [0, 1000000000] ("passes"); a result beyond 715827882 triangles or
    // 2147483647 vertices throws reason 14 ("passes") and a triangle with a
    // missing corner reason 14 ("triangulation"), both before anything
    // changes. Cost: linear in the triangles of the result.
    void SubdivideTriangles(int passes);

    // Reverses the orientation of every triangle (corners a, b, c become
    // c, b, a) with its pairs kept valid, so every normal turns over; vertex
    // normals (the Nms attribute), when present, are negated as well.
    void SwitchNormals();

    // Moves every vertex by distance along its vertex normal: the unit,
    // area-weighted mean of the normals of the triangles around it (the
    // render normals, CTriangulation::GetRenderNormals). Positive distances
    // move along the triangles' normals (outward on a closed solid with
    // outward normals). Along vertex normals the offset surface keeps the
    // connectivity but is not at the exact distance where the surface bends
    // sharply: faces meeting at an edge move by less. Vertices that no
    // triangle uses stay. distance in [-1e9, 1e9] ("distance").
    void OffsetTrianglesByDistance(double distance);

  private:
    CTriangulation& m_target;
};

}  // namespace QEL::Core

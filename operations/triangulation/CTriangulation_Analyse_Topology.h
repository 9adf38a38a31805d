// SPDX-License-Identifier: MIT
// CTriangulation_Analyse_Topology: what a triangulation's connectivity and
// shape add up to: boundary edges and loops, connected components, closed or
// open, non-manifold edges, bounding box, surface area and, for a closed
// mesh, the enclosed volume.
//
// Each figure is its own call, and Summarise gathers them all in one pass.
// Everything is read from the half-edges as the entity holds them, so that
// the figures are those of any triangulation, whichever reader built it:
//  - a boundary edge is a half-edge without a pair;
//  - a boundary loop is a cycle of boundary edges, each followed by the
//    boundary edge that leaves its end vertex within the same fan of
//    triangles (found by turning around that vertex, not through its vertex
//    edge, so that a vertex where two loops touch keeps them apart);
//  - components are the classes of triangles joined by paired edges;
//  - a non-manifold edge is a pair of vertices joined by three or more
//    half-edges: the triangle assembler leaves such edges unpaired, so they
//    are found among the boundary edges (the assembler's report counts the
//    same edges while reading);
//  - a mesh is closed when it has triangles and no boundary edge; its
//    enclosed volume then follows from the divergence theorem, the sum over
//    triangles of p0 . (p1 x p2) / 6, positive when the triangles face
//    outward.
// Triangles with a missing corner are left out of area, volume and
// non-manifold counts. Cost: linear in the triangles, plus a hash of the
// boundary edges' vertex pairs for the non-manifold count.
#pragma once

#include "core/CPoint3.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class CTriangulation;

struct STriangulationTopology {
    int vertices = 0;
    int triangles = 0;
    int unusedVertices = 0;  // vertices that are no triangle's corner
    int boundaryEdges = 0;   // half-edges without a pair
    int boundaryLoops = 0;
    int components = 0;                  // classes of triangles joined by paired edges
    int nonManifoldEdges = 0;            // vertex pairs joined by three or more half-edges
    bool closed = false;                 // triangles and no boundary edge
    Elements::CPoint3<double> min, max;  // bounding box of the vertices (zero without vertices)
    double area = 0.0;
    bool hasVolume = false;  // closed: volume holds the enclosed volume
    double volume = 0.0;
};

class QEL_API CTriangulation_Analyse_Topology {
  public:
    explicit CTriangulation_Analyse_Topology(CTriangulation const& mesh) : m_mesh(mesh) {}

    // Every figure below, in one pass over the mesh.
    STriangulationTopology Summarise() const;

    int CountBoundaryEdges() const;
    int CountBoundaryLoops() const;
    int CountComponents() const;
    int CountNonManifoldEdges() const;
    int CountUnusedVertices() const;
    // Triangles and no boundary edge.
    bool IsClosed() const;
    double SurfaceArea() const;
    // The enclosed volume of a closed mesh into volume (true); false, volume
    // untouched, for a mesh that is not closed.
    bool EnclosedVolume(double& volume) const;

  private:
    CTriangulation const& m_mesh;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CTriangulation_Merge_Parts: the triangle assembler, the one road from loose
// triangles (three corner positions each) to a triangulation with shared
// vertices and paired half-edges. Every triangle reader goes through it.
//
// Rules:
// - Welding. Corners weld into one vertex when their coordinates are equal
//   as stored (floats stay floats, doubles doubles): -0.0 equals +0.0, and
//   NaN coordinates weld by their bits (a NaN corner welds only with the
//   same NaN). So the number of vertices is the number of distinct corner
//   triples. Vertices are numbered in the order in which their first corner
//   comes and take that corner's position.
// - Tolerance (SAssemblyOptions::tolerance > 0): after the exact weld, any
//   two vertices closer than the tolerance (Euclidean distance, strictly
//   less) become one, and so does every chain of them: welding is
//   transitive, so two corners farther apart than the tolerance may still
//   join through corners between them. A joined vertex keeps the position
//   of its first corner. Corners with an infinite or NaN coordinate only
//   weld exactly.
// - Degenerate triangles. A triangle with two equal corner vertices (after
//   welding) is dropped and counted. Its vertices stay, without an edge when
//   no other triangle uses them. Triangles of zero area with three distinct
//   vertices are kept.
// - Pairing. Half-edges a->b and b->a pair when they are the only two
//   half-edges between vertices a and b. An edge shared by three or more
//   half-edges (non-manifold), and two half-edges running the same way
//   (neighbours of opposite orientation), never make the assembly fail: all
//   their half-edges stay unpaired, that is boundary, and the edge is counted.
// - The result keeps the triangulation's invariants: pairs are symmetric and
//   run opposite ways, and each vertex's edge starts at it, at an outgoing
//   boundary half-edge when it has one. Triangles keep their input order
//   (less the dropped ones) and their corners' order.
//
// The report lists what was merged and dropped; a summary goes out through
// the text channel of CQEL_Output_Events:
//   "  Triangle assembly: <corners> corners welded into <vertices> vertices,
//    <triangles> triangles (<n> degenerate dropped), <h> boundary half-edges,
//    <n> non-manifold edges, <n> orientation conflicts"
//
// Cost: linear in the corners (hash tables and counting sorts), spread over
// processors for large inputs; about 70 bytes per triangle of working memory
// besides the result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/CPoint3.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class CTriangulation;

struct SAssemblyOptions {
    // Corners closer than this weld (see above); 0 welds equal coordinates
    // only. Must be finite and at least 0 (else reason 5 "tolerance").
    double tolerance = 0.0;
    // Send the summary through the text channel.
    bool announce = true;
};

struct SAssemblyReport {
    std::int64_t cornersIn = 0;    // corners handed in (vertices, for indexed input)
    std::int64_t trianglesIn = 0;  // triangles handed in
    int verticesOut = 0;
    int trianglesOut = 0;
    int degenerateDropped = 0;     // triangles with two equal corners after welding
    int weldedByTolerance = 0;     // vertices that the tolerance joined to another one
    int boundaryHalfEdges = 0;     // half-edges left without a pair
    int nonManifoldEdges = 0;      // vertex pairs joined by three or more half-edges
    int orientationConflicts = 0;  // vertex pairs joined by two half-edges running the same way
};

// Where corners lie in memory: triangle t's corner k at
// first + t * triangleStride + k * cornerStride, each three floats or three
// doubles (x, y, z). A binary STL file's records are read in place this way.
struct SCornerLayout {
    void const* first = nullptr;
    std::int64_t triangles = 0;
    std::ptrdiff_t triangleStride = 0;  // bytes
    std::ptrdiff_t cornerStride = 0;    // bytes
    bool isDouble = false;
};

class QEL_API CTriangulation_Merge_Parts {
  public:
    // Binds to the triangulation that each Merge resets and fills.
    explicit CTriangulation_Merge_Parts(CTriangulation& target);
    ~CTriangulation_Merge_Parts();
    CTriangulation_Merge_Parts(CTriangulation_Merge_Parts const&) = delete;
    CTriangulation_Merge_Parts& operator=(CTriangulation_Merge_Parts const&) = delete;

    // Loose triangles collected one by one, then merged by Merge().
    void Reserve(std::int64_t triangles);
    void AddTriangle(Elements::CPoint3<double> const& a, Elements::CPoint3<double> const& b,
                     Elements::CPoint3<double> const& c);
    // Corners as 9 doubles per triangle, appended to those collected.
    void AddTriangles(double const* xyz, std::int64_t triangles);
    std::int64_t GetNumTriangles() const { return std::int64_t(m_corners.size() / 9); }

    // Merges the collected triangles into the target and forgets them.
    SAssemblyReport Merge(SAssemblyOptions const& options = {});
    // Merges triangles lying in memory (nothing is copied).
    SAssemblyReport Merge(SCornerLayout const& layout, SAssemblyOptions const& options = {});
    // Merges indexed triangles: vertices as 3 floats each, triangle t's
    // corners the vertices corners[3t], [3t + 1], [3t + 2]. Vertices weld
    // like corners; vertices that no triangle uses are kept.
    SAssemblyReport MergeIndexed(float const* xyz, int vertices, int const* corners, std::int64_t triangles,
                                 SAssemblyOptions const& options = {});

    // All Merge calls: the target is reset first. Reason 5 ("tolerance") for
    // a bad tolerance; reason 15 ("triangles") for more triangles than a
    // triangulation holds (715827882); reason 14 ("corners") for an index
    // outside the vertices. On an exception the target is left reset.

  private:
    CTriangulation& m_target;
    std::vector<double> m_corners;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// The steps of the triangle assembler over plain index arrays (internal to
// the library; CTriangulation_Merge_Parts puts them together and fills a
// triangulation).
//
//   Weld            points (triangle corners, or the vertices of an indexed
//                   file) to vertices by exact coincidence of their
//                   coordinates, -0.0 and +0.0 taken as equal and anything
//                   else, NaN included, compared by its bits. Vertices are
//                   numbered in the order of their first point.
//   MergeWithinTolerance  joins vertices closer than a distance, transitively.
//   Connect         drops triangles with two equal corners and pairs the
//                   half-edges of the others: exactly one half-edge each way
//                   between two vertices pair; any other edge stays boundary.
//
// Large inputs are split into parts that run side by side (RunInParts); the
// results do not depend on the number of parts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "core/CQEL_Allocate.h"

namespace QEL::Core::Assembly {

// Storage from CQEL_Allocate (large blocks advised for huge pages), for
// plain element types.
struct SRawDelete {
    void operator()(void* memory) const noexcept { CQEL_Allocate::DeAllocateMemory(memory); }
};
template <class T>
using CRawStorage = std::unique_ptr<T[], SRawDelete>;

// An array that is not cleared when made (every element is written before use).
template <class T>
class CBuffer {
  public:
    CBuffer() = default;
    explicit CBuffer(std::int64_t count)
        : m_data(static_cast<T*>(CQEL_Allocate::AllocateMemory(sizeof(T) * std::size_t(count)))),
          m_count(count) {}
    T* data() { return m_data.get(); }
    T const* data() const { return m_data.get(); }
    T& operator[](std::int64_t i) { return m_data[std::size_t(i)]; }
    T const& operator[](std::int64_t i) const { return m_data[std::size_t(i)]; }
    std::int64_t size() const { return m_count; }
    // Keeps the first count elements (no reallocation).
    void Shrink(std::int64_t count) { m_count = count < m_count ? count : m_count; }
    void Free() {
        m_data.reset();
        m_count = 0;
    }

  private:
    CRawStorage<T> m_data;
    std::int64_t m_count = 0;
};

// Triangles and half-edges are numbered in int (half-edge 3t + k), so a
// triangulation holds at most this many triangles.
constexpr std::int64_t kMaxTriangles = 715827882;  // floor((2^31 - 1) / 3)

// Where points lie: in groups of groupSize points (the three corners of a
// binary STL record, or single points), groups groupStride bytes apart,
// points within a group pointStride bytes apart; each point three floats
// or three doubles.
struct SPointSource {
    unsigned char const* first = nullptr;
    std::int64_t groups = 0;
    int groupSize = 1;
    std::ptrdiff_t groupStride = 0;
    std::ptrdiff_t pointStride = 0;
    bool isDouble = false;

    std::int64_t Count() const { return groups * groupSize; }
    unsigned char const* At(std::int64_t point) const {
        if (groupSize == 1) return first + point * groupStride;
        return first + (point / groupSize) * groupStride + (point % groupSize) * pointStride;
    }
    void Get(std::int64_t point, double xyz[3]) const {
        unsigned char const* at = At(point);
        if (isDouble) {
            std::memcpy(xyz, at, 24);
        } else {
            float f[3];
            std::memcpy(f, at, 12);
            xyz[0] = f[0], xyz[1] = f[1], xyz[2] = f[2];
        }
    }
};

// Welds the points of source. ids[i] becomes the vertex of point i (ids
// holds source.Count() elements); vertexPoint[v] the first point of vertex
// v. Returns the number of vertices.
int Weld(SPointSource const& source, int* ids, CBuffer<int>& vertexPoint);

// Joins vertices closer than tolerance (Euclidean, strictly less), and so,
// transitively, chains of them; vertices with a coordinate that is not finite
// join none. remap[v] becomes the new number of vertex v (in the order of
// the first vertex of each group, whose position the group keeps) and
// vertexPoint is cut down to the groups' first vertices. Returns the new
// number of vertices.
int MergeWithinTolerance(SPointSource const& source, CBuffer<int>& vertexPoint, double tolerance,
                         CBuffer<int>& remap);

// A half-edge as listed among those leaving its start vertex.
struct SOutgoing {
    int end;   // the vertex it runs to
    int edge;  // its number
};

struct SConnected {
    CBuffer<int> corners;  // 3 per kept triangle: vertex of edge 0, 1, 2
    CBuffer<int> pairs;    // per half-edge: its pair's number, or -1
    // The half-edges leaving vertex v: outgoing[start[v]] .. outgoing[start[v + 1] - 1], in half-edge order.
    CBuffer<std::int64_t> start;
    CBuffer<SOutgoing> outgoing;
    CBuffer<int> origin;  // per kept triangle: its number in the input; empty when none was dropped
    std::int64_t triangles = 0;
    std::int64_t degenerate = 0;            // dropped: two equal corners
    std::int64_t boundaryHalfEdges = 0;     // half-edges left without a pair
    std::int64_t nonManifoldEdges = 0;      // vertex pairs joined by three or more half-edges
    std::int64_t orientationConflicts = 0;  // vertex pairs joined by two half-edges the same way

    // The edge of vertex v: its first outgoing boundary half-edge, else its
    // first outgoing half-edge, or -1 when no triangle uses it.
    int VertexEdge(int v) const;
};

// Connects triangles whose corner vertices are corners[3t + k] (taken over
// as result.corners) among vertices 0 .. vertices - 1.
void Connect(CBuffer<int>&& corners, std::int64_t triangles, int vertices, SConnected& result);

}  // namespace QEL::Core::Assembly

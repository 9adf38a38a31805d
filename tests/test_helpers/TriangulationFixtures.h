// SPDX-License-Identifier: MIT
// A catalogue of small triangulations built in code, classed by topology, and
// the checked builder they go through.
//
// BuildTriangulation sets the corners with SetVertex and pairs every edge with
// its opposite through SetPairedEdge; edges that cannot be paired (a third
// triangle on an edge, neighbours of opposite orientation) stay boundary
// edges and are counted, as the readers' assembler does.
#pragma once

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "core/CQEL_Exception.h"
#include "entities/CTriangulation.h"

struct STriangulationFixture {
    std::vector<QEL::Elements::CPoint3<double>> points;
    std::vector<std::array<int, 3>> triangles;
};

// Returns the number of edges left unpaired because pairing was refused.
inline int BuildTriangulation(QEL::Core::CTriangulation& mesh, STriangulationFixture const& fixture) {
    using namespace QEL::Core;
    mesh.Reset();
    mesh.CheckSpace(int(fixture.points.size()), int(fixture.triangles.size()));
    for (std::size_t i = 0; i < fixture.points.size(); ++i)
        mesh.GetVertexGroup().set_Pts(int(i), fixture.points[i]);
    for (std::size_t t = 0; t < fixture.triangles.size(); ++t)
        for (int k = 0; k < 3; ++k)
            mesh.get_Tris(int(t)).Edge(k).SetVertex(&mesh.get_Pts(fixture.triangles[t][std::size_t(k)]));
    std::map<std::pair<int, int>, CTriangulation_Edge*> open;
    int refused = 0;
    for (std::size_t t = 0; t < fixture.triangles.size(); ++t)
        for (int k = 0; k < 3; ++k) {
            int const a = fixture.triangles[t][std::size_t(k)];
            int const b = fixture.triangles[t][std::size_t((k + 1) % 3)];
            CTriangulation_Edge* const e = &mesh.get_Tris(int(t)).Edge(k);
            auto const found = open.find({std::min(a, b), std::max(a, b)});
            if (found == open.end()) {
                open[{std::min(a, b), std::max(a, b)}] = e;
                continue;
            }
            try {
                e->SetPairedEdge(found->second);
                open.erase(found);
            } catch (CQEL_Exception const&) {
                ++refused;
            }
        }
    return refused;
}

// Closed, genus 0: the regular octahedron, outward normals.
inline STriangulationFixture Octahedron() {
    return {{{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}},
            {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}}};
}

// Closed, genus 0: the unit cube, two triangles per face, outward normals.
inline STriangulationFixture Cube() {
    return {{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}},
            {{0, 2, 1},
             {0, 3, 2},
             {4, 5, 6},
             {4, 6, 7},
             {0, 1, 5},
             {0, 5, 4},
             {1, 2, 6},
             {1, 6, 5},
             {2, 3, 7},
             {2, 7, 6},
             {3, 0, 4},
             {3, 4, 7}}};
}

// Open: a (n+1) x (n+1) grid of points in the plane z = 0, two triangles per
// cell, without the cells listed in holes (cell index = row * n + column).
inline STriangulationFixture Strip(int n, std::vector<int> const& holes = {}) {
    STriangulationFixture f;
    for (int r = 0; r <= n; ++r)
        for (int c = 0; c <= n; ++c)
            f.points.push_back({double(c), double(r), 0.0});
    for (int r = 0; r < n; ++r)
        for (int c = 0; c < n; ++c) {
            bool hole = false;
            for (int h : holes)
                hole = hole || h == r * n + c;
            if (hole) continue;
            int const a = r * (n + 1) + c;
            f.triangles.push_back({a, a + 1, a + n + 2});
            f.triangles.push_back({a, a + n + 2, a + n + 1});
        }
    return f;
}

// The octahedron with triangle 0 reversed: its three edges meet neighbours of
// the opposite orientation and stay unpaired.
inline STriangulationFixture FlippedOctahedron() {
    STriangulationFixture f = Octahedron();
    std::swap(f.triangles[0][0], f.triangles[0][2]);
    return f;
}

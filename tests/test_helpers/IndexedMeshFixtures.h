// SPDX-License-Identifier: MIT
// Triangle meshes as plain index arrays, built in code and damaged on
// purpose (holes, non-manifold fins, flipped and pinched triangles), and a
// brute-force check of the pairing the assembler produces.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "operations/triangulation/QEL_TriangleAssembly.h"

namespace QEL::Test {

struct SIndexedMesh {
    std::vector<std::array<double, 3>> positions;
    std::vector<int> corners;  // 3 per triangle

    int Vertices() const { return int(positions.size()); }
    std::int64_t Triangles() const { return std::int64_t(corners.size() / 3); }
    QEL::Core::Assembly::CBuffer<int> Corners() const {
        QEL::Core::Assembly::CBuffer<int> copy(std::int64_t(corners.size()));
        std::copy(corners.begin(), corners.end(), copy.data());
        return copy;
    }
    // The corners as 9 coordinates per triangle, as a triangle soup file holds them.
    template <class Real>
    std::vector<Real> Soup() const {
        std::vector<Real> xyz;
        xyz.reserve(corners.size() * 3);
        for (int c : corners)
            for (double v : positions[std::size_t(c)])
                xyz.push_back(Real(v));
        return xyz;
    }

    // Removes the triangles of the grid quads [x0, x0 + w) x [y0, y0 + h)
    // (a grid of nx quads a row, made by MakeGrid); returns how many.
    int CutHole(int nx, int x0, int y0, int w, int h) {
        std::vector<int> kept;
        int removed = 0;
        for (std::int64_t t = 0; t < Triangles(); ++t) {
            int const quad = int(t / 2), x = quad % nx, y = quad / nx;
            if (x >= x0 && x < x0 + w && y >= y0 && y < y0 + h) {
                ++removed;
                continue;
            }
            kept.insert(kept.end(), corners.begin() + 3 * t, corners.begin() + 3 * t + 3);
        }
        corners = std::move(kept);
        return removed;
    }
    // Adds a fin (a third triangle) on the diagonal of each quad from
    // firstQuad on: each makes one edge non-manifold. Returns count.
    int AddFins(int firstQuad, int count) {
        for (int q = firstQuad; q < firstQuad + count; ++q) {
            int const a = corners[std::size_t(6 * q + 3)],
                      c = corners[std::size_t(6 * q + 4)];  // second triangle runs a->c
            auto const& pa = positions[std::size_t(a)];
            positions.push_back({pa[0], pa[1], pa[2] + 1.0});
            corners.insert(corners.end(), {a, c, Vertices() - 1});
        }
        return count;
    }
    // Reverses the given triangles; returns how many.
    int FlipTriangles(std::vector<int> const& triangles) {
        for (int t : triangles)
            std::swap(corners[std::size_t(3 * t + 1)], corners[std::size_t(3 * t + 2)]);
        return int(triangles.size());
    }
    // Makes the given triangles' second corner their first; returns how many.
    int PinchTriangles(std::vector<int> const& triangles) {
        for (int t : triangles)
            corners[std::size_t(3 * t + 1)] = corners[std::size_t(3 * t)];
        return int(triangles.size());
    }
};

// nx by ny quads in the plane z = 0, two triangles each (a, b, c), (a, c, d), row by row.
inline SIndexedMesh MakeGrid(int nx, int ny) {
    SIndexedMesh mesh;
    for (int y = 0; y <= ny; ++y)
        for (int x = 0; x <= nx; ++x)
            mesh.positions.push_back({double(x), double(y), 0.0});
    for (int y = 0; y < ny; ++y)
        for (int x = 0; x < nx; ++x) {
            int const a = y * (nx + 1) + x, b = a + 1, c = a + nx + 2, d = a + nx + 1;
            mesh.corners.insert(mesh.corners.end(), {a, b, c, a, c, d});
        }
    return mesh;
}

// A closed torus of nu by nv quads.
inline SIndexedMesh MakeTorus(int nu, int nv) {
    SIndexedMesh mesh;
    double const pi = std::atan(1.0) * 4.0;
    for (int i = 0; i < nu; ++i)
        for (int j = 0; j < nv; ++j) {
            double const u = 2 * pi * i / nu, v = 2 * pi * j / nv;
            mesh.positions.push_back(
                {(3 + std::cos(v)) * std::cos(u), (3 + std::cos(v)) * std::sin(u), std::sin(v)});
        }
    for (int i = 0; i < nu; ++i)
        for (int j = 0; j < nv; ++j) {
            int const a = i * nv + j, b = ((i + 1) % nu) * nv + j, c = ((i + 1) % nu) * nv + (j + 1) % nv,
                      d = i * nv + (j + 1) % nv;
            mesh.corners.insert(mesh.corners.end(), {a, b, c, a, c, d});
        }
    return mesh;
}

inline std::int64_t NextHalfEdge(std::int64_t e) {
    return e % 3 == 2 ? e - 2 : e + 1;
}

// Pairs by the rule: a->b and b->a pair when they are the only half-edges between a and b.
inline std::vector<int> BruteForcePairs(std::vector<int> const& corners) {
    std::map<std::pair<int, int>, std::vector<int>> directed;
    for (std::size_t e = 0; e < corners.size(); ++e)
        directed[{corners[e], corners[std::size_t(NextHalfEdge(std::int64_t(e)))]}].push_back(int(e));
    std::vector<int> pairs(corners.size(), -1);
    for (auto const& [edge, list] : directed) {
        auto const back = directed.find({edge.second, edge.first});
        if (list.size() == 1 && back != directed.end() && back->second.size() == 1)
            pairs[std::size_t(list[0])] = back->second[0];
    }
    return pairs;
}

// The triangulation's invariants over the assembled arrays: pairs symmetric
// and running opposite ways; each vertex edge starts at its vertex and is a
// boundary half-edge when the vertex has one.
inline void ExpectValidConnectivity(QEL::Core::Assembly::SConnected const& mesh, int vertices) {
    auto const& c = mesh.corners;
    std::vector<bool> hasBoundary(static_cast<std::size_t>(vertices), false),
        used(static_cast<std::size_t>(vertices), false);
    for (std::int64_t e = 0; e < 3 * mesh.triangles; ++e) {
        int const p = mesh.pairs[e];
        used[std::size_t(c[e])] = true;
        if (p < 0) {
            hasBoundary[std::size_t(c[e])] = true;
            continue;
        }
        ASSERT_EQ(mesh.pairs[p], e) << "pair of " << e << " not symmetric";
        ASSERT_EQ(c[e], c[NextHalfEdge(p)]) << "half-edge " << e;
        ASSERT_EQ(c[NextHalfEdge(e)], c[p]) << "half-edge " << e;
    }
    for (int v = 0; v < vertices; ++v) {
        int const edge = mesh.VertexEdge(v);
        if (!used[std::size_t(v)]) {
            ASSERT_EQ(edge, -1) << "vertex " << v;
            continue;
        }
        ASSERT_GE(edge, 0) << "vertex " << v;
        ASSERT_EQ(c[edge], v) << "vertex " << v;
        if (hasBoundary[std::size_t(v)]) {
            ASSERT_EQ(mesh.pairs[edge], -1) << "vertex " << v;
        }
    }
}

}  // namespace QEL::Test

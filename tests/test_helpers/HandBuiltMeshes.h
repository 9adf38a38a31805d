// SPDX-License-Identifier: MIT
// Small meshes built by hand through the entity's checked operations, for
// tests that need a given topology: corners set with SetVertex, and each
// half-edge paired with the first opposite half-edge still free
// (SetPairedEdge), so that edges of three triangles or of opposite
// orientation stay unpaired, as the triangle assembler leaves them.
#pragma once

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "entities/CTriangulation.h"

namespace QEL::Test {

struct SHandMesh {
    std::vector<Elements::CPoint3<double>> points;
    std::vector<std::array<int, 3>> triangles;
};

inline void BuildInto(QEL::Core::CTriangulation& mesh, SHandMesh const& hand) {
    using namespace QEL::Core;
    mesh.Reset();
    mesh.CheckSpace(int(hand.points.size()), int(hand.triangles.size()));
    for (std::size_t i = 0; i < hand.points.size(); ++i)
        mesh.get_Pts(int(i)).SetPoint(hand.points[i]);
    std::map<std::pair<int, int>, CTriangulation_Edge*> open;
    for (std::size_t t = 0; t < hand.triangles.size(); ++t)
        for (int k = 0; k < 3; ++k)
            mesh.get_Tris(int(t)).Edge(k).SetVertex(&mesh.get_Pts(hand.triangles[t][std::size_t(k)]));
    for (std::size_t t = 0; t < hand.triangles.size(); ++t)
        for (int k = 0; k < 3; ++k) {
            int const a = hand.triangles[t][std::size_t(k)], b = hand.triangles[t][std::size_t((k + 1) % 3)];
            CTriangulation_Edge* const edge = &mesh.get_Tris(int(t)).Edge(k);
            auto const opposite = open.find({b, a});
            if (opposite != open.end() && opposite->second->GetPairedEdge() == nullptr &&
                !open.contains({a, b})) {
                edge->SetPairedEdge(opposite->second);
            } else if (!open.contains({a, b})) {
                open[{a, b}] = edge;
            }
        }
}

inline QEL::Core::CTriangulation Build(SHandMesh const& hand) {
    QEL::Core::CTriangulation mesh;
    BuildInto(mesh, hand);
    return mesh;
}

// Closed, outward: the tetrahedron (0,0,0), (1,0,0), (0,1,0), (0,0,1); volume 1/6.
inline SHandMesh Tetrahedron(double shift = 0.0) {
    return {{{shift, 0, 0}, {shift + 1, 0, 0}, {shift, 1, 0}, {shift, 0, 1}},
            {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}}};
}

// Open: an n x n grid of unit squares in the plane z = 0, two triangles each,
// oriented up; with hole, the middle square of a 3 x 3 grid is left out.
inline SHandMesh Grid(int n, bool hole = false) {
    SHandMesh hand;
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i)
            hand.points.push_back({double(i), double(j), 0.0});
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            if (hole && i == n / 2 && j == n / 2) continue;
            int const a = j * (n + 1) + i, b = a + 1, c = a + n + 2, d = a + n + 1;
            hand.triangles.push_back({a, b, c});
            hand.triangles.push_back({a, c, d});
        }
    return hand;
}

// Closed, outward: the cube [-1, 1]^3, twelve triangles; volume 8, area 24.
inline SHandMesh Cube() {
    SHandMesh hand;
    for (int k = 0; k < 8; ++k)
        hand.points.push_back({k & 1 ? 1.0 : -1.0, k & 2 ? 1.0 : -1.0, k & 4 ? 1.0 : -1.0});
    int const faces[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                             {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (auto const& f : faces) {
        hand.triangles.push_back({f[0], f[1], f[2]});
        hand.triangles.push_back({f[0], f[2], f[3]});
    }
    return hand;
}

}  // namespace QEL::Test

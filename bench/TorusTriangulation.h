// SPDX-License-Identifier: MIT
// The generated torus of tools/meshgen as a CTriangulation (corners set, edges
// left unpaired: the benchmarks that use it need positions and triangles only).
#pragma once

#include <memory>

#include "qel.h"
#include "tools/meshgen/TorusMesh.h"

namespace QEL::Bench {

inline std::unique_ptr<QEL::Core::CTriangulation> MakeTorusTriangulation(int around, int across) {
    using P = QEL::Elements::CPoint3<double>;
    auto const torus = QEL::MeshGen::MakeTorus(around, across);
    auto mesh = std::make_unique<QEL::Core::CTriangulation>();
    mesh->CheckSpace(int(torus.Vertices()), int(torus.Triangles()));
    for (int i = 0; i < mesh->GetNumPts(); ++i)
        mesh->get_Pts(i).SetPoint(P(torus.positions[3 * std::size_t(i)],
                                    torus.positions[3 * std::size_t(i) + 1],
                                    torus.positions[3 * std::size_t(i) + 2]));
    for (int t = 0; t < mesh->GetNumTris(); ++t)
        for (int k = 0; k < 3; ++k)
            mesh->get_Tris(t).Edge(k).SetVertex(
                &mesh->get_Pts(int(torus.corners[3 * std::size_t(t) + std::size_t(k)])));
    return mesh;
}

}  // namespace QEL::Bench

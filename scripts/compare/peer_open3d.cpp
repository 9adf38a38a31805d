// SPDX-License-Identifier: MIT
// Open3D: io::ReadTriangleMesh, then RemoveDuplicatedVertices (exact weld)
// and ComputeAdjacencyList (vertex neighbours; Open3D keeps no half-edges).
#include <open3d/Open3D.h>

#include <stdexcept>

#include "PeerTiming.h"

int main(int argc, char** argv) {
    open3d::utility::SetVerbosityLevel(open3d::utility::VerbosityLevel::Error);
    return QEL::Compare::Main(argc, argv, [](char const* path) {
        open3d::geometry::TriangleMesh mesh;
        open3d::io::ReadTriangleMeshOptions options;
        if (!open3d::io::ReadTriangleMesh(path, mesh, options))
            throw std::runtime_error("ReadTriangleMesh failed");
        mesh.RemoveDuplicatedVertices();
        mesh.ComputeAdjacencyList();
        return QEL::Compare::SCounts{mesh.vertices_.size(), mesh.triangles_.size()};
    });
}

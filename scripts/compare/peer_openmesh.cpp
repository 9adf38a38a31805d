// SPDX-License-Identifier: MIT
// OpenMesh: IO::read_mesh into a TriMesh_ArrayKernelT; its STL reader welds
// equal corners and the mesh is a half-edge structure (full connectivity).
#include <OpenMesh/Core/IO/MeshIO.hh>
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <stdexcept>

#include "PeerTiming.h"

int main(int argc, char** argv) {
    return QEL::Compare::Main(argc, argv, [](char const* path) {
        OpenMesh::TriMesh_ArrayKernelT<> mesh;
        OpenMesh::IO::Options options;
        if (!OpenMesh::IO::read_mesh(mesh, path, options)) throw std::runtime_error("read_mesh failed");
        return QEL::Compare::SCounts{mesh.n_vertices(), mesh.n_faces()};
    });
}

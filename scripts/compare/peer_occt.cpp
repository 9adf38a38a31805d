// SPDX-License-Identifier: MIT
// OpenCASCADE: RWStl::ReadFile (welds equal nodes into a Poly_Triangulation),
// then Poly_Connect (triangle neighbours and a triangle per node).
#include <Poly_Connect.hxx>
#include <Poly_Triangulation.hxx>
#include <RWStl.hxx>
#include <stdexcept>

#include "PeerTiming.h"

int main(int argc, char** argv) {
    return QEL::Compare::Main(argc, argv, [](char const* path) {
        Handle(Poly_Triangulation) mesh = RWStl::ReadFile(path);
        if (mesh.IsNull()) throw std::runtime_error("RWStl::ReadFile failed");
        Poly_Connect connect(mesh);
        return QEL::Compare::SCounts{std::size_t(mesh->NbNodes()), std::size_t(mesh->NbTriangles())};
    });
}

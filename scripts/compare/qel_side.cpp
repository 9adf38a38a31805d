// SPDX-License-Identifier: MIT
// QEL: CTriangulationParser reads the STL file through the triangle assembler
// (exact weld) into a CTriangulation with every half-edge paired.
#include "PeerTiming.h"
#include "qel.h"

using namespace QEL::Core;

int main(int argc, char** argv) {
    return QEL::Compare::Main(argc, argv, [](char const* path) {
        CTriangulation mesh;
        if (!CTriangulationParser().ReadSTLFile(CQEL_String::FromUTF8(path), &mesh))
            throw std::runtime_error("ReadSTLFile refused the file");
        return QEL::Compare::SCounts{std::size_t(mesh.GetNumPts()), std::size_t(mesh.GetNumTris())};
    });
}

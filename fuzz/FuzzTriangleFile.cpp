// SPDX-License-Identifier: MIT
// Fuzzes one triangle-format reader, chosen by QEL_FUZZ_EXTENSION (".stl",
// ".tri", ".raw", ".ply", ".obj" or ".off"): the input becomes a file, read into a triangulation,
// whose pairs are then walked (a pairing that breaks its invariants aborts).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "FuzzTarget.h"
#include "qel.h"

using namespace QEL::Core;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static std::string const path =
        "/tmp/qel_fuzz_" + std::to_string(::getpid()) + std::string(QEL_FUZZ_EXTENSION);
    static STriangleFormat const* const format = FindTriangleFormat(CQEL_String::FromASCII(path.c_str()));
    if (!format) std::abort();
    if (std::FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    } else {
        return 0;
    }
    QEL::Fuzz::ExpectOnlyQELExceptions([&] {
        CTriangulation mesh;
        CTriangulationParser parser;
        if (!format->read(parser, CQEL_String::FromASCII(path.c_str()), &mesh)) return;
        for (CTriangulation_Triangle const& triangle : mesh.GetTriangles())
            for (int k = 0; k < 3; ++k) {
                CTriangulation_Edge const& edge = triangle.Edge(k);
                CTriangulation_Edge const* pair = edge.GetPairedEdge();
                if (!edge.GetVertex()) std::abort();
                if (pair && (pair->GetPairedEdge() != &edge || pair->GetVertex() != edge.GetEndVertex()))
                    std::abort();
            }
    });
    // Formats that also hold point sets (".ply", ".obj", ".off") are read as one too.
    static SPointFormat const* const points = FindPointFormat(CQEL_String::FromASCII(path.c_str()));
    if (points)
        QEL::Fuzz::ExpectOnlyQELExceptions([&] {
            CPointSet set;
            points->read(CQEL_String::FromASCII(path.c_str()), &set);
            if (set.GetNumPts() > 0) (void)set.GetMax();
        });
    return 0;
}

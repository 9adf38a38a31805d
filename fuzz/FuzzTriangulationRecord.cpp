// SPDX-License-Identifier: MIT
// Fuzzes the triangulation's record of the native container: the input is
// the record's bytes as the container hands them to the entity (the
// container's own digests would turn away almost every mutated record).
// A record that is accepted must give a mesh whose connectivity holds: every
// pair mutual and joining the same two vertices the other way, every vertex
// edge starting at its vertex; its summary and a second record are made too.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "FuzzTarget.h"
#include "qel.h"

using namespace QEL::Core;

namespace {

void ExpectValid(CTriangulation const& mesh) {
    auto const triangles = mesh.GetTriangles();
    auto const vertices = mesh.GetVertices();
    for (auto const& triangle : triangles)
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge const& e = triangle.Edge(k);
            CTriangulation_Edge const* p = e.GetPairedEdge();
            if (p == nullptr) continue;
            if (mesh.GetTriangleIndex(p->GetTriangle()) < 0 || p->GetPairedEdge() != &e ||
                p->GetVertex() != e.GetEndVertex() || p->GetEndVertex() != e.GetVertex())
                std::abort();
        }
    for (auto const& vertex : vertices)
        if (vertex.GetEdge() != nullptr && vertex.GetEdge()->GetVertex() != &vertex) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    QEL::Fuzz::ExpectOnlyQELExceptions([&] {
        CImportData record;
        record.GetStream().Put(data, std::int64_t(size));
        CTriangulation mesh;
        mesh.Deserialise(&record);
        ExpectValid(mesh);
        (void)CTriangulation_Analyse_Topology(mesh).Summarise();
        CExportData again;
        mesh.Serialise(&again);
    });
    return 0;
}

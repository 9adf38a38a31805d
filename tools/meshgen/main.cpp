// SPDX-License-Identifier: MIT
// qel-meshgen: writes the torus of TorusMesh.h as a binary STL, ASCII STL or
// ".raw" file (by the output's name), for the benchmarks, `make compare` and
// the tour.
//   qel-meshgen OUT [--around N] [--across M]
// OUT ending in ".ascii.stl" is ASCII STL, ".stl" binary STL, ".raw" text.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "TorusMesh.h"

namespace {

bool EndsWith(std::string const& text, char const* suffix) {
    std::string const s(suffix);
    return text.size() >= s.size() && text.compare(text.size() - s.size(), s.size(), s) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: qel-meshgen OUT(.stl|.ascii.stl|.raw) [--around N] [--across M]\n");
        return 2;
    }
    std::string const out = argv[1];
    int around = 800, across = 500;
    for (int i = 2; i + 1 < argc; i += 2) {
        std::string const option = argv[i];
        int const value = std::atoi(argv[i + 1]);
        if (option == "--around")
            around = value;
        else if (option == "--across")
            across = value;
        else {
            std::fprintf(stderr, "qel-meshgen: unknown option %s\n", option.c_str());
            return 2;
        }
    }
    try {
        auto const mesh = QEL::MeshGen::MakeTorus(around, across);
        if (EndsWith(out, ".ascii.stl"))
            QEL::MeshGen::WriteASCIISTL(out, mesh);
        else if (EndsWith(out, ".stl"))
            QEL::MeshGen::WriteBinarySTL(out, mesh);
        else if (EndsWith(out, ".raw"))
            QEL::MeshGen::WriteRAW(out, mesh);
        else {
            std::fprintf(stderr, "qel-meshgen: the output must end in .stl, .ascii.stl or .raw\n");
            return 2;
        }
        std::printf("%s: torus of %zu triangles, %zu distinct vertices\n", out.c_str(), mesh.Triangles(),
                    mesh.Vertices());
    } catch (std::exception const& e) {
        std::fprintf(stderr, "qel-meshgen: %s\n", e.what());
        return 1;
    }
    return 0;
}

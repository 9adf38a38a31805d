// SPDX-License-Identifier: MIT
// `qel tour`: a short walk through what the library can make, each shape
// followed by its summary (point sets, then a mesh), and one refused request with the library's message.
#include <cmath>
#include <cstdio>

#include "MeshFiles.h"
#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;
using QEL::Elements::CPoint3;
using QEL::Elements::CVector3;

namespace QEL::Tool {

void AddTourCommand(CLI::App& app) {
    auto* tour = app.add_subcommand("tour", "Create several shapes and print their summaries");
    tour->callback([] {
        CPointSet set;
        CPointSet_Create create(set);
        std::printf("$ qel create sphere --centre 0,0,0 --spacing 1 --radius 2\n");
        create.Sphere(CPoint3<double>(0, 0, 0), 1.0, 2.0);
        PrintPointSetSummary("sphere", set);
        std::printf("\n$ qel create cylinder --start 0,0,0 --end 0,0,10 --spacing 0.5 --radius 2\n");
        create.Cylinder(CPoint3<double>(0, 0, 0), CPoint3<double>(0, 0, 10), 0.5, 2.0);
        PrintPointSetSummary("cylinder", set);
        std::printf("\n$ qel create torus --axis 1,1,0 --spacing 0.25 --minor-radius 1 --major-radius 4\n");
        create.Torus(CPoint3<double>(0, 0, 0), CVector3<double>(1, 1, 0), 0.25, 1.0, 4.0);
        PrintPointSetSummary("torus", set);
        std::printf("\n$ qel create cuboid --corner 0,0,0 --opposite 4,3,2 --spacing 0.5\n");
        create.Cuboid(CPoint3<double>(0, 0, 0), CPoint3<double>(4, 3, 2), 0.5);
        PrintPointSetSummary("cuboid", set);
        std::printf("\n$ qel create matrix --heights \"0,1,0;1,2,1;0,1,0\"\n");
        double const heights[] = {0, 1, 0, 1, 2, 1, 0, 1, 0};
        create.FromMatrix(CQEL_Matrix(3, 3, heights), 0.0, 0.0);
        PrintPointSetSummary("matrix", set);
        std::printf(
            "\n$ qel create profile-intersections --source-sphere 5,0.5 --direction 1,0,0 "
            "--second-vector 0,1,0 --spacing 1\n");
        CPointSet sphere;
        CPointSet_Create(sphere).Sphere(CPoint3<double>(0, 0, 0), 0.5, 5.0);
        create.ProfileIntersections(sphere, CVector3<double>(1, 0, 0), CVector3<double>(0, 1, 0), 1.0);
        PrintPointSetSummary("profile-intersections", set);
        std::printf("\n$ qel mesh torus --major-radius 4 --minor-radius 1 --size 0.5\n");
        CTriangulation mesh;
        CTriangulation_Create(mesh).Torus(CPoint3<double>(0, 0, 0), CVector3<double>(0, 0, 1), 4.0, 1.0, 0.5);
        PrintMeshSummary("torus", mesh);
        std::printf(
            "\n$ qel create sphere --spacing 1 --radius 1.5    (refused: radius below twice the spacing)\n");
        try {
            create.Sphere(CPoint3<double>(0, 0, 0), 1.0, 1.5);
        } catch (CQEL_Exception const& e) {
            std::printf("error: %s\n", e.what());
        }
    });
}

}  // namespace QEL::Tool

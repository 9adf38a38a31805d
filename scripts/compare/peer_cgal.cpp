// SPDX-License-Identifier: MIT
// CGAL: IO::read_polygon_soup (its STL reader welds equal points), then
// polygon_soup_to_polygon_mesh into a Surface_mesh (half-edges).
#include <CGAL/IO/polygon_soup_io.h>
#include <CGAL/Polygon_mesh_processing/polygon_soup_to_polygon_mesh.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>

#include <array>
#include <stdexcept>
#include <vector>

#include "PeerTiming.h"

using Kernel = CGAL::Simple_cartesian<double>;

int main(int argc, char** argv) {
    return QEL::Compare::Main(argc, argv, [](char const* path) {
        std::vector<Kernel::Point_3> points;
        std::vector<std::array<std::size_t, 3>> triangles;
        if (!CGAL::IO::read_polygon_soup(path, points, triangles))
            throw std::runtime_error("read_polygon_soup failed");
        CGAL::Surface_mesh<Kernel::Point_3> mesh;
        CGAL::Polygon_mesh_processing::polygon_soup_to_polygon_mesh(points, triangles, mesh);
        return QEL::Compare::SCounts{mesh.number_of_vertices(), mesh.number_of_faces()};
    });
}

// SPDX-License-Identifier: MIT
// `qel section MESH --plane POINT,NORMAL [--offset D] -o profile.asc`: the
// sections of a mesh cut by a plane, one section per connected piece (closed
// pieces repeat their first point at the end), offset within the plane.
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "CommandOptions.h"
#include "MeshFiles.h"
#include "PointFiles.h"
#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;

namespace QEL::Tool {

void AddSectionCommand(CLI::App& app) {
    auto* section = app.add_subcommand("section", "Cut a mesh by a plane into ordered profiles");
    static std::string mesh, plane, output, key;
    static double offset = 0.0;
    section->add_option("MESH", mesh, "The mesh file (any mesh format the tool reads, or a .qel container)")
        ->required();
    section->add_option("--plane", plane, "The cutting plane as x,y,z,nx,ny,nz: a point on it and its normal")
        ->required();
    section
        ->add_option("--offset", offset,
                     "Move every point this far within the plane, to the left of the direction of "
                     "travel seen from the normal's side (inwards on an outward-facing solid)")
        ->capture_default_str();
    section->add_option("-o,--output", output, "The point file to write the profiles to (.qel, .asc, ...)")
        ->required();
    section->add_option("--key", key, "The key of an enciphered .qel input, and to encipher the output");
    section->callback([] {
        std::vector<double> const values = ParseNumbers(plane, "--plane");
        if (values.size() != 6) throw CLI::ValidationError("--plane", "expects x,y,z,nx,ny,nz");
        CVector3<double> const normal(values[3], values[4], values[5]);
        if (!(normal.Mag() > 0.0)) throw CLI::ValidationError("--plane", "the normal must not be zero");
        auto const source = ReadMesh(mesh, key);
        CPointSet profile;
        CPointSet_Create(profile).TriangulationProfile(
            *source, CPlane3d(CPoint3<double>(values[0], values[1], values[2]), normal), offset);
        int closed = 0;
        for (int s = 0; s < profile.GetNumSec(); ++s) {
            auto const pts = profile.get_Sec(s).GetPtsArray();
            if (pts.Count() > 2 && CPoint3<double>(pts.Front()) == CPoint3<double>(pts.Back())) ++closed;
        }
        std::printf("%s: %d section%s (%d closed, %d open), %d points\n", mesh.c_str(), profile.GetNumSec(),
                    profile.GetNumSec() == 1 ? "" : "s", closed, profile.GetNumSec() - closed,
                    profile.GetNumPts());
        WritePointSets(output, {&profile}, key, false, 17);
        std::printf("written to %s%s\n", output.c_str(), key.empty() ? "" : " (enciphered)");
    });
}

}  // namespace QEL::Tool

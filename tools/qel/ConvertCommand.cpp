// SPDX-License-Identifier: MIT
#include <cstdio>
#include <string>
#include <vector>

#include "CurveFiles.h"
#include "MeshFiles.h"
#include "PointFiles.h"
#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;

namespace QEL::Tool {

void AddConvertCommand(CLI::App& app) {
    auto* convert = app.add_subcommand("convert",
                                       "Convert point sets between .qel, .asc, .dat, .bin, .cut, .xyz, .txt, "
                                       ".pts, .ply, .obj and .off, meshes "
                                       "between .qel, .stl, .tri, .raw, .ply, .obj and .off "
                                       "(by the files' extensions)");
    static std::string in, out, key;
    static bool append = false;
    static int digits = 6;
    static int samples = 100;
    convert->add_option("IN", in, "The file to read")->required();
    convert->add_option("OUT", out, "The file to write")->required();
    convert->add_option("--key", key, "The key of an enciphered .qel input, or to encipher a .qel output");
    convert->add_flag("--append", append, "Append to a point file instead of replacing it");
    convert->add_option("--digits", digits, "Significant digits of text values (1 to 17; 17 is exact)")
        ->check(CLI::Range(1, 17));
    convert->add_option("--samples", samples, "Points per curve when curves become point sections")
        ->check(CLI::Range(2, 100000000))
        ->capture_default_str();
    convert->callback([] {
        if (ConvertMeshes(in, out, key)) return;
        if (ConvertCurves(in, out, key, samples)) return;
        // A container's key opens the input; an output container takes the same key.
        std::string const inKey = IsContainer(in) ? key : std::string();
        std::string const outKey = IsContainer(out) ? key : std::string();
        auto const sets = ReadPointSets(in, inKey);
        std::vector<CPointSet const*> list;
        long long points = 0, sections = 0;
        for (auto const& set : sets) {
            list.push_back(set.get());
            points += set->GetNumPts();
            sections += set->GetNumSec();
        }
        if (list.empty()) throw std::runtime_error(in + " holds no point set");
        WritePointSets(out, list, outKey, append, digits);
        std::printf("%s -> %s: %zu point set%s, %lld section%s, %lld point%s%s\n", in.c_str(), out.c_str(),
                    list.size(), list.size() == 1 ? "" : "s", sections, sections == 1 ? "" : "s", points,
                    points == 1 ? "" : "s", outKey.empty() ? "" : " (enciphered)");
    });
}

}  // namespace QEL::Tool

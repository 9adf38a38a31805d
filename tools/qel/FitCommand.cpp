// SPDX-License-Identifier: MIT
// `qel fit SCANS --degree 3 [--parameterisation chord|centripetal|knots|uniform]
// [--approximate N] -o curves.qel`: one curve per section of a point file,
// through its points or, with --approximate, closest to them with N control
// points; per curve the control points and the largest and mean distance
// of its scan points from it.
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>

#include "CurveFiles.h"
#include "PointFiles.h"
#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;

namespace QEL::Tool {

void AddFitCommand(CLI::App& app) {
    auto* fit = app.add_subcommand("fit", "Fit one NURBS curve per section (scan line) of a point file");
    static std::string scans, output, key, parameterisation = "chord";
    static int degree = 3, approximate = 0;
    static std::map<std::string, int> const codes = {{"chord", CNURBS_Curve_Create::ChordLength},
                                                     {"centripetal", CNURBS_Curve_Create::Centripetal},
                                                     {"knots", CNURBS_Curve_Create::BasisMaxima},
                                                     {"uniform", CNURBS_Curve_Create::Uniform}};
    fit->add_option("SCANS", scans, "The point file (.qel, .asc, .dat, .bin, .cut)")->required();
    fit->add_option("--degree", degree, "Degree of the curves")->capture_default_str();
    fit->add_option("--parameterisation", parameterisation,
                    "Parameters of the scan points: chord, centripetal, knots (each at the peak of its "
                    "basis function on uniform knots) or uniform")
        ->check(CLI::IsMember({"chord", "centripetal", "knots", "uniform"}))
        ->capture_default_str();
    fit->add_option("--approximate", approximate,
                    "Least squares with this many control points per curve instead of interpolation")
        ->check(CLI::PositiveNumber);
    fit->add_option("-o,--output", output, "The .qel file to write the curves to");
    fit->add_option("--key", key, "The key of an enciphered .qel input, and to encipher the output");
    fit->callback([] {
        auto const sets = ReadPointSets(scans, IsContainer(scans) ? key : std::string());
        CQEL_ObjectList<CNURBS_Curve> curves;
        std::vector<CPointSet_Section const*> sections;
        for (auto const& set : sets)
            for (int s = 0; s < set->GetNumSec(); ++s)
                sections.push_back(&set->get_Sec(s));
        if (sections.empty()) throw std::runtime_error(scans + " holds no section");
        for (auto const& set : sets) {
            if (approximate > 0)
                CNURBS_Curve_Create::ApproximateScans(*set, approximate, &curves, degree);
            else
                CNURBS_Curve_Create::InterpolateScans(*set, &curves, degree, codes.at(parameterisation));
        }
        std::printf("%s: %d curve%s of degree %d (%s)\n", scans.c_str(), curves.GetNum(),
                    curves.GetNum() == 1 ? "" : "s", degree,
                    approximate > 0
                        ? ("least squares, " + std::to_string(approximate) + " control points").c_str()
                        : ("interpolation, " + parameterisation + " parameters").c_str());
        std::printf("%6s %10s %14s %16s %16s\n", "curve", "points", "control points", "largest distance",
                    "mean distance");
        std::vector<CNURBS_Curve const*> written;
        for (int c = 0; c < curves.GetNum(); ++c) {
            SDistances const d = DistancesFrom(curves[c], *sections[std::size_t(c)]);
            std::printf("%6d %10d %14d %16.6g %16.6g\n", c, sections[std::size_t(c)]->GetNumPts(),
                        curves[c].GetNumCtrl(), d.largest, d.mean);
            written.push_back(&curves[c]);
        }
        if (!output.empty()) {
            WriteCurves(output, written, key);
            std::printf("written to %s%s\n", output.c_str(), key.empty() ? "" : " (enciphered)");
        }
    });
}

}  // namespace QEL::Tool

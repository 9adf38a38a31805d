// SPDX-License-Identifier: MIT
// Curves for the tool's subcommands: reading and writing NURBS curves in
// ".qel" containers, their summary, the distance report of a fit, and
// sampling curves into point sections.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qel.h"

namespace QEL::Tool {

using CurveList = std::vector<std::unique_ptr<QEL::Core::CNURBS_Curve>>;

// The curves of a container, in file order (none for any other file).
// Throws std::runtime_error when the key does not open the container.
CurveList ReadCurves(std::string const& path, std::string const& key);

// Writes the curves into one container (enciphered with key when it is not
// empty); the file is replaced only when the write succeeds.
void WriteCurves(std::string const& path, std::vector<QEL::Core::CNURBS_Curve const*> const& curves,
                 std::string const& key);

// Degree, control points, knots, closed, rational, parameter range, length
// and bounding box of a curve.
void PrintCurveSummary(std::string const& title, QEL::Core::CNURBS_Curve const& curve);

// The largest and mean distance of points from curve, each point projected
// by the curve's closest-point finder.
struct SDistances {
    double largest = 0.0;
    double mean = 0.0;
};
SDistances DistancesFrom(QEL::Core::CNURBS_Curve const& curve, QEL::Core::CPointSet_Section const& points);

// `qel info` for curves: a summary of each curve of a container; false when it holds none.
bool ShowCurves(std::string const& path, std::string const& key);

// `qel convert` for curves: when the input container holds curves, writes
// them as point sections (samples points each at equal parameter steps, ends
// included) to out, any point format or a container, and returns true.
// False when the input holds no curve.
bool ConvertCurves(std::string const& in, std::string const& out, std::string const& key, int samples);

}  // namespace QEL::Tool

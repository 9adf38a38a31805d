// SPDX-License-Identifier: MIT
// The subcommands of the qel tool. Each lives in its own file and adds itself
// to the application; main.cpp only wires them up.
#pragma once

#include <CLI/CLI.hpp>

#include "qel.h"

namespace QEL::Tool {

// `qel about`: the version and what this build can do.
void AddAboutCommand(CLI::App& app);
// `qel create <shape> [options]`: one point set creation and its summary.
void AddCreateCommand(CLI::App& app);
// `qel mesh <shape> [options]`: one triangulation construction (solids,
// discs, sweeps, offsets; MeshCommand.h), its summary and its file. Returns
// the command so that further shapes join it (MeshShape).
CLI::App& AddMeshCommand(CLI::App& app);
// `qel tour`: creates several shapes and prints their summaries.
void AddTourCommand(CLI::App& app);

// Sections, points, attributes, bounding box, centre of mass and memory of set.
void PrintPointSetSummary(char const* shape, QEL::Core::CPointSet const& set);
// `qel info FILE [--key KEY]`: what a file holds.
void AddInfoCommand(CLI::App& app);
// `qel convert IN OUT [--key KEY] [--append]`: between point formats and .qel.
void AddConvertCommand(CLI::App& app);
// `qel create curve-line|curve-arc|curve-net`: the curve shapes of `qel create` (CreateCurveCommand.cpp).
void AddCurveShapes(CLI::App& create);
// `qel fit SCANS --degree 3 [--parameterisation ...] [--approximate N] -o curves.qel`.
void AddFitCommand(CLI::App& app);
void AddSectionCommand(CLI::App& app);

}  // namespace QEL::Tool

// SPDX-License-Identifier: MIT
// The subcommands of the qel tool. Each lives in its own file and adds itself
// to the application; main.cpp only wires them up.
#pragma once

#include <CLI/CLI.hpp>

namespace QEL::Tool {

// `qel about`: the version and what this build can do.
void AddAboutCommand(CLI::App& app);
// `qel info FILE [--key KEY]`: what a file holds.
void AddInfoCommand(CLI::App& app);

}  // namespace QEL::Tool

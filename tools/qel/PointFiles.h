// SPDX-License-Identifier: MIT
// Reading and writing point sets by file name for the tool's subcommands:
// ".qel" containers and the point formats of the library's format table.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qel.h"

namespace QEL::Tool {

// The point sets of a file: every point set of a container, or the one set
// of a point file. Throws std::runtime_error for an unknown extension, a
// missing file or a key that does not open a container.
std::vector<std::unique_ptr<QEL::Core::CPointSet>> ReadPointSets(std::string const& path,
                                                                 std::string const& key);

// Writes the sets to a file: into one container (enciphered with key when
// it is not empty), or one after another into a point file, the first with
// append, the others always appended. Throws std::runtime_error as above.
void WritePointSets(std::string const& path, std::vector<QEL::Core::CPointSet const*> const& sets,
                    std::string const& key, bool append, int significantDigits);

// True for a ".qel" path.
bool IsContainer(std::string const& path);

// "def nms err", the attribute names of flags.
std::string AttributeNames(QEL::Core::CPtsData flags);

}  // namespace QEL::Tool

// SPDX-License-Identifier: MIT
// `qel mesh <shape>`: the shapes of the mesh command and the builder with
// which each file adds its own. A shape names its options (points and
// vectors as x,y,z, numbers, counts, texts), says what it does with a
// CTriangulation_Create bound to a fresh triangulation, and the command then
// prints the mesh's summary (as `qel info` does) and writes it with -o in
// any mesh format by extension, or into a .qel container (--key enciphers).
//
//     MeshShape(mesh, "sphere", "Sphere from a split octahedron")
//         .Point("centre", "Centre x,y,z", "0,0,0")
//         .Number("radius", "Radius")
//         .Does([](CTriangulation_Create& c, SMeshOptions const& o) { ... });
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <string>

#include "CommandOptions.h"
#include "qel.h"

namespace QEL::Tool {

// The values of one shape's options (CommandOptions.h) and its profiles.
struct SMeshOptions : SShapeValues {
    // The one-section point set of --<name> ("x,y,z;x,y,z;...") or the
    // first point set of the point file --<name>-file.
    QEL::Core::CPointSet Profile(std::string const& name) const;
};

using MeshAction = std::function<void(QEL::Core::CTriangulation_Create&, SMeshOptions const&)>;

class CMeshShape {
  public:
    CMeshShape(CLI::App& mesh, char const* name, char const* description);

    // A point or vector option; without fallback it is required.
    CMeshShape& Point(char const* name, char const* description, char const* fallback = nullptr);
    CMeshShape& Number(char const* name, char const* description, double const* fallback = nullptr);
    CMeshShape& Count(char const* name, char const* description, int const* fallback = nullptr);
    // A text option (a file, a list); fallback "" makes it optional.
    CMeshShape& Text(char const* name, char const* description, char const* fallback = nullptr);
    // --<name> "x,y,z;..." or --<name>-file FILE, exactly one of them.
    CMeshShape& Profile(char const* name, char const* description);
    CMeshShape& Does(MeshAction action);

  private:
    void Run();

    char const* m_name;
    CLI::App* m_app = nullptr;
    SMeshOptions m_options;
    std::string m_output, m_key;
    MeshAction m_action;
};

// A shape of `qel mesh`, kept for the life of the program.
CMeshShape& MeshShape(CLI::App& mesh, char const* name, char const* description);

}  // namespace QEL::Tool

// SPDX-License-Identifier: MIT
// Meshes for the tool's subcommands: reading and writing triangulations by
// file name (".stl", ".tri", ".raw", ".ply", ".obj", ".off" with faces and ".qel" containers), their summary,
// and the refusals when a mesh is asked to become a point file or back.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qel.h"

namespace QEL::Tool {

// True for ".stl", ".tri" and ".raw" paths (any case), and ".ply", ".obj", ".off" files with faces.
bool IsMeshFile(std::string const& path);

// `qel convert` for meshes: handles the request and returns true when either
// side is a mesh file or the input container holds triangulations; throws
// std::runtime_error naming what would work when a mesh is asked to become
// a point file or a point set a mesh file. False: not a mesh conversion.
bool ConvertMeshes(std::string const& in, std::string const& out, std::string const& key);

// `qel info` for meshes: summarises every triangulation of a mesh file or
// container (vertices, triangles, what the assembler merged and dropped,
// boundary edges and loops, components, closed or open, non-manifold edges,
// bounding box, surface area, enclosed volume). False when the file holds
// none.
bool ShowMeshes(std::string const& path, std::string const& key);

// The summary of ShowMeshes for one mesh, with what the assembler did when
// it was read through it (assembled not null).
void PrintMeshSummary(std::string const& title, QEL::Core::CTriangulation const& mesh,
                      QEL::Core::SAssemblyReport const* assembled = nullptr);

// The first triangulation of a mesh file or container. Throws
// std::runtime_error when there is none or the file cannot be read.
std::unique_ptr<QEL::Core::CTriangulation> ReadMesh(std::string const& path, std::string const& key);

// Writes one mesh by the path's extension: any triangle format of the
// library's table, or a ".qel" container (enciphered with key when it is not
// empty). Throws std::runtime_error for another extension, a key for a plain
// file, or a failed write.
void WriteMesh(std::string const& path, QEL::Core::CTriangulation const& mesh, std::string const& key);

}  // namespace QEL::Tool

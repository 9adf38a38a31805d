// SPDX-License-Identifier: MIT
// CPlyParser: point sets and triangulations in PLY files (".ply").
//
// Reading takes ASCII, binary little-endian and binary big-endian files with
// properties of any type (char, uchar, short, ushort, int, uint, float,
// double and their int8 .. float64 names) and elements in any order;
// elements other than "vertex" and "face", and properties not named below,
// are skipped. Vertex properties map to point attributes by name:
//   x y z                              positions (required)
//   nx ny nz, normal_x normal_y normal_z normals
//   red green blue, r g b, diffuse_red diffuse_green diffuse_blue
//                                      colours; integer types are scaled to
//                                      0..1 by their largest value (255 for
//                                      uchar), floating types kept as they are
//   u v, s t, texture_u texture_v      parameter pairs
//   cpx cpy cpz                        associated points
//   cnx cny cnz                        associated normals
//   error, quality, intensity, scalar_error, scalar_quality,
//   scalar_intensity, confidence       errors (the first of them present)
//   velocity, scalar_velocity          velocities
//   index                              indices
//   status                             statuses
// Faces are the "face" element's list "vertex_indices" (or "vertex_index"):
// each polygon becomes a fan of triangles around its first corner, which is
// right for convex polygons only; polygons of fewer than three corners are
// skipped with a warning. The triangles go through the triangle assembler
// (CTriangulation_Merge_Parts), vertex positions as floats; a triangulation
// takes positions only. Reading a point set takes the vertices into a new
// section of the target (a file's faces are then ignored with a warning);
// reading a triangulation from a file without faces gives its vertices alone.
//
// Writing gives binary little-endian by default, ASCII on request. A point
// set's sections become one vertex element with every attribute that any
// section carries (a section without one writes its default values), in the
// names above (colours as uchar red green blue, rounded from 0..1; errors as
// "error", indices int, statuses short); positions and other values as
// doubles (floats on request). A triangulation writes its vertices and a
// face element of "vertex_indices" lists (uchar count, int items).
//
// Counts in the header are checked against the file's size before anything
// is allocated. Readers and writers return false when the file cannot be
// opened; a damaged file throws CQEL_Exception reason 23 saying what is
// wrong (reason 19 for a version other than 1.0), reason 24 when writing
// fails, reason 15 for a point set too large for the target. Writers write
// beside the target and rename over it.
#pragma once

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "operations/triangulation/CTriangulation_Merge_Parts.h"

namespace QEL::Core {

class CPointSet;
class CTriangulation;

struct SPlyOptions {
    bool ascii = false;          // else binary little-endian
    bool floatValues = false;    // positions and other real values as float, else double
    int significantDigits = 17;  // of ASCII values, 1 to 17 (else reason 5 "significantDigits")
};

class QEL_API CPlyParser {
  public:
    static bool ReadPointSet(CQEL_String const& path, CPointSet* target);
    static bool WritePointSet(CQEL_String const& path, CPointSet const& source,
                              SPlyOptions const& options = {});

    // report, when not null, receives the assembler's report.
    static bool ReadTriangulation(CQEL_String const& path, CTriangulation* target,
                                  SAssemblyOptions const& assembly = {}, SAssemblyReport* report = nullptr);
    static bool WriteTriangulation(CQEL_String const& path, CTriangulation const& source,
                                   SPlyOptions const& options = {});

    // True when the file's header announces faces (it is a mesh rather than
    // points); false when it announces none or the file cannot be opened.
    // Reads the header only; a damaged header throws as the readers do.
    static bool HoldsFaces(CQEL_String const& path);
};

}  // namespace QEL::Core

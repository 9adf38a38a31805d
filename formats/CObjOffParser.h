// SPDX-License-Identifier: MIT
// CObjOffParser: triangulations and point sets in Wavefront OBJ (".obj")
// and OFF (".off") files.
//
// OBJ: "v x y z" (a fourth value is ignored) gives the vertices, "f" the
// faces with corners "v", "v/vt", "v//vn" or "v/vt/vn", indices from 1, or
// negative for counting back from the last vertex read so far. "vn" normals
// become the point set's normals when there are as many as vertices; "vt",
// "l", "p", and the groups, objects, smoothing and materials ("g", "o", "s",
// "usemtl", "mtllib") are ignored with one warning naming what was.
// OFF: "OFF" (or "COFF", "NOFF", "CNOFF", whose extra values per vertex are
// ignored), the counts of vertices, faces and edges, one vertex per line (its
// first three numbers), one face per line ("n i0 i1 ..", indices from 0,
// trailing colour values ignored); "#" starts a comment in both formats.
//
// Polygons become fans of triangles around their first corner (right for
// convex polygons only) through the triangle assembler, vertex positions as
// floats; faces of fewer than three corners are skipped with a warning. A
// file read as a point set gives its vertices as one new section. Numbers are
// read as the point readers read them; an index outside the vertices, a face
// or vertex line without its numbers, or OFF counts that the file's size
// cannot hold give reason 23 naming the line. Readers and writers return
// false when the file cannot be opened; writers write beside the target and
// rename over it, with 17 significant digits, and point sets write their
// vertices alone (OBJ "v" and, with normals, "vn" lines).
#pragma once

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "operations/triangulation/CTriangulation_Merge_Parts.h"

namespace QEL::Core {

class CPointSet;
class CTriangulation;

class QEL_API CObjOffParser {
  public:
    // report, when not null, receives the assembler's report.
    static bool ReadOBJ(CQEL_String const& path, CTriangulation* target,
                        SAssemblyOptions const& assembly = {}, SAssemblyReport* report = nullptr);
    static bool ReadOFF(CQEL_String const& path, CTriangulation* target,
                        SAssemblyOptions const& assembly = {}, SAssemblyReport* report = nullptr);
    static bool WriteOBJ(CQEL_String const& path, CTriangulation const& source);
    static bool WriteOFF(CQEL_String const& path, CTriangulation const& source);

    static bool ReadOBJPoints(CQEL_String const& path, CPointSet* target);
    static bool ReadOFFPoints(CQEL_String const& path, CPointSet* target);
    static bool WriteOBJPoints(CQEL_String const& path, CPointSet const& source);
    static bool WriteOFFPoints(CQEL_String const& path, CPointSet const& source);

    // True when the file holds faces (it is a mesh rather than points); false
    // when it holds none or cannot be opened.
    static bool HoldsFaces(CQEL_String const& path);
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CTriangulation_QELParser: the triangulation's record of the native
// container (formats/CQELParser.h; layout byte by byte in docs/qel-format.md).
//
// The record is a sequence of chunks (8-byte tag padded with spaces, 32-bit
// byte count, bytes), all numbers little-endian:
//   "NAME    "  the entity's name (UTF-8, no terminator)
//   "TRISHEAD"  16 bytes: vertex count V, triangle count T (int32 each),
//               the stored vertex and triangle attribute flags (uint32 each)
//   "VERTICES"  V x 24: x, y, z doubles
//   "CORNERS "  T x 12: the vertex index of edges 0, 1, 2 (int32, -1: none)
//   "PAIRS   "  T x 12: the paired half-edge of edges 0, 1, 2 as its global
//               number 3 x triangle + edge (int32, -1: boundary)
//   "VEDGES  "  V x 4: each vertex's vertex edge, a global half-edge number
//               (int32, -1: none)
//   one chunk per stored attribute the header lists, under the tag of the
//   attribute tables of entities/CTrisData.h, V or T elements of the
//   attribute's size
//   "METADATA"  the entity's user data, when there are any
// Connectivity is stored as it is, so that a mesh comes back identical
// without welding or pairing again. Computed attributes (triangle normals
// and centres) and user pointers are never stored. The index block carries
// V (field 1) and T (field 2).
#pragma once

#include "core/QEL_Export.h"

namespace QEL::Core {

class CExportData;
class CImportData;
class CTriangulation;

class QEL_API CTriangulation_QELParser {
  public:
    // The record's type name.
    static constexpr char kTypeName[] = "QEL_Triangulation";

    // Writes mesh's record into data (type name, index fields and chunks).
    // Vertex positions and attributes are borrowed from the mesh's arrays
    // until the export returns; corners, pairs and vertex edges are written
    // as indices (16 + 28 bytes per triangle and vertex of the record's own).
    static void Serialise(CTriangulation const& mesh, CExportData* data);
    // Replaces mesh's contents with the record in data. Every count and index
    // is checked against the record and the element counts before use:
    // a missing or repeated chunk, a chunk whose size does not fit the counts,
    // an index out of range, a pair that is not mutual or does not join the
    // same two vertices in opposite directions, or a vertex edge that does
    // not start at its vertex throws reason 23 with a message naming the
    // record and the chunk; mesh is then left empty. Chunks of unknown tags
    // are skipped.
    static void Deserialise(CTriangulation& mesh, CImportData* data);
};

}  // namespace QEL::Core

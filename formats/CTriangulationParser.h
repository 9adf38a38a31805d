// SPDX-License-Identifier: MIT
// CTriangulationParser: triangulations in the plain triangle formats.
//
//   STL   binary (80-byte header, 32-bit triangle count, 50-byte records:
//         normal, three corners as floats, attribute word) or ASCII ("vertex"
//         followed by three numbers, three corners a triangle). Read both,
//         written binary. A file is binary when any of its first 1000 bytes
//         has the high bit set, else ASCII.
//   .tri  binary: "version_info=" and a zero byte, version 1, vertex and
//         triangle counts (signed 32-bit), the vertices (three floats each),
//         the triangles (three signed 32-bit vertex indices each). A file
//         may hold several such triangulations one after another.
//   .raw  text: per triangle one line of its nine corner coordinates; read as
//         any whitespace-separated numbers, three a point, three points a
//         triangle (one or two points left over: warning "Inconsistent point
//         set", and they are ignored).
//
// Every reader hands its triangles to the triangle assembler
// (CTriangulation_Merge_Parts: exact weld, degenerate triangles dropped,
// non-manifold and misoriented edges left unpaired) and the report of the
// last read stays available through GetLastReport. Readers report
// "  Number of points = %d" and "  Number of triangles = %d", and each
// operation its time ("STL import took = ", "STL export took = ",
// "TRI import took = ", "TRI export took = ", "RAW import took = ",
// "RAW export took = ") through CQEL_Output_Events.
//
// All calls return false when the file cannot be opened, and ReadSTLFile
// also when a binary file is shorter than 84 bytes or its size is not
// 84 + 50 x its count; the target is then untouched. Other failures throw
// CQEL_Exception located at the operation ("QEL::Core::CTriangulationParser::
// ReadSTLFile", ...): reason 0 with "Null Pointer" for a null target
// ("pTris", "pTrisList"), reason 19 "Unsupported file version" for a ".tri"
// header, reason 23 for a damaged file (a count or an index that the file
// cannot hold, an ASCII "vertex" without three numbers, a read failure),
// reason 24 when writing fails. Writers write beside the target and rename
// over it, so a failing write leaves the previous file as it was. Paths are
// UTF-8.
#pragma once

#include "core/CQEL_ObjectList.h"
#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "operations/triangulation/CTriangulation_Merge_Parts.h"

namespace QEL::Core {

class CTriangulation;

class QEL_API CTriangulationParser {
  public:
    CTriangulationParser() = default;

    bool ReadSTLFile(CQEL_String const& path, CTriangulation* pTris);
    // header: empty for "STL created by QEL"; else converted to ASCII and cut at 80 bytes.
    bool WriteSTLFile(CQEL_String const& path, CTriangulation const& tris, CQEL_String const& header);
    // Appends one triangulation per one found in the file.
    bool ReadTRIFile(CQEL_String const& path, CQEL_ObjectList<CTriangulation>* pTrisList);
    bool WriteTRIFile(CQEL_String const& path, CTriangulation const& tris);
    bool ReadRAWFile(CQEL_String const& path, CTriangulation* pTris);
    // Six significant digits per coordinate.
    bool WriteRAWFile(CQEL_String const& path, CTriangulation const& tris);
    // PLY (formats/CPlyParser.h): polygons as fans, written binary.
    bool ReadPLYFile(CQEL_String const& path, CTriangulation* pTris);
    bool WritePLYFile(CQEL_String const& path, CTriangulation const& tris);
    // OBJ and OFF (formats/CObjOffParser.h), with the assembly options and report.
    bool ReadOBJFile(CQEL_String const& path, CTriangulation* pTris);
    bool ReadOFFFile(CQEL_String const& path, CTriangulation* pTris);

    // How the readers assemble (tolerance); announce is kept.
    void SetAssemblyOptions(SAssemblyOptions const& options) { m_options = options; }
    SAssemblyOptions const& GetAssemblyOptions() const { return m_options; }
    // What the assembler did in the last successful read (for ".tri" files
    // with several triangulations: summed over them).
    SAssemblyReport const& GetLastReport() const { return m_lastReport; }

  private:
    SAssemblyOptions m_options;
    SAssemblyReport m_lastReport;
};

// The table from file extension to reader and writer. The reader fills one
// triangulation (of a ".tri" file with several: the first, with a warning).
struct STriangleFormat {
    char const* extension;  // with the dot, lower case: ".stl"
    char const* description;
    bool (*read)(CTriangulationParser& parser, CQEL_String const& path, CTriangulation* target);
    bool (*write)(CTriangulationParser& parser, CQEL_String const& path, CTriangulation const& source);
};

// The triangle format of path's extension (case-insensitive), or null.
QEL_API STriangleFormat const* FindTriangleFormat(CQEL_String const& path);
// All triangle formats: count entries.
QEL_API STriangleFormat const* GetTriangleFormats(int& count);

}  // namespace QEL::Core

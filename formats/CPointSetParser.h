// SPDX-License-Identifier: MIT
// CPointSetParser: point sets in the plain point formats.
//
//   ".dat"  text, one point per line: "x y z". Sections are not marked and
//           attributes other than positions are not written; a file reads
//           back as one section.
//   ".asc"  text; each section starts with a header line "scan" followed by
//           its column names (" x y z", " i j k" for normals or associated
//           normals, " u v" for parameter pairs, " e" for error values), then
//           one line per point with those columns.
//   ".bin"  binary, 12 bytes per point: x, y, z as little-endian floats.
//           Sections are separated by a 12-byte marker of 0xFF bytes; with
//           append a marker comes before every section, the first included.
//   ".cut"  a machining path, one move per line: "x y z f" with the feed f:
//           the point's velocity times 60 when the section carries
//           velocities, else 1250.
//
// Readers add to the target without clearing it: ".dat" points join the
// target's last section, ".cut" moves its first; a ".bin" marker and an
// ".asc" "scan" line start a new section. Sections are made as their first
// point arrives: no reader adds an empty section. Text is read line by line; numbers are read as
// sscanf's "%lf" reads them, and a line with too few numbers is skipped with a
// warning counting such lines. After reading, each reader sends the text
// "  a total of %d points were read from the file" (".cut" also "  a total of
// %d moves were read from the file"; ".dat" also its time, "Time to import
// took = <milliseconds>") through CQEL_Output_Events, and progress texts for files
// that take more than a quarter of a second.
//
// Writers write beside the target and rename over it (or, with append, cut an
// appended file back to its old length), so a failing write leaves the
// previous file as it was. Text values are written as printf's "%g" with the
// options' significant digits (6 by default, as a C++ stream does; 17 keeps
// every double exactly).
//
// Paths are UTF-8. Readers and writers return false when the file cannot be
// opened; other failures throw CQEL_Exception located at the operation
// ("QEL::Core::CPointSetParser::ReadASCFile", ...): reason 0 for a null
// target, reason 23 for a damaged file (a ".bin" length that is not a
// multiple of 12, a line longer than 1 MiB, a read failure), reason 24 when
// writing fails, reason 15 for a point set too large for the target.
#pragma once

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class CPointSet;
class CPointSet_Section;

// How text values are written.
struct SPointFileOptions {
    // Significant digits of each value, 1 to 17 (else reason 5 "significantDigits").
    int significantDigits = 6;
};

class QEL_API CPointSetParser {
  public:
    static bool ReadASCFile(CQEL_String const& path, CPointSet* target);
    static bool ReadDATFile(CQEL_String const& path, CPointSet* target);
    static bool ReadBINFile(CQEL_String const& path, CPointSet* target);
    static bool ReadCUTFile(CQEL_String const& path, CPointSet* target);

    static bool WriteASCFile(CQEL_String const& path, CPointSet const& source, bool append,
                             SPointFileOptions const& options = {});
    static bool WriteDATFile(CQEL_String const& path, CPointSet const& source, bool append,
                             SPointFileOptions const& options = {});
    static bool WriteBINFile(CQEL_String const& path, CPointSet const& source, bool append,
                             SPointFileOptions const& options = {});
    static bool WriteCUTFile(CQEL_String const& path, CPointSet const& source, bool append,
                             SPointFileOptions const& options = {});

  private:
    friend class CPointSectionAppender;
    // A new empty section at the end of set.
    static CPointSet_Section& AppendSection(CPointSet& set);
};

// The table from file extension to reader and writer.
struct SPointFormat {
    char const* extension;  // with the dot, lower case: ".asc"
    char const* description;
    bool (*read)(CQEL_String const& path, CPointSet* target);
    bool (*write)(CQEL_String const& path, CPointSet const& source, bool append,
                  SPointFileOptions const& options);
};

// The point format of path's extension (case-insensitive), or null.
QEL_API SPointFormat const* FindPointFormat(CQEL_String const& path);
// All point formats: count entries.
QEL_API SPointFormat const* GetPointFormats(int& count);

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CXyzPtsParser: point sets in the plain scan exports ".xyz" (also ".txt")
// and ".pts".
//
//   ".xyz"  one point per line, "x y z", or "x y z nx ny nz" with normals
//           (the first line with six numbers makes the section carry
//           normals; lines with three to five numbers then have none).
//   ".pts"  a line holding one number (the point count, checked against
//           the points read: a difference is a warning), then one point per
//           line: "x y z", "x y z i" (the intensity becomes the error
//           value), "x y z r g b" or "x y z i r g b" (colours 0..255, scaled
//           to 0..1). Further count lines start no new section.
//
// Each file reads into one new section; lines with fewer than three numbers
// are skipped with one warning counting them. Numbers go through the point
// readers' scanner, side by side in parts for large files. Writers write
// beside the target and rename over it with the options' significant digits;
// ".xyz" writes normals when every section carries them and may append,
// ".pts" writes the count line, the intensity (errors) and the colours
// (rounded to 0..255) when every section carries them, and refuses append
// (reason 5). Failures as the other point formats.
#pragma once

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "formats/CPointSetParser.h"

namespace QEL::Core {

class CPointSet;

class QEL_API CXyzPtsParser {
  public:
    static bool ReadXYZ(CQEL_String const& path, CPointSet* target);
    static bool WriteXYZ(CQEL_String const& path, CPointSet const& source, bool append,
                         SPointFileOptions const& options = {});
    static bool ReadPTS(CQEL_String const& path, CPointSet* target);
    static bool WritePTS(CQEL_String const& path, CPointSet const& source, bool append,
                         SPointFileOptions const& options = {});
};

}  // namespace QEL::Core

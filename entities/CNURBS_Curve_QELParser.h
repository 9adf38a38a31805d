// SPDX-License-Identifier: MIT
// CNURBS_Curve_QELParser: the NURBS curve's record of the native container
// (formats/CQELParser.h; layout byte by byte in docs/qel-format.md).
//
// The record is a sequence of chunks (8-byte tag padded with spaces, 32-bit
// byte count, bytes), all numbers little-endian:
//   "NAME    "  the entity's name (UTF-8, no terminator), when it has one
//   "NURBHEAD"  24 bytes: order, knot count, control point count (int32
//               each), flags (uint32: bit 0 closed, bit 1 periodic), the
//               current max deviation (double)
//   "KNOTS   "  knot count x 8: the knots, doubles
//   "CTRLPTS "  control point count x 32: x, y, z, w of each point as
//               stored (homogeneous), doubles
//   "METADATA"  the entity's user data, when there are any
// The index block carries the control point count (field 1) and the order
// (field 2).
#pragma once

#include "core/QEL_Export.h"

namespace QEL::Core {

class CExportData;
class CImportData;
class CNURBS_Curve;

class QEL_API CNURBS_Curve_QELParser {
  public:
    // The record's type name.
    static constexpr char kTypeName[] = "QEL_NURBSCurve";

    // Writes curve's record into data (type name, index fields and chunks).
    static void Serialise(CNURBS_Curve const& curve, CExportData* data);
    // Replaces curve's contents with the record in data. Every count is
    // checked against the record before use: a missing or repeated chunk, a
    // header whose counts disagree (order outside 2 .. 50 or -1, knots not
    // control points + order, fewer control points than the order), a chunk
    // whose size does not fit the counts, knots that are not finite and
    // non-decreasing, or control point values that are not finite throw
    // reason 23 with a message naming the record and the chunk; curve is then
    // left in the new state. Chunks of unknown tags are skipped.
    static void Deserialise(CNURBS_Curve& curve, CImportData* data);
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CPointSet_QELParser: the point set's record of the native container
// (formats/CQELParser.h; layout in docs/qel-format.md).
//
// The record is a sequence of chunks (8-byte tag padded with spaces, 32-bit
// byte count, bytes). For each section: "NAME    " (the set's name), then
// one chunk per attribute the section carries, in the order and with the tags
// of kPointAttributes (entities/CPtsData.h): "POINTS  " (x, y, z doubles per
// point) first, "NORMALS ", "CPOINTS ", "CNORMALS", "UVS     ", "COLOURS ",
// "ERRORS  ", "INDICES ", "VELS    ", "STATUSES"; vectors as their
// components in doubles, scalars as their own bytes. The set's user data
// follow the last section as "METADATA" when there are any. User pointers
// are never stored. A set without sections (and without user data) writes no
// chunk: the container refuses its empty record ("Array is empty"). The
// index block carries the number of sections (field 1) and of points (field 2).
#pragma once

#include <cstdint>

#include "core/QEL_Export.h"

namespace QEL::Core {

class CExportData;
class CImportData;
class CPointSet;
class CPointSet_Section;
struct SPointAttribute;

class QEL_API CPointSet_QELParser {
  public:
    // The record's type name.
    static constexpr char kTypeName[] = "QEL_PointSet";

    // Writes set's record into data (type name, index fields and chunks).
    // A section too large for a chunk (4 GiB) throws reason 24.
    static void Serialise(CPointSet const& set, CExportData* data);
    // Replaces set's contents with the record in data. Chunks of unknown tags
    // are skipped. A chunk whose size does not fit its section, or an
    // attribute chunk before any "POINTS  " chunk, throws reason 23 naming
    // the chunk; set is then left empty.
    static void Deserialise(CPointSet& set, CImportData* data);

  private:
    CPointSet_QELParser(CPointSet& set, CImportData& data);
    void Run();

    // The readers, each given the chunk's position and byte count.
    void DeserialiseNameData(std::int64_t position, std::int64_t bytes);
    void DeserialisePointsData(std::int64_t position, std::int64_t bytes);
    // Any other attribute of kPointAttributes.
    void DeserialiseAttributeData(SPointAttribute const& attribute, std::int64_t position,
                                  std::int64_t bytes);
    void DeserialiseUserData(std::int64_t position, std::int64_t bytes);

    // The current section, after checking that the chunk holds elementBytes per point.
    CPointSet_Section& Current(char const* tag, std::int64_t bytes, int elementBytes);

    CPointSet& m_set;
    CImportData& m_data;
    CPointSet_Section* m_section = nullptr;
};

}  // namespace QEL::Core

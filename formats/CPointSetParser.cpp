// SPDX-License-Identifier: MIT
// The table of point formats; the formats themselves are in
// CPointSetParser_Text.cpp and CPointSetParser_Bin.cpp.
#include "formats/CPointSetParser.h"

#include <iterator>
#include <string_view>

#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/CObjOffParser.h"
#include "formats/CPlyParser.h"
#include "formats/CXyzPtsParser.h"
#include "formats/QEL_TextNumbers.h"
#include "core/CQEL_Operation.h"

namespace QEL::Core {

CPointSet_Section& CPointSetParser::AppendSection(CPointSet& set) {
    return *set.InsertSectionAtIndex(new CPointSet_Section(), set.GetNumSec());
}

// --- the format table ------------------------------------------------------------------

namespace {

// A PLY file holds one vertex element, written whole: it cannot take more points after it.
bool WritePLY(CQEL_String const& path, CPointSet const& source, bool append,
              SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPlyParser::WritePointSet");
    return op.Run([&] {
        op.Check(!append, QEL_PARAMETER_OUT_OF_RANGE, "append", "PLY files cannot be appended to");
        SPlyOptions ply;
        ply.significantDigits = options.significantDigits;
        return CPlyParser::WritePointSet(path, source, ply);
    });
}

// OBJ and OFF files hold one list of vertices: they cannot take more after it.
template <bool (*Write)(CQEL_String const&, CPointSet const&)>
bool WriteWhole(CQEL_String const& path, CPointSet const& source, bool append,
                SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CObjOffParser::WritePoints");
    return op.Run([&] {
        op.Check(!append, QEL_PARAMETER_OUT_OF_RANGE, "append", "OBJ and OFF files cannot be appended to");
        op.CheckRange(options.significantDigits, 1, 17, "significantDigits");
        return Write(path, source);
    });
}

}  // namespace

SPointFormat const* GetPointFormats(int& count) {
    static SPointFormat const formats[] = {
        {".asc", "text with section headers and attribute columns", &CPointSetParser::ReadASCFile,
         &CPointSetParser::WriteASCFile},
        {".dat", "text, one point per line", &CPointSetParser::ReadDATFile, &CPointSetParser::WriteDATFile},
        {".bin", "binary single-precision points with section markers", &CPointSetParser::ReadBINFile,
         &CPointSetParser::WriteBINFile},
        {".cut", "machining path of moves with feed", &CPointSetParser::ReadCUTFile,
         &CPointSetParser::WriteCUTFile},
        {".ply", "PLY, ASCII or binary (written binary), vertices with their attributes",
         &CPlyParser::ReadPointSet, &WritePLY},
        {".obj", "Wavefront OBJ, vertices (and normals) as points", &CObjOffParser::ReadOBJPoints,
         &WriteWhole<&CObjOffParser::WriteOBJPoints>},
        {".xyz", "text, x y z with optional normals per line", &CXyzPtsParser::ReadXYZ,
         &CXyzPtsParser::WriteXYZ},
        {".txt", "text, x y z with optional normals per line", &CXyzPtsParser::ReadXYZ,
         &CXyzPtsParser::WriteXYZ},
        {".pts", "text, a count, then x y z with optional intensity and colour", &CXyzPtsParser::ReadPTS,
         &CXyzPtsParser::WritePTS},
        {".off", "OFF, vertices as points", &CObjOffParser::ReadOFFPoints,
         &WriteWhole<&CObjOffParser::WriteOFFPoints>},
    };
    count = int(std::size(formats));
    return formats;
}

SPointFormat const* FindPointFormat(CQEL_String const& path) {
    std::string_view const text = path.View();
    std::size_t const dot = text.rfind('.');
    if (dot == std::string_view::npos || text.find('/', dot) != std::string_view::npos) return nullptr;
    int count = 0;
    SPointFormat const* formats = GetPointFormats(count);
    for (int i = 0; i < count; ++i)
        if (Text::EqualsNoCase(text.substr(dot), formats[i].extension)) return &formats[i];
    return nullptr;
}

}  // namespace QEL::Core

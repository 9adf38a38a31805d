// SPDX-License-Identifier: MIT
#include "entities/CPointSet_QELParser.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"

namespace QEL::Core {

namespace {

// Elements are written straight from the section's arrays: the container
// borrows them for the length of the export. Only the leading components of
// each element are stored (positions carry a modified flag after x, y, z).
// An element type whose components do not lie in a row at its start is
// staged through a small buffer of doubles instead.
constexpr int kStage = 4096;

template <class Element>
bool ComponentsInARow(Element const& e, int components) {
    auto const* start = reinterpret_cast<unsigned char const*>(&e);
    bool row = reinterpret_cast<unsigned char const*>(&e.x) == start &&
               reinterpret_cast<unsigned char const*>(&e.y) == start + 8;
    if constexpr (requires { e.z; })
        row = row && (components < 3 || reinterpret_cast<unsigned char const*>(&e.z) == start + 16);
    return row;
}

template <class Element, class Components>
void PutComponents(CExportData& data, char const* tag, CQEL_Array<Element> const& array, int components,
                   Components fill) {
    static_assert(std::is_trivially_copyable_v<Element>);
    int const n = array.Count();
    if (n == 0 || ComponentsInARow(array.Unsafe_Get(0), components)) {
        data.PutChunkBorrowed(tag, n > 0 ? array.begin() : nullptr, n, std::int64_t(components) * 8,
                              std::int64_t(sizeof(Element)));
        return;
    }
    data.PutChunkHeader(tag, std::int64_t(n) * components * 8);
    double stage[kStage * 3];
    for (int first = 0; first < n; first += kStage) {
        int const count = std::min(kStage, n - first);
        for (int i = 0; i < count; ++i)
            fill(array.Unsafe_Get(first + i), stage + i * components);
        data.GetStream().Put(stage, std::int64_t(count) * components * 8);
    }
}

template <class T>
void PutRaw(CExportData& data, char const* tag, CQEL_Array<T> const& array) {
    data.PutChunkBorrowed(tag, array.Count() > 0 ? array.begin() : nullptr, array.Count(),
                          std::int64_t(sizeof(T)), std::int64_t(sizeof(T)));
}

// Reads n elements of components doubles each and hands each to assign(i, values).
template <class Assign>
void GetComponents(CQEL_Stream& stream, int n, int components, Assign assign) {
    double stage[kStage * 3];
    for (int first = 0; first < n; first += kStage) {
        int const count = std::min(kStage, n - first);
        stream.Get(stage, std::int64_t(count) * components * 8);
        for (int i = 0; i < count; ++i)
            assign(first + i, stage + i * components);
    }
}

template <class T, class Assign>
void GetScalars(CQEL_Stream& stream, int n, Assign assign) {
    T stage[kStage];
    for (int first = 0; first < n; first += kStage) {
        int const count = std::min(kStage, n - first);
        stream.Get(stage, std::int64_t(count) * std::int64_t(sizeof(T)));
        for (int i = 0; i < count; ++i)
            assign(first + i, stage[i]);
    }
}

CQEL_Operation const& ReadOp() {
    static CQEL_Operation const op("QEL::Core::CPointSet_QELParser::Deserialise");
    return op;
}

}  // namespace

void CPointSet_QELParser::Serialise(CPointSet const& set, CExportData* data) {
    static CQEL_Operation const op("QEL::Core::CPointSet_QELParser::Serialise");
    op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        data->SetTypeName(CQEL_String::FromASCII(kTypeName));
        data->SetIndexField1(set.GetNumSec());
        data->SetIndexField2(set.GetNumPts());
        CQEL_String const& name = set.GetName();
        if (set.GetNumSec() == 0) data->PutChunk("NAME", name.GetArray(), name.Length());
        for (int s = 0; s < set.GetNumSec(); ++s) {
            CPointSet_Section const& section = set.get_Sec(s);
            CPtsData const flags = section.GetMetaDataFlags();
            data->PutChunk("NAME", name.GetArray(), name.Length());
            PutComponents(*data, "POINTS", section.GetPtsArray(), 3,
                          [](auto const& p, double* out) { out[0] = p.x, out[1] = p.y, out[2] = p.z; });
            auto const xyz = [](auto const& v, double* out) { out[0] = v.x, out[1] = v.y, out[2] = v.z; };
            if (flags.Contains(CPtsData::nms)) PutComponents(*data, "NORMALS", section.GetNmsArray(), 3, xyz);
            if (flags.Contains(CPtsData::cpt)) PutComponents(*data, "CPOINTS", section.GetCPtArray(), 3, xyz);
            if (flags.Contains(CPtsData::cnm))
                PutComponents(*data, "CNORMALS", section.GetCNmArray(), 3, xyz);
            if (flags.Contains(CPtsData::cuv))
                PutComponents(*data, "UVS", section.GetCUVArray(), 2,
                              [](auto const& uv, double* out) { out[0] = uv.x, out[1] = uv.y; });
            if (flags.Contains(CPtsData::col)) PutComponents(*data, "COLOURS", section.GetColArray(), 3, xyz);
            if (flags.Contains(CPtsData::err)) PutRaw(*data, "ERRORS", section.GetErrArray());
            if (flags.Contains(CPtsData::ind)) PutRaw(*data, "INDICES", section.GetIndArray());
            if (flags.Contains(CPtsData::vel)) PutRaw(*data, "VELS", section.GetVelArray());
            if (flags.Contains(CPtsData::sta)) PutRaw(*data, "STATUSES", section.GetStaArray());
        }
        CQEL_Array<unsigned char> const& user = set.GetUserMetaData();
        if (!user.IsEmpty()) data->PutChunkBorrowed("METADATA", user.begin(), user.Count(), 1, 1);
    });
}

void CPointSet_QELParser::Deserialise(CPointSet& set, CImportData* data) {
    CQEL_Operation const& op = ReadOp();
    op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        set.Reset();
        set.SetUserMetaData(CQEL_Array<unsigned char>());
        try {
            CPointSet_QELParser(set, *data).Run();
        } catch (...) {
            set.Reset();
            throw;
        }
    });
}

CPointSet_QELParser::CPointSet_QELParser(CPointSet& set, CImportData& data) : m_set(set), m_data(data) {}

void CPointSet_QELParser::Run() {
    using Reader = void (CPointSet_QELParser::*)(std::int64_t, std::int64_t);
    static constexpr struct {
        char const* tag;
        Reader read;
    } kReaders[] = {
        {"NAME", &CPointSet_QELParser::DeserialiseNameData},
        {"POINTS", &CPointSet_QELParser::DeserialisePointsData},
        {"NORMALS", &CPointSet_QELParser::DeserialiseNmsData},
        {"CPOINTS", &CPointSet_QELParser::DeserialiseCptData},
        {"CNORMALS", &CPointSet_QELParser::DeserialiseCnmData},
        {"UVS", &CPointSet_QELParser::DeserialiseCuvData},
        {"COLOURS", &CPointSet_QELParser::DeserialiseColData},
        {"ERRORS", &CPointSet_QELParser::DeserialiseErrData},
        {"INDICES", &CPointSet_QELParser::DeserialiseIndData},
        {"VELS", &CPointSet_QELParser::DeserialiseVelData},
        {"STATUSES", &CPointSet_QELParser::DeserialiseStaData},
        {"METADATA", &CPointSet_QELParser::DeserialiseUserData},
    };
    SQELChunk chunk;
    while (m_data.NextChunk(chunk)) {
        Reader read = nullptr;
        for (auto const& entry : kReaders)
            if (chunk.Is(entry.tag)) read = entry.read;
        if (read) (this->*read)(chunk.position, chunk.bytes);
        m_data.SkipChunk(chunk);
    }
}

CPointSet_Section& CPointSet_QELParser::Current(char const* tag, std::int64_t bytes, int elementBytes) {
    if (!m_section)
        ReadOp().Throw(QEL_FILE_READ_ERROR, "data",
                       CQEL_String::FromFormat("Record %d: chunk \"%s\" comes before any \"POINTS\" chunk",
                                               m_data.GetRecordNumber(), tag));
    int const points = m_section->GetNumPts();
    if (bytes != std::int64_t(points) * elementBytes)
        ReadOp().Throw(
            QEL_FILE_READ_ERROR, "data",
            CQEL_String::FromFormat("Record %d: chunk \"%s\" of section %d holds %lld bytes, not %lld "
                                    "for its %d points",
                                    m_data.GetRecordNumber(), tag, m_set.GetNumSec() - 1, (long long)bytes,
                                    (long long)points * elementBytes, points));
    return *m_section;
}

// Names and user data are held in arrays counted in int: larger chunks are damage.
static void CheckLength(CImportData const& data, char const* tag, std::int64_t bytes) {
    if (bytes > 1000000000)
        ReadOp().Throw(QEL_FILE_READ_ERROR, "data",
                       CQEL_String::FromFormat("Record %d: chunk \"%s\" of %lld bytes is too long",
                                               data.GetRecordNumber(), tag, (long long)bytes));
}

void CPointSet_QELParser::DeserialiseNameData(std::int64_t position, std::int64_t bytes) {
    CheckLength(m_data, "NAME", bytes);
    CQEL_Stream& stream = m_data.GetStream();
    stream.SeekGetPosition(position);
    std::unique_ptr<char[]> name(new char[std::size_t(bytes) + 1]);
    stream.Get(name.get(), bytes);
    m_set.SetName(CQEL_String::FromUTF8(name.get(), int(bytes)));
}

void CPointSet_QELParser::DeserialisePointsData(std::int64_t position, std::int64_t bytes) {
    if (bytes % 24 != 0)
        ReadOp().Throw(
            QEL_FILE_READ_ERROR, "data",
            CQEL_String::FromFormat("Record %d: chunk \"POINTS\" of %lld bytes is not a whole number "
                                    "of points",
                                    m_data.GetRecordNumber(), (long long)bytes));
    int const points = int(bytes / 24);
    // The section is filled before it joins the set, so that the set hears of it once.
    auto section = std::make_unique<CPointSet_Section>(points, CPtsData::def);
    m_data.GetStream().SeekGetPosition(position);
    GetComponents(m_data.GetStream(), points, 3, [&](int i, double const* v) {
        auto& p = section->get_Pts(i);
        p.x = v[0], p.y = v[1], p.z = v[2];
    });
    m_section = m_set.InsertSectionAtIndex(section.release(), m_set.GetNumSec());
}

void CPointSet_QELParser::DeserialiseNmsData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("NORMALS", bytes, 24);
    section.AddMetaData(CPtsData::nms);
    m_data.GetStream().SeekGetPosition(position);
    GetComponents(m_data.GetStream(), section.GetNumPts(), 3,
                  [&](int i, double const* v) { section.set_Nms(i, CVector3<double>(v[0], v[1], v[2])); });
}

void CPointSet_QELParser::DeserialiseCptData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("CPOINTS", bytes, 24);
    section.AddMetaData(CPtsData::cpt);
    m_data.GetStream().SeekGetPosition(position);
    GetComponents(m_data.GetStream(), section.GetNumPts(), 3,
                  [&](int i, double const* v) { section.set_CPt(i, CPoint3<double>(v[0], v[1], v[2])); });
}

void CPointSet_QELParser::DeserialiseCnmData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("CNORMALS", bytes, 24);
    section.AddMetaData(CPtsData::cnm);
    m_data.GetStream().SeekGetPosition(position);
    GetComponents(m_data.GetStream(), section.GetNumPts(), 3,
                  [&](int i, double const* v) { section.set_CNm(i, CVector3<double>(v[0], v[1], v[2])); });
}

void CPointSet_QELParser::DeserialiseCuvData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("UVS", bytes, 16);
    section.AddMetaData(CPtsData::cuv);
    m_data.GetStream().SeekGetPosition(position);
    GetComponents(m_data.GetStream(), section.GetNumPts(), 2,
                  [&](int i, double const* v) { section.set_CUV(i, CPoint2<double>(v[0], v[1])); });
}

void CPointSet_QELParser::DeserialiseColData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("COLOURS", bytes, 24);
    section.AddMetaData(CPtsData::col);
    m_data.GetStream().SeekGetPosition(position);
    GetComponents(m_data.GetStream(), section.GetNumPts(), 3,
                  [&](int i, double const* v) { section.set_Col(i, CPoint3<double>(v[0], v[1], v[2])); });
}

void CPointSet_QELParser::DeserialiseErrData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("ERRORS", bytes, 8);
    section.AddMetaData(CPtsData::err);
    m_data.GetStream().SeekGetPosition(position);
    GetScalars<double>(m_data.GetStream(), section.GetNumPts(),
                       [&](int i, double v) { section.set_Err(i, v); });
}

void CPointSet_QELParser::DeserialiseIndData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("INDICES", bytes, 4);
    section.AddMetaData(CPtsData::ind);
    m_data.GetStream().SeekGetPosition(position);
    GetScalars<std::int32_t>(m_data.GetStream(), section.GetNumPts(),
                             [&](int i, std::int32_t v) { section.set_Ind(i, v); });
}

void CPointSet_QELParser::DeserialiseVelData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("VELS", bytes, 8);
    section.AddMetaData(CPtsData::vel);
    m_data.GetStream().SeekGetPosition(position);
    GetScalars<double>(m_data.GetStream(), section.GetNumPts(),
                       [&](int i, double v) { section.set_Vel(i, v); });
}

void CPointSet_QELParser::DeserialiseStaData(std::int64_t position, std::int64_t bytes) {
    CPointSet_Section& section = Current("STATUSES", bytes, 2);
    section.AddMetaData(CPtsData::sta);
    m_data.GetStream().SeekGetPosition(position);
    GetScalars<std::int16_t>(m_data.GetStream(), section.GetNumPts(),
                             [&](int i, std::int16_t v) { section.set_Sta(i, v); });
}

void CPointSet_QELParser::DeserialiseUserData(std::int64_t position, std::int64_t bytes) {
    CheckLength(m_data, "METADATA", bytes);
    CQEL_Array<unsigned char> user{static_cast<int>(bytes)};
    m_data.GetStream().SeekGetPosition(position);
    if (bytes > 0) m_data.GetStream().Get(user.begin(), bytes);
    m_set.SetUserMetaData(user);
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "entities/CPointSet_QELParser.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Attributes.h"
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

template <EPointElement E>
void PutAttribute(CExportData& data, CPointSet_Section const& section, SPointAttribute const& a) {
    auto const& array = PointAttributeCollection<E>(section, a).GetAsArray();
    if constexpr (std::is_arithmetic_v<PointElement_t<E>>)
        PutRaw(data, a.tag, array);
    else if constexpr (E != EPointElement::Pointer)
        PutComponents(data, a.tag, array, kPointComponents<E>,
                      [](PointElement_t<E> const& e, double* out) { ToComponents<E>(e, out); });
}

// The tag without its padding, for messages.
std::string TagText(char const* tag) {
    std::string text(tag);
    return text.substr(0, text.find(' '));
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
        for (int s = 0; s < set.GetNumSec(); ++s) {
            CPointSet_Section const& section = set.get_Sec(s);
            CPtsData const flags = section.GetMetaDataFlags();
            data->PutChunk("NAME", name.GetArray(), name.Length());
            for (SPointAttribute const& a : kPointAttributes)
                if (a.tag[0] != '\0' && flags.Contains(PointAttributeFlag(a)))
                    VisitPointElement(a.element,
                                      [&]<EPointElement E>() { PutAttribute<E>(*data, section, a); });
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
    SQELChunk chunk;
    while (m_data.NextChunk(chunk)) {
        if (chunk.Is("NAME")) {
            DeserialiseNameData(chunk.position, chunk.bytes);
        } else if (chunk.Is("METADATA")) {
            DeserialiseUserData(chunk.position, chunk.bytes);
        } else {
            for (SPointAttribute const& a : kPointAttributes)
                if (a.tag[0] != '\0' && chunk.Is(a.tag)) {
                    if (a.bit == CPtsData::def.GetBits())
                        DeserialisePointsData(chunk.position, chunk.bytes);
                    else
                        DeserialiseAttributeData(a, chunk.position, chunk.bytes);
                }
        }
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

void CPointSet_QELParser::DeserialiseAttributeData(SPointAttribute const& a, std::int64_t position,
                                                   std::int64_t bytes) {
    VisitPointElement(a.element, [&]<EPointElement E>() {
        using T = PointElement_t<E>;
        constexpr bool kRaw = std::is_arithmetic_v<T>;
        if constexpr (E != EPointElement::Pointer) {
            CPointSet_Section& section =
                Current(TagText(a.tag).c_str(), bytes, kRaw ? int(sizeof(T)) : 8 * kPointComponents<E>);
            section.AddMetaData(PointAttributeFlag(a));
            auto& collection = PointAttributeCollection<E>(section, a);
            m_data.GetStream().SeekGetPosition(position);
            if constexpr (kRaw)
                GetScalars<T>(m_data.GetStream(), section.GetNumPts(),
                              [&](int i, T v) { collection.Set(i, v); });
            else
                GetComponents(m_data.GetStream(), section.GetNumPts(), kPointComponents<E>,
                              [&](int i, double const* v) { collection.Set(i, FromComponents<E>(v)); });
        }
    });
}

void CPointSet_QELParser::DeserialiseUserData(std::int64_t position, std::int64_t bytes) {
    CheckLength(m_data, "METADATA", bytes);
    CQEL_Array<unsigned char> user{static_cast<int>(bytes)};
    m_data.GetStream().SeekGetPosition(position);
    if (bytes > 0) m_data.GetStream().Get(user.begin(), bytes);
    m_set.SetUserMetaData(user);
}

}  // namespace QEL::Core

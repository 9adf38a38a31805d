// SPDX-License-Identifier: MIT
#include "entities/CTriangulation_QELParser.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CTriangulation.h"

namespace QEL::Core {

namespace {

constexpr int kHeadBytes = 16;
constexpr int kStage = 8192;  // elements per staging block

CQEL_Operation const& ReadOp() {
    static CQEL_Operation const op("QEL::Core::CTriangulation_QELParser::Deserialise");
    return op;
}

// Only these flags are written: the elements' own (Pts, Tris) and the stored
// attributes; the others are computed or pointers.
constexpr std::uint32_t StoredPtsMask() {
    std::uint32_t mask = 0;
    for (auto const& a : kTrisPtsAttributes)
        if (a.stored) mask |= a.flag.GetBits();
    return mask;
}
constexpr std::uint32_t StoredTrisMask() {
    std::uint32_t mask = 0;
    for (auto const& a : kTrisTrisAttributes)
        if (a.stored) mask |= a.flag.GetBits();
    return mask;
}

// Calls visit(array) with the typed array of one vertex attribute, by flag.
template <class Group, class Visit>
void WithPtsAttribute(Group& group, CTrisData_Pts flag, Visit&& visit) {
    if (flag == CTrisData_Pts::Nms)
        visit(group.GetNmsArray(), [&](int i, auto const& v) { group.set_Nms(i, v); });
    if (flag == CTrisData_Pts::CNm)
        visit(group.GetCNmArray(), [&](int i, auto const& v) { group.set_CNm(i, v); });
    if (flag == CTrisData_Pts::CUV)
        visit(group.GetCUVArray(), [&](int i, auto const& v) { group.set_CUV(i, v); });
    if (flag == CTrisData_Pts::Err)
        visit(group.GetErrArray(), [&](int i, auto const& v) { group.set_Err(i, v); });
    if (flag == CTrisData_Pts::Sta)
        visit(group.GetStaArray(), [&](int i, auto const& v) { group.set_Sta(i, v); });
    if (flag == CTrisData_Pts::Vel)
        visit(group.GetVelArray(), [&](int i, auto const& v) { group.set_Vel(i, v); });
}

template <class Group, class Visit>
void WithTrisAttribute(Group& group, CTrisData_Tris flag, Visit&& visit) {
    if (flag == CTrisData_Tris::CNm)
        visit(group.GetCNmArray(), [&](int i, auto const& v) { group.set_CNm(i, v); });
    if (flag == CTrisData_Tris::Col)
        visit(group.GetColArray(), [&](int i, auto const& v) { group.set_Col(i, v); });
    if (flag == CTrisData_Tris::Flag)
        visit(group.GetFlagArray(), [&](int i, auto const& v) { group.set_Flag(i, v); });
    if (flag == CTrisData_Tris::Ind)
        visit(group.GetIndArray(), [&](int i, auto const& v) { group.set_Ind(i, v); });
    if (flag == CTrisData_Tris::Sta)
        visit(group.GetStaArray(), [&](int i, auto const& v) { group.set_Sta(i, v); });
    if (flag == CTrisData_Tris::Type)
        visit(group.GetTypeArray(), [&](int i, auto const& v) { group.set_Type(i, v); });
}

// An attribute's array written as it lies in memory: the stored size is
// the element's size for every stored attribute type.
struct SPutArray {
    CExportData& data;
    char const* tag;
    template <class T, class Set>
    void operator()(CQEL_Array<T> const& array, Set&&) const {
        static_assert(std::is_trivially_copyable_v<T>);
        data.PutChunkBorrowed(tag, array.Count() > 0 ? array.begin() : nullptr, array.Count(),
                              std::int64_t(sizeof(T)), std::int64_t(sizeof(T)));
    }
};

// Writes n int32 values made by value(i) as one chunk, through a staging block.
template <class Value>
void PutIndices(CExportData& data, char const* tag, std::int64_t n, Value&& value) {
    data.PutChunkHeader(tag, n * 4);
    std::int32_t stage[kStage];
    for (std::int64_t first = 0; first < n; first += kStage) {
        int const count = int(std::min<std::int64_t>(kStage, n - first));
        for (int i = 0; i < count; ++i)
            stage[i] = value(first + i);
        data.GetStream().Put(stage, std::int64_t(count) * 4);
    }
}

// The chunks of one record, found in a first pass so that they can be read
// in their logical order whatever order the file has them in.
struct SRecordChunks {
    SQELChunk name, head, vertices, corners, pairs, vedges, user;
    SQELChunk pts[CTrisData_Pts::kCount];
    SQELChunk tris[CTrisData_Tris::kCount];
    bool hasName = false, hasHead = false, hasVertices = false, hasCorners = false, hasPairs = false,
         hasVEdges = false, hasUser = false;
    bool hasPts[CTrisData_Pts::kCount] = {};
    bool hasTris[CTrisData_Tris::kCount] = {};
};

class CReader {
  public:
    CReader(CTriangulation& mesh, CImportData& data) : m_mesh(mesh), m_data(data) {}
    void Run();

  private:
    [[noreturn]] void Damaged(char const* format, ...) const __attribute__((format(printf, 2, 3)));
    void Collect();
    void ReadHead();
    void CheckSize(SQELChunk const& chunk, bool present, char const* tag, std::int64_t elements,
                   int elementBytes, char const* what) const;
    void ReadInts(SQELChunk const& chunk, std::vector<std::int32_t>& out, std::int64_t count);
    void CheckConnectivity() const;
    void Fill();
    void ReadAttributes();
    CQEL_String ReadText(SQELChunk const& chunk);

    CTriangulation& m_mesh;
    CImportData& m_data;
    SRecordChunks m_chunks;
    int m_numPts = 0, m_numTris = 0;
    CTrisData_Pts m_ptsFlags;
    CTrisData_Tris m_trisFlags;
    std::vector<std::int32_t> m_corners, m_pairs, m_vedges;
};

void CReader::Damaged(char const* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    CQEL_String detail;
    detail.SetFromFormatV(format, arguments);
    va_end(arguments);
    ReadOp().Throw(QEL_FILE_READ_ERROR, "data",
                   CQEL_String::FromFormat("Record %d (triangulation): ", m_data.GetRecordNumber()) + detail);
}

void CReader::Collect() {
    SQELChunk chunk;
    auto const take = [&](SQELChunk& slot, bool& seen, char const* tag) {
        if (seen) Damaged("chunk \"%s\" appears twice", tag);
        slot = chunk, seen = true;
    };
    while (m_data.NextChunk(chunk)) {
        if (chunk.Is("NAME"))
            take(m_chunks.name, m_chunks.hasName, "NAME");
        else if (chunk.Is("TRISHEAD"))
            take(m_chunks.head, m_chunks.hasHead, "TRISHEAD");
        else if (chunk.Is("VERTICES"))
            take(m_chunks.vertices, m_chunks.hasVertices, "VERTICES");
        else if (chunk.Is("CORNERS"))
            take(m_chunks.corners, m_chunks.hasCorners, "CORNERS");
        else if (chunk.Is("PAIRS"))
            take(m_chunks.pairs, m_chunks.hasPairs, "PAIRS");
        else if (chunk.Is("VEDGES"))
            take(m_chunks.vedges, m_chunks.hasVEdges, "VEDGES");
        else if (chunk.Is("METADATA"))
            take(m_chunks.user, m_chunks.hasUser, "METADATA");
        else {
            for (int a = 0; a < CTrisData_Pts::kCount; ++a)
                if (kTrisPtsAttributes[a].elementSize > 0 && chunk.Is(kTrisPtsAttributes[a].tag))
                    take(m_chunks.pts[a], m_chunks.hasPts[a], kTrisPtsAttributes[a].tag);
            for (int a = 0; a < CTrisData_Tris::kCount; ++a)
                if (kTrisTrisAttributes[a].elementSize > 0 && chunk.Is(kTrisTrisAttributes[a].tag))
                    take(m_chunks.tris[a], m_chunks.hasTris[a], kTrisTrisAttributes[a].tag);
        }
        m_data.SkipChunk(chunk);
    }
}

void CReader::ReadHead() {
    if (!m_chunks.hasHead) Damaged("no \"TRISHEAD\" chunk");
    if (m_chunks.head.bytes != kHeadBytes)
        Damaged("chunk \"TRISHEAD\" holds %lld bytes, not %d", (long long)m_chunks.head.bytes, kHeadBytes);
    std::int32_t counts[2];
    std::uint32_t flags[2];
    CQEL_Stream& stream = m_data.GetStream();
    stream.SeekGetPosition(m_chunks.head.position);
    stream.Get(counts, 8);
    stream.Get(flags, 8);
    // Every element takes bytes of the record, so a count is bounded by the
    // record's size long before it could size an allocation.
    if (counts[0] < 0 || counts[1] < 0 || counts[1] > INT_MAX / 3)
        Damaged("chunk \"TRISHEAD\" gives %d vertices and %d triangles", counts[0], counts[1]);
    if ((flags[0] & ~CTrisData_Pts::All.GetBits()) != 0 || (flags[1] & ~CTrisData_Tris::All.GetBits()) != 0)
        Damaged("chunk \"TRISHEAD\" lists unknown attribute flags 0x%x and 0x%x", flags[0], flags[1]);
    m_numPts = counts[0], m_numTris = counts[1];
    m_ptsFlags = CTrisData_Pts(flags[0] & StoredPtsMask());
    m_trisFlags = CTrisData_Tris(flags[1] & StoredTrisMask());
}

void CReader::CheckSize(SQELChunk const& chunk, bool present, char const* tag, std::int64_t elements,
                        int elementBytes, char const* what) const {
    if (!present) Damaged("no \"%s\" chunk", tag);
    if (chunk.bytes != elements * elementBytes)
        Damaged("chunk \"%s\" holds %lld bytes, not %lld for %lld %s", tag, (long long)chunk.bytes,
                (long long)(elements * elementBytes), (long long)elements, what);
}

void CReader::ReadInts(SQELChunk const& chunk, std::vector<std::int32_t>& out, std::int64_t count) {
    out.resize(std::size_t(count));
    m_data.GetStream().SeekGetPosition(chunk.position);
    if (count > 0) m_data.GetStream().Get(out.data(), count * 4);
}

// Connectivity as stored must already be what the entity's invariants ask
// for: a damaged record must not become a mesh whose walks loop or leave it.
void CReader::CheckConnectivity() const {
    std::int64_t const edges = std::int64_t(m_numTris) * 3;
    auto const next = [](std::int64_t e) { return e % 3 == 2 ? e - 2 : e + 1; };
    for (std::int64_t e = 0; e < edges; ++e) {
        std::int32_t const v = m_corners[std::size_t(e)];
        if (v < -1 || v >= m_numPts)
            Damaged("chunk \"CORNERS\": corner %lld of triangle %lld is vertex %d, outside 0 to %d",
                    (long long)(e % 3), (long long)(e / 3), v, m_numPts - 1);
    }
    for (std::int64_t e = 0; e < edges; ++e) {
        std::int32_t const p = m_pairs[std::size_t(e)];
        if (p == -1) continue;
        if (p < 0 || p >= edges)
            Damaged("chunk \"PAIRS\": edge %lld pairs with half-edge %d, outside 0 to %lld", (long long)e, p,
                    (long long)edges - 1);
        if (p == e || m_pairs[std::size_t(p)] != e)
            Damaged("chunk \"PAIRS\": edge %lld pairs with half-edge %d, which does not pair back",
                    (long long)e, p);
        std::int32_t const a = m_corners[std::size_t(e)], b = m_corners[std::size_t(next(e))];
        if (a < 0 || b < 0 || a != m_corners[std::size_t(next(p))] || b != m_corners[std::size_t(p)])
            Damaged(
                "chunk \"PAIRS\": edges %lld and %d do not join the same two vertices in opposite directions",
                (long long)e, p);
    }
    for (int v = 0; v < m_numPts; ++v) {
        std::int32_t const e = m_vedges[std::size_t(v)];
        if (e == -1) continue;
        if (e < 0 || e >= edges || m_corners[std::size_t(e)] != v)
            Damaged("chunk \"VEDGES\": the vertex edge %d of vertex %d does not start at it", e, v);
    }
}

void CReader::Fill() {
    m_mesh.CheckSpace(m_numPts, m_numTris, m_ptsFlags, m_trisFlags);
    CTriangulation_Vertex* const vertices = m_mesh.EditVertices().data();
    CTriangulation_Triangle* const triangles = m_mesh.EditTriangles().data();
    auto const edge = [&](std::int32_t e) { return &triangles[e / 3].Edge(e % 3); };

    CQEL_Stream& stream = m_data.GetStream();
    stream.SeekGetPosition(m_chunks.vertices.position);
    double stage[kStage * 3];
    for (int first = 0; first < m_numPts; first += kStage) {
        int const count = std::min(kStage, m_numPts - first);
        stream.Get(stage, std::int64_t(count) * 24);
        for (int i = 0; i < count; ++i) {
            CTriangulation_Vertex& vertex = vertices[first + i];
            vertex.RawSetPoint(stage[3 * i], stage[3 * i + 1], stage[3 * i + 2]);
            std::int32_t const e = m_vedges[std::size_t(first + i)];
            vertex.RawSetEdge(e < 0 ? nullptr : edge(e));
        }
    }
    for (int t = 0; t < m_numTris; ++t)
        for (int k = 0; k < 3; ++k) {
            std::size_t const e = std::size_t(3 * t + k);
            CTriangulation_Edge& here = triangles[t].Edge(k);
            here.RawSetVertex(m_corners[e] < 0 ? nullptr : &vertices[m_corners[e]]);
            here.RawSetPairedEdge(m_pairs[e] < 0 ? nullptr : edge(m_pairs[e]));
        }
    m_mesh.MarkAllModified();
}

void CReader::ReadAttributes() {
    CQEL_Stream& stream = m_data.GetStream();
    // Read one attribute chunk element by element into the collection.
    auto const reader = [&](SQELChunk const& chunk, int n) {
        return [this, &stream, &chunk, n](auto const& array, auto&& set) {
            using T = typename std::decay_t<decltype(array)>::value_type;
            // Markers are stored as bytes: any byte but 0 and 1 is damage, not a bool.
            using Stored = std::conditional_t<std::is_same_v<T, bool>, std::uint8_t, T>;
            stream.SeekGetPosition(chunk.position);
            Stored stage[512];
            for (int first = 0; first < n; first += 512) {
                int const count = std::min(512, n - first);
                stream.Get(stage, std::int64_t(count) * std::int64_t(sizeof(Stored)));
                for (int i = 0; i < count; ++i) {
                    if constexpr (std::is_same_v<T, bool>) {
                        if (stage[i] > 1)
                            Damaged("chunk \"%s\": the marker of triangle %d is %d, not 0 or 1", chunk.tag,
                                    first + i, int(stage[i]));
                        set(first + i, stage[i] == 1);
                    } else {
                        set(first + i, stage[i]);
                    }
                }
            }
        };
    };
    for (int a = 0; a < CTrisData_Pts::kCount; ++a) {
        auto const& attribute = kTrisPtsAttributes[a];
        if (attribute.elementSize == 0) continue;
        bool const listed = m_ptsFlags.Contains(attribute.flag);
        if (!listed && m_chunks.hasPts[a])
            Damaged("chunk \"%s\" of an attribute that \"TRISHEAD\" does not list", attribute.tag);
        if (!listed) continue;
        CheckSize(m_chunks.pts[a], m_chunks.hasPts[a], attribute.tag, m_numPts, attribute.elementSize,
                  "vertices");
        WithPtsAttribute(m_mesh.GetVertexGroup(), attribute.flag, reader(m_chunks.pts[a], m_numPts));
    }
    for (int a = 0; a < CTrisData_Tris::kCount; ++a) {
        auto const& attribute = kTrisTrisAttributes[a];
        if (attribute.elementSize == 0) continue;
        bool const listed = m_trisFlags.Contains(attribute.flag);
        if (!listed && m_chunks.hasTris[a])
            Damaged("chunk \"%s\" of an attribute that \"TRISHEAD\" does not list", attribute.tag);
        if (!listed) continue;
        CheckSize(m_chunks.tris[a], m_chunks.hasTris[a], attribute.tag, m_numTris, attribute.elementSize,
                  "triangles");
        WithTrisAttribute(m_mesh.GetTriangleGroup(), attribute.flag, reader(m_chunks.tris[a], m_numTris));
    }
}

CQEL_String CReader::ReadText(SQELChunk const& chunk) {
    if (chunk.bytes > 1000000000)
        Damaged("chunk \"%s\" of %lld bytes is too long", chunk.tag, (long long)chunk.bytes);
    std::unique_ptr<char[]> text(new char[std::size_t(chunk.bytes) + 1]);
    m_data.GetStream().SeekGetPosition(chunk.position);
    m_data.GetStream().Get(text.get(), chunk.bytes);
    return CQEL_String::FromUTF8(text.get(), int(chunk.bytes));
}

void CReader::Run() {
    Collect();
    ReadHead();
    CheckSize(m_chunks.vertices, m_chunks.hasVertices, "VERTICES", m_numPts, 24, "vertices");
    CheckSize(m_chunks.corners, m_chunks.hasCorners, "CORNERS", m_numTris, 12, "triangles");
    CheckSize(m_chunks.pairs, m_chunks.hasPairs, "PAIRS", m_numTris, 12, "triangles");
    CheckSize(m_chunks.vedges, m_chunks.hasVEdges, "VEDGES", m_numPts, 4, "vertices");
    ReadInts(m_chunks.corners, m_corners, std::int64_t(m_numTris) * 3);
    ReadInts(m_chunks.pairs, m_pairs, std::int64_t(m_numTris) * 3);
    ReadInts(m_chunks.vedges, m_vedges, m_numPts);
    CheckConnectivity();
    Fill();
    ReadAttributes();
    if (m_chunks.hasName) m_mesh.SetName(ReadText(m_chunks.name));
    if (m_chunks.hasUser) {
        if (m_chunks.user.bytes > 1000000000)
            Damaged("chunk \"METADATA\" of %lld bytes is too long", (long long)m_chunks.user.bytes);
        CQEL_Array<unsigned char> user{static_cast<int>(m_chunks.user.bytes)};
        m_data.GetStream().SeekGetPosition(m_chunks.user.position);
        if (m_chunks.user.bytes > 0) m_data.GetStream().Get(user.begin(), m_chunks.user.bytes);
        m_mesh.SetUserMetaData(user);
    }
}

}  // namespace

void CTriangulation_QELParser::Serialise(CTriangulation const& mesh, CExportData* data) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_QELParser::Serialise");
    op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        int const numPts = mesh.GetNumPts(), numTris = mesh.GetNumTris();
        std::uint32_t const ptsFlags = mesh.GetPtsMetaDataFlags().GetBits() & StoredPtsMask();
        std::uint32_t const trisFlags = mesh.GetTrisMetaDataFlags().GetBits() & StoredTrisMask();
        data->SetTypeName(CQEL_String::FromASCII(kTypeName));
        data->SetIndexField1(numPts);
        data->SetIndexField2(numTris);

        CQEL_String const& name = mesh.GetName();
        if (!name.IsEmpty()) data->PutChunk("NAME", name.GetArray(), name.Length());
        std::int32_t const head[4] = {numPts, numTris, std::int32_t(ptsFlags), std::int32_t(trisFlags)};
        data->PutChunk("TRISHEAD", head, kHeadBytes);

        auto const& vertexGroup = mesh.GetVertexGroup();
        auto const& triangleGroup = mesh.GetTriangleGroup();
        CTriangulation_Vertex const* const vertices = mesh.GetVertices().data();
        CTriangulation_Triangle const* const triangles = mesh.GetTriangles().data();
        data->PutChunkHeader("VERTICES", std::int64_t(numPts) * 24);
        double stage[kStage * 3];
        for (int first = 0; first < numPts; first += kStage) {
            int const count = std::min(kStage, numPts - first);
            for (int i = 0; i < count; ++i) {
                CTriangulation_Vertex const& v = vertices[first + i];
                stage[3 * i] = v.get_x(), stage[3 * i + 1] = v.get_y(), stage[3 * i + 2] = v.get_z();
            }
            data->GetStream().Put(stage, std::int64_t(count) * 24);
        }
        auto const edgeNumber = [&](CTriangulation_Edge const* e) -> std::int32_t {
            return e ? std::int32_t(3 * (e->GetTriangle() - triangles) + e->GetEdgeIndex()) : -1;
        };
        PutIndices(*data, "CORNERS", std::int64_t(numTris) * 3, [&](std::int64_t e) {
            CTriangulation_Vertex const* v = triangles[e / 3].Edge(int(e % 3)).GetVertex();
            return v ? std::int32_t(v - vertices) : -1;
        });
        PutIndices(*data, "PAIRS", std::int64_t(numTris) * 3, [&](std::int64_t e) {
            return edgeNumber(triangles[e / 3].Edge(int(e % 3)).GetPairedEdge());
        });
        PutIndices(*data, "VEDGES", numPts,
                   [&](std::int64_t v) { return edgeNumber(vertices[v].GetEdge()); });

        for (auto const& attribute : kTrisPtsAttributes)
            if (attribute.elementSize > 0 && (ptsFlags & attribute.flag.GetBits()) != 0)
                WithPtsAttribute(vertexGroup, attribute.flag, SPutArray{*data, attribute.tag});
        for (auto const& attribute : kTrisTrisAttributes)
            if (attribute.elementSize > 0 && (trisFlags & attribute.flag.GetBits()) != 0)
                WithTrisAttribute(triangleGroup, attribute.flag, SPutArray{*data, attribute.tag});

        CQEL_Array<unsigned char> const& user = mesh.GetUserMetaData();
        if (!user.IsEmpty()) data->PutChunkBorrowed("METADATA", user.begin(), user.Count(), 1, 1);
    });
}

void CTriangulation_QELParser::Deserialise(CTriangulation& mesh, CImportData* data) {
    CQEL_Operation const& op = ReadOp();
    op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        mesh.Reset();
        mesh.SetName(CQEL_String());
        mesh.SetUserMetaData(CQEL_Array<unsigned char>());
        try {
            CReader(mesh, *data).Run();
        } catch (...) {
            mesh.Reset();
            throw;
        }
    });
}

}  // namespace QEL::Core

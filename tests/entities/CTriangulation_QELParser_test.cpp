// SPDX-License-Identifier: MIT
// The triangulation's record in the native container: identical round trips,
// connectivity included, files that mix entities, and damaged records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Exception.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "entities/CTriangulation.h"
#include "entities/CTriangulation_QELParser.h"
#include "formats/CQELParser.h"
#include "core/CQEL_Stream.h"
#include "test_helpers/HandBuiltMeshes.h"

using namespace QEL::Core;
using namespace QEL::Test;
using ::testing::HasSubstr;

namespace {

constexpr CTrisData_Pts kStoredPts{0xBF};     // every vertex attribute but user pointers
constexpr CTrisData_Tris kStoredTris{0x1FF};  // every triangle attribute but user pointers

// A grid with a hole, a fin on one edge (left unpaired) and an unused vertex,
// with every stored attribute set to values of its element's number.
CTriangulation FullMesh() {
    SHandMesh hand = Grid(3, true);
    hand.points.push_back({1.5, 0.5, 1.0});
    hand.points.push_back({7, 7, 7});
    hand.triangles.push_back({0, 1, int(hand.points.size()) - 2});
    CTriangulation mesh = Build(hand);
    mesh.AddPtsMetaData(kStoredPts | CTrisData_Pts::Usr);
    mesh.AddTrisMetaData(kStoredTris | CTrisData_Tris::Usr);
    auto& v = mesh.GetVertexGroup();
    for (int i = 0; i < mesh.GetNumPts(); ++i) {
        v.set_Nms(i, {i + 0.25, -1.0 * i, 0.5});
        v.set_CNm(i, {1.0, i * 3.0, -0.125});
        v.set_CUV(i, {i * 0.5, 1.0 / (i + 1)});
        v.set_Err(i, i * 1e-3);
        v.set_Sta(i, -i);
        v.set_Vel(i, 1e6 + i);
        v.set_Usr(i, &mesh);
    }
    auto& t = mesh.GetTriangleGroup();
    for (int i = 0; i < mesh.GetNumTris(); ++i) {
        t.set_CNm(i, {0.0, 1.0, i * 1.0});
        t.set_Col(i, {std::uint8_t(i), std::uint8_t(2 * i), 7, std::uint8_t(255 - i)});
        t.set_Flag(i, i % 3 == 0);
        t.set_Ind(i, 1000 + i);
        t.set_Sta(i, i * 7);
        t.set_Type(i, INT_MIN + i);
    }
    mesh.SetName(CQEL_String::FromUTF8("Gitter mit Loch"));
    unsigned char const user[] = {9, 0, 8};
    mesh.SetUserMetaData(CQEL_Array<unsigned char>(3, user));
    return mesh;
}

int EdgeNumber(CTriangulation const& mesh, CTriangulation_Edge const* e) {
    return e ? 3 * mesh.GetTriangleIndex(e->GetTriangle()) + e->GetEdgeIndex() : -1;
}

void ExpectIdentical(CTriangulation const& a, CTriangulation const& b) {
    ASSERT_EQ(a.GetNumPts(), b.GetNumPts());
    ASSERT_EQ(a.GetNumTris(), b.GetNumTris());
    EXPECT_EQ(a.GetName(), b.GetName());
    EXPECT_EQ(a.GetUserMetaData().Count(), b.GetUserMetaData().Count());
    CTrisData_Pts const pts(a.GetPtsMetaDataFlags().GetBits() & ~CTrisData_Pts::Usr.GetBits());
    CTrisData_Tris const tris(a.GetTrisMetaDataFlags().GetBits() & ~CTrisData_Tris::Usr.GetBits());
    EXPECT_EQ(b.GetPtsMetaDataFlags(), pts);
    EXPECT_EQ(b.GetTrisMetaDataFlags(), tris);
    // One attribute of both groups, compared where the attribute is stored.
    auto same = [](bool stored, auto const& x, auto const& y, auto const& get) {
        if (stored) {
            EXPECT_EQ(get(x), get(y));
        }
    };
    auto const &va = a.GetVertexGroup(), &vb = b.GetVertexGroup();
    for (int i = 0; i < a.GetNumPts(); ++i) {
        EXPECT_EQ(a.get_Pts(i).GetPoint(), b.get_Pts(i).GetPoint()) << i;
        EXPECT_EQ(EdgeNumber(a, a.get_Pts(i).GetEdge()), EdgeNumber(b, b.get_Pts(i).GetEdge())) << i;
        same(pts.Contains(CTrisData_Pts::Nms), va, vb, [&](auto const& g) { return g.get_Nms(i); });
        same(pts.Contains(CTrisData_Pts::CNm), va, vb, [&](auto const& g) { return g.get_CNm(i); });
        same(pts.Contains(CTrisData_Pts::CUV), va, vb, [&](auto const& g) { return g.get_CUV(i); });
        same(pts.Contains(CTrisData_Pts::Err), va, vb, [&](auto const& g) { return g.get_Err(i); });
        same(pts.Contains(CTrisData_Pts::Sta), va, vb, [&](auto const& g) { return g.get_Sta(i); });
        same(pts.Contains(CTrisData_Pts::Vel), va, vb, [&](auto const& g) { return g.get_Vel(i); });
    }
    auto const &ta = a.GetTriangleGroup(), &tb = b.GetTriangleGroup();
    for (int t = 0; t < a.GetNumTris(); ++t) {
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge const &ea = a.get_Tris(t).Edge(k), &eb = b.get_Tris(t).Edge(k);
            EXPECT_EQ(a.GetPointIndex(ea.GetVertex()), b.GetPointIndex(eb.GetVertex())) << t << " " << k;
            EXPECT_EQ(EdgeNumber(a, ea.GetPairedEdge()), EdgeNumber(b, eb.GetPairedEdge())) << t << " " << k;
        }
        EXPECT_EQ(ta.get_Nms(t), tb.get_Nms(t));  // recomputed from the same corners
        same(tris.Contains(CTrisData_Tris::CNm), ta, tb, [&](auto const& g) { return g.get_CNm(t); });
        same(tris.Contains(CTrisData_Tris::Col), ta, tb, [&](auto const& g) { return g.get_Col(t); });
        same(tris.Contains(CTrisData_Tris::Flag), ta, tb, [&](auto const& g) { return g.get_Flag(t); });
        same(tris.Contains(CTrisData_Tris::Ind), ta, tb, [&](auto const& g) { return g.get_Ind(t); });
        same(tris.Contains(CTrisData_Tris::Sta), ta, tb, [&](auto const& g) { return g.get_Sta(t); });
        same(tris.Contains(CTrisData_Tris::Type), ta, tb, [&](auto const& g) { return g.get_Type(t); });
    }
}

std::vector<unsigned char> RecordBytes(CTriangulation const& mesh) {
    CExportData data;
    EXPECT_TRUE(mesh.Serialise(&data));
    std::vector<unsigned char> bytes;
    data.ForEachRun(
        [&](unsigned char const* run, std::int64_t n) { bytes.insert(bytes.end(), run, run + n); });
    return bytes;
}

// Offset of the first byte of the chunk tagged tag (after its count).
std::size_t ChunkAt(std::vector<unsigned char> const& bytes, char const* tag) {
    char padded[9] = "        ";
    std::memcpy(padded, tag, std::strlen(tag));
    for (std::size_t at = 0; at + 12 <= bytes.size();) {
        std::uint32_t count = 0;
        std::memcpy(&count, &bytes[at + 8], 4);
        if (std::memcmp(&bytes[at], padded, 8) == 0) return at + 12;
        at += 12 + count;
    }
    ADD_FAILURE() << "no chunk " << tag;
    return 0;
}

void Poke(std::vector<unsigned char>& bytes, std::size_t at, std::int32_t value) {
    std::memcpy(&bytes[at], &value, 4);
}

// Reads bytes as a record: the reason and message of the failure, the mesh left empty.
std::pair<int, std::string> ReadError(std::vector<unsigned char> const& bytes) {
    CImportData data;
    data.GetStream().Put(bytes.data(), std::int64_t(bytes.size()));
    CTriangulation mesh = Build(Tetrahedron());
    try {
        mesh.Deserialise(&data);
    } catch (CQEL_Exception const& e) {
        EXPECT_EQ(mesh.GetNumPts(), 0);
        EXPECT_EQ(mesh.GetNumTris(), 0);
        return {e.GetExceptionReason(), e.what()};
    }
    return {-1, ""};
}

}  // namespace

TEST(TriangulationRecord, RoundTripIsIdenticalWithConnectivityAndEveryAttribute) {
    CTriangulation const full = FullMesh();
    CTriangulation const bare = Build(Cube());
    CTriangulation const empty;
    CPointSet points(2, 3, CPtsData::def);
    points.get_Sec(1).set_Pts(2, CPoint3<double>(1, 2, 3));

    // One file mixing point sets and triangulations, read back in order.
    CQEL_Array<ISerialisable const*> objects;
    for (ISerialisable const* object :
         std::initializer_list<ISerialisable const*>{&points, &full, &bare, &points, &empty})
        objects.PushBack(object, 1);
    CQELParser parser;
    CQEL_Stream stream;
    ASSERT_TRUE(parser.Export(stream, objects, CQEL_String()));
    ASSERT_TRUE(parser.Import(stream, CQEL_String()));
    ASSERT_EQ(parser.GetNumObjects(), 5);
    EXPECT_NE(dynamic_cast<CPointSet const*>(parser.GetObject(0)), nullptr);
    EXPECT_EQ(dynamic_cast<CPointSet const&>(*parser.GetObject(3)).get_Sec(1).get_Pts(2).z, 3.0);
    auto const& fullBack = dynamic_cast<CTriangulation const&>(*parser.GetObject(1));
    ExpectIdentical(full, fullBack);
    EXPECT_EQ(fullBack.GetUserMetaData()[2], 8);
    ExpectIdentical(bare, dynamic_cast<CTriangulation const&>(*parser.GetObject(2)));
    EXPECT_EQ(dynamic_cast<CTriangulation const&>(*parser.GetObject(4)).GetNumTris(), 0);

    // What came back is a working mesh of its own: a copy of it (relinked
    // through its pointers) writes the very bytes of the original.
    CTriangulation const copy(fullBack);
    EXPECT_EQ(RecordBytes(copy), RecordBytes(full));
}

TEST(TriangulationRecord, WritesTheChunksTheAttributesCallForAndCountsInTheIndex) {
    CExportData data;
    CTriangulation const cube = Build(Cube());
    ASSERT_TRUE(cube.Serialise(&data));
    EXPECT_EQ(data.GetClassIdentifier(), CQEL_String::FromASCII(CTriangulation::kClassGUID));
    EXPECT_EQ(data.GetTypeName(), CQEL_String::FromASCII("QEL_Triangulation"));
    EXPECT_EQ(data.GetIndexField1(), 8);
    EXPECT_EQ(data.GetIndexField2(), 12);
    // TRISHEAD + VERTICES + CORNERS + PAIRS + VEDGES; no name, no attribute chunk.
    EXPECT_EQ(data.SizeInBytes(), 5 * 12 + 16 + 8 * 24 + 12 * 12 + 12 * 12 + 8 * 4);
    std::vector<unsigned char> const cubeBytes = RecordBytes(cube);
    std::int32_t head[4];
    std::memcpy(head, &cubeBytes[ChunkAt(cubeBytes, "TRISHEAD")], 16);
    EXPECT_THAT(head, ::testing::ElementsAre(8, 12, 0x1, 0x1));  // the elements' bits; computed ones never

    std::vector<unsigned char> const bytes = RecordBytes(FullMesh());
    std::vector<std::string> tags;
    for (std::size_t at = 0; at + 12 <= bytes.size();) {
        std::uint32_t count = 0;
        std::memcpy(&count, &bytes[at + 8], 4);
        tags.emplace_back(reinterpret_cast<char const*>(&bytes[at]), 8);
        at += 12 + count;
    }
    EXPECT_THAT(tags, ::testing::ElementsAre("NAME    ", "TRISHEAD", "VERTICES", "CORNERS ", "PAIRS   ",
                                             "VEDGES  ", "VNORMALS", "VCNORMLS", "VUVS    ", "VERRORS ",
                                             "VSTATUS ", "VVELS   ", "TCNORMLS", "TCOLOURS", "TFLAGS  ",
                                             "TINDICES", "TSTATUS ", "TTYPES  ", "METADATA"));
}

TEST(TriangulationRecord, DamagedRecordsThrowReason23AndLeaveTheMeshEmpty) {
    CTriangulation full = FullMesh();
    full.SetUserMetaData(CQEL_Array<unsigned char>());  // the last chunk is then a required one
    std::vector<unsigned char> const good = RecordBytes(full);
    ASSERT_EQ(ReadError(good).first, -1);

    // Cut at every length.
    for (std::size_t n = 0; n < good.size(); ++n) {
        auto const [reason, message] =
            ReadError(std::vector<unsigned char>(good.begin(), good.begin() + long(n)));
        ASSERT_EQ(reason, QEL_FILE_READ_ERROR) << "cut at " << n;
    }

    std::size_t const head = ChunkAt(good, "TRISHEAD"), corners = ChunkAt(good, "CORNERS"),
                      pairs = ChunkAt(good, "PAIRS"), vedges = ChunkAt(good, "VEDGES");
    int const numPts = full.GetNumPts(), numTris = full.GetNumTris();
    struct SDamage {
        std::size_t at;
        std::int32_t value;
        char const* says;
    };
    int const pairOfEdge0 = EdgeNumber(full, full.get_Tris(0).Edge(1).GetPairedEdge());
    SDamage const damages[] = {
        {head, numPts + 1, "not"},  // lying counts: chunks no longer fit
        {head, INT_MAX, "not"},
        {head, -1, "vertices and"},
        {head + 4, numTris - 1, "not"},
        {head + 4, INT_MAX, "triangles"},
        {head + 8, 0x100, "unknown attribute flags"},
        {head + 12, 0x001, "\"TCNORMLS\" of an attribute"},  // a chunk the header does not list
        {corners + 4, numPts, "outside 0 to"},               // out-of-range indices
        {corners, -2, "outside 0 to"},
        {pairs + 4, 3 * numTris, "outside 0 to"},
        {pairs + 4, -7, "outside 0 to"},
        {pairs + 4, 1, "does not pair back"},  // itself
        {pairs, pairOfEdge0, "does not pair back"},
        {vedges, 3 * numTris, "does not start at it"},
        {vedges, 1, "does not start at it"},
    };
    for (SDamage const& damage : damages) {
        std::vector<unsigned char> bad = good;
        Poke(bad, damage.at, damage.value);
        auto const [reason, message] = ReadError(bad);
        EXPECT_EQ(reason, QEL_FILE_READ_ERROR) << damage.says;
        EXPECT_THAT(message, HasSubstr(damage.says));
    }

    // A marker byte that is no bool.
    std::vector<unsigned char> notBool = good;
    notBool[ChunkAt(good, "TFLAGS") + 2] = 91;
    EXPECT_THAT(ReadError(notBool).second, HasSubstr("not 0 or 1"));

    // Mutual pairs that do not join the same vertices in opposite directions.
    SHandMesh two{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {{0, 1, 2}, {3, 2, 1}}};
    std::vector<unsigned char> bad = RecordBytes(Build(two));
    std::size_t const at = ChunkAt(bad, "PAIRS");
    Poke(bad, at + 4, -1), Poke(bad, at + 4 * 4, -1);  // the shared edge unpaired
    Poke(bad, at, 3), Poke(bad, at + 4 * 3, 0);        // edges 0 and 3 paired instead
    EXPECT_THAT(ReadError(bad).second, HasSubstr("opposite directions"));

    // A chunk twice.
    std::vector<unsigned char> twice = good;
    std::size_t const v = ChunkAt(good, "VEDGES") - 12;
    twice.insert(twice.end(), good.begin() + long(v), good.begin() + long(v + 12 + 4 * std::size_t(numPts)));
    EXPECT_THAT(ReadError(twice).second, HasSubstr("appears twice"));
}

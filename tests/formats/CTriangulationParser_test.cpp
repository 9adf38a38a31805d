// SPDX-License-Identifier: MIT
// The triangle formats: damaged meshes through every reader, exact byte
// layouts of the writers, round trips, files cut at every length and
// headers that lie.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CTriangulation.h"
#include "formats/CTriangulationParser.h"
#include "test_helpers/FileFolderTest.h"
#include "test_helpers/IndexedMeshFixtures.h"
#include "test_helpers/ReasonOf.h"
#include "test_helpers/TriangulationInvariants.h"

using namespace QEL::Core;
using namespace QEL::Test;
using ::testing::HasSubstr;

namespace {

class TriangleFiles : public QEL::Test::CFileFolderTest {
  protected:
    static int Count(std::vector<std::string> const& texts, std::string const& text) {
        return int(std::count(texts.begin(), texts.end(), text));
    }
};

template <class T>
void Put(std::string& bytes, T value) {
    bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
}

std::string BinarySTL(SIndexedMesh const& mesh, std::string const& header = "test") {
    std::string bytes = header;
    bytes.resize(80, '\0');
    Put(bytes, std::uint32_t(mesh.Triangles()));
    for (std::int64_t t = 0; t < mesh.Triangles(); ++t) {
        for (int i = 0; i < 3; ++i)
            Put(bytes, 0.0f);
        for (int k = 0; k < 3; ++k)
            for (double v : mesh.positions[std::size_t(mesh.corners[std::size_t(3 * t + k)])])
                Put(bytes, float(v));
        Put(bytes, std::uint16_t(0));
    }
    return bytes;
}

std::string AsciiSTL(SIndexedMesh const& mesh) {
    std::ostringstream out;
    out.precision(17);
    out << "solid test\n";
    for (std::int64_t t = 0; t < mesh.Triangles(); ++t) {
        out << " facet normal 0 0 1\n  outer loop\n";
        for (int k = 0; k < 3; ++k) {
            auto const& p = mesh.positions[std::size_t(mesh.corners[std::size_t(3 * t + k)])];
            out << (k == 1 ? "   VERTEX " : "   vertex ") << p[0] << ' ' << p[1] << ' ' << p[2] << '\n';
        }
        out << "  endloop\n endfacet\n";
    }
    out << "endsolid test\n";
    return out.str();
}

std::string Tri(SIndexedMesh const& mesh) {
    std::string bytes("version_info=\0", 14);
    Put(bytes, std::int32_t(1));
    Put(bytes, std::int32_t(mesh.Vertices()));
    Put(bytes, std::int32_t(mesh.Triangles()));
    for (auto const& p : mesh.positions)
        for (double v : p)
            Put(bytes, float(v));
    for (int c : mesh.corners)
        Put(bytes, std::int32_t(c));
    return bytes;
}

std::string Raw(SIndexedMesh const& mesh) {
    std::ostringstream out;
    for (std::int64_t t = 0; t < mesh.Triangles(); ++t) {
        char const* separator = "";
        for (int k = 0; k < 3; ++k)
            for (double v : mesh.positions[std::size_t(mesh.corners[std::size_t(3 * t + k)])])
                out << std::exchange(separator, " ") << v;
        out << '\n';
    }
    return out.str();
}

// A grid with a hole, 64 non-manifold fins, 3 flipped triangles, 2 pinched
// (degenerate) triangles and 2 zero-area triangles of distinct collinear corners.
struct SDamagedMesh {
    SIndexedMesh mesh = MakeGrid(40, 30);
    int flipped = mesh.FlipTriangles({100, 300, 1500});
    int pinched = mesh.PinchTriangles({3, 7});
    int fins = mesh.AddFins(27 * 40, 64);
    int hole = mesh.CutHole(40, 10, 10, 4, 3);
    SDamagedMesh() {
        int const first = mesh.Vertices();
        for (int i = 0; i < 4; ++i)
            mesh.positions.push_back({100.0 + i, 0.0, 0.0});
        mesh.corners.insert(mesh.corners.end(),
                            {first, first + 1, first + 2, first + 1, first + 3, first + 2});
    }
    // Distinct corner positions (what the soup formats weld to).
    int UsedPositions() const {
        std::set<std::array<double, 3>> used;
        for (int c : mesh.corners)
            used.insert(mesh.positions[std::size_t(c)]);
        return int(used.size());
    }
};

}  // namespace

TEST_F(TriangleFiles, DamagedMeshesLoadThroughEveryReaderWithTheExactWeld) {
    SDamagedMesh const damaged;
    std::int64_t const kept = damaged.mesh.Triangles() - damaged.pinched;
    struct SCase {
        std::string name, bytes;
        int vertices;
    } const cases[] = {
        {"damaged.stl", BinarySTL(damaged.mesh), damaged.UsedPositions()},
        {"damaged_ascii.stl", AsciiSTL(damaged.mesh), damaged.UsedPositions()},
        {"damaged.raw", Raw(damaged.mesh), damaged.UsedPositions()},
        {"damaged.tri", Tri(damaged.mesh),
         damaged.mesh.Vertices()},  // unused vertices of an indexed file stay
    };
    for (SCase const& c : cases) {
        SCOPED_TRACE(c.name);
        Write(c.name, c.bytes);
        STriangleFormat const* format = FindTriangleFormat(Path(c.name));
        ASSERT_NE(format, nullptr);
        CTriangulationParser parser;
        CTriangulation mesh;
        m_warnings.clear();
        ASSERT_TRUE(format->read(parser, Path(c.name), &mesh));
        EXPECT_EQ(mesh.GetNumPts(), c.vertices);
        EXPECT_EQ(mesh.GetNumTris(), kept);
        SAssemblyReport const& report = parser.GetLastReport();
        EXPECT_EQ(report.trianglesIn, damaged.mesh.Triangles());
        EXPECT_EQ(report.degenerateDropped, damaged.pinched);
        EXPECT_EQ(report.nonManifoldEdges, damaged.fins);
        EXPECT_EQ(report.orientationConflicts, 3 * damaged.flipped);
        EXPECT_EQ(TriangulationInvariants(mesh), "");
        EXPECT_TRUE(m_warnings.empty());
    }
    EXPECT_EQ(Count(m_texts, "  Number of triangles = " + std::to_string(kept)), 4);
}

TEST_F(TriangleFiles, WritersLayTheirBytesOutExactly) {
    SIndexedMesh square = MakeGrid(1, 1);  // (0,0,0) (1,0,0) (1,1,0) (0,1,0)
    square.positions[3] = {1.0, 1.0, 3.14159265};
    Write("square.tri", Tri(square));
    CQEL_ObjectList<CTriangulation> list;
    CTriangulationParser parser;
    ASSERT_TRUE(parser.ReadTRIFile(Path("square.tri"), &list));
    CTriangulation const& mesh = list[0];

    // STL: the default header, zeros, the count, then normal, corners, attribute 0 per triangle.
    ASSERT_TRUE(parser.WriteSTLFile(Path("out.stl"), mesh, CQEL_String()));
    std::string const stl = Read("out.stl");
    ASSERT_EQ(stl.size(), 84u + 2 * 50);
    EXPECT_EQ(stl.substr(0, 18), "STL created by QEL");
    EXPECT_EQ(stl.substr(18, 62), std::string(62, '\0'));
    std::uint32_t count;
    std::memcpy(&count, stl.data() + 80, 4);
    EXPECT_EQ(count, 2u);
    float record[12];
    std::memcpy(record, stl.data() + 84 + 50, 48);
    CVector3<double> const normal = mesh.GetTriangleGroup().get_Nms(1);
    EXPECT_EQ(record[0], float(normal.x));
    EXPECT_EQ(record[2], float(normal.z));
    EXPECT_EQ(std::vector<float>(record + 3, record + 12),
              (std::vector<float>{0, 0, 0, 1, 1, float(3.14159265), 0, 1, 0}));
    EXPECT_EQ(stl.substr(84 + 98, 2), std::string(2, '\0'));
    ASSERT_TRUE(
        parser.WriteSTLFile(Path("named.stl"), mesh, CQEL_String::FromASCII(std::string(90, 'h').c_str())));
    EXPECT_EQ(Read("named.stl").substr(0, 81), std::string(80, 'h') + '\2');
    {
        // Large meshes: records made in blocks and parts side by side, every one in its place.
        Write("big.tri", Tri(MakeTorus(400, 200)));
        CQEL_ObjectList<CTriangulation> bigList;
        ASSERT_TRUE(parser.ReadTRIFile(Path("big.tri"), &bigList));
        CTriangulation const& big = bigList[0];
        ASSERT_TRUE(parser.WriteSTLFile(Path("big.stl"), big, CQEL_String()));
        std::string const bytes = Read("big.stl");
        ASSERT_EQ(bytes.size(), 84u + 50u * std::size_t(big.GetNumTris()));
        for (int t = 0; t < big.GetNumTris(); ++t) {
            float expected[12];
            CVector3<double> const n = big.GetTriangleGroup().get_Nms(t);
            expected[0] = float(n.x), expected[1] = float(n.y), expected[2] = float(n.z);
            for (int k = 0; k < 3; ++k) {
                auto const p = big.get_Tris(t).GetPt(k)->GetPoint();
                expected[3 + 3 * k] = float(p.x), expected[4 + 3 * k] = float(p.y),
                                 expected[5 + 3 * k] = float(p.z);
            }
            ASSERT_EQ(std::memcmp(bytes.data() + 84 + 50 * std::size_t(t), expected, 48), 0) << t;
            ASSERT_EQ(bytes.substr(84 + 50 * std::size_t(t) + 48, 2), std::string(2, '\0')) << t;
        }
    }

    // .tri: tag, version, counts, float vertices, int corners.
    ASSERT_TRUE(parser.WriteTRIFile(Path("out.tri"), mesh));
    EXPECT_EQ(Read("out.tri"), Tri(square));

    // .raw: nine values per line, six significant digits.
    ASSERT_TRUE(parser.WriteRAWFile(Path("out.raw"), mesh));
    EXPECT_EQ(Read("out.raw"), "0 0 0 1 0 0 1 1 3.14159\n0 0 0 1 1 3.14159 0 1 0\n");
}

TEST_F(TriangleFiles, EveryFormatRoundTripsAClosedMesh) {
    SIndexedMesh const torus = MakeTorus(30, 20);
    Write("torus.tri", Tri(torus));
    CTriangulationParser parser;
    CQEL_ObjectList<CTriangulation> list;
    ASSERT_TRUE(parser.ReadTRIFile(Path("torus.tri"), &list));
    CTriangulation const& original = list[0];
    int count = 0;
    STriangleFormat const* formats = GetTriangleFormats(count);
    for (int f = 0; f < count; ++f) {
        SCOPED_TRACE(formats[f].extension);
        CQEL_String const path = Path(std::string("copy") + formats[f].extension);
        ASSERT_TRUE(formats[f].write(parser, path, original));
        CTriangulation copy;
        ASSERT_TRUE(formats[f].read(parser, path, &copy));
        ASSERT_EQ(copy.GetNumPts(), original.GetNumPts());
        ASSERT_EQ(copy.GetNumTris(), original.GetNumTris());
        EXPECT_EQ(parser.GetLastReport().boundaryHalfEdges, 0);
        // Same triangles in the same order, corners within the format's precision.
        double const tolerance = formats[f].extension == std::string(".raw") ? 1e-5 : 1e-6;
        for (int t = 0; t < copy.GetNumTris(); ++t)
            for (int k = 0; k < 3; ++k) {
                auto const a = original.get_Tris(t).GetPt(k)->GetPoint(),
                           b = copy.get_Tris(t).GetPt(k)->GetPoint();
                ASSERT_NEAR(a.x, b.x, tolerance);
                ASSERT_NEAR(a.y, b.y, tolerance);
                ASSERT_NEAR(a.z, b.z, tolerance);
            }
        EXPECT_EQ(TriangulationInvariants(copy), "");
    }
}

TEST_F(TriangleFiles, FilesCutAtEveryLengthNeverCrash) {
    SIndexedMesh mesh = MakeGrid(2, 1);
    mesh.positions[4][2] = -1.5;  // a high bit in the binary records
    std::string const two = Tri(mesh) + Tri(mesh);
    std::string const files[][2] = {{"cut.stl", BinarySTL(mesh)},
                                    {"cut_ascii.stl", AsciiSTL(mesh)},
                                    {"cut.tri", two},
                                    {"cut.raw", Raw(mesh)}};
    for (auto const& file : files) {
        STriangleFormat const* format = FindTriangleFormat(Path(file[0]));
        for (std::size_t length = 0; length <= file[1].size(); ++length) {
            SCOPED_TRACE(file[0] + " cut at " + std::to_string(length));
            Write(file[0], file[1].substr(0, length));
            CTriangulation target;
            CTriangulationParser parser;
            int const reason = ReasonOf([&] {
                if (format->read(parser, Path(file[0]), &target)) {
                    ASSERT_EQ(TriangulationInvariants(target), "");
                }
            });
            ASSERT_TRUE(reason == -1 || reason == QEL_FILE_READ_ERROR || reason == QEL_UNSUPPORTED_FORMAT)
                << "reason " << reason;
        }
    }
}

TEST_F(TriangleFiles, HeadersThatLieAreRefusedBeforeAnythingIsAllocated) {
    SIndexedMesh const square = MakeGrid(1, 1);
    std::string const good = Tri(square);
    auto patched = [&](std::size_t at, std::int32_t value) {
        std::string bytes = good;
        std::memcpy(bytes.data() + at, &value, 4);
        return bytes;
    };
    struct SCase {
        std::string bytes;
        int reason;
        char const* message;
    } const cases[] = {
        {patched(18, 0x7FFFFFFF), QEL_FILE_READ_ERROR, "claims 2147483647 vertices"},
        {patched(22, 0x7FFFFFFF), QEL_FILE_READ_ERROR, "2147483647 triangles"},
        {patched(18, -1), QEL_FILE_READ_ERROR, "claims -1 vertices"},
        {patched(26 + 48 + 4, 4), QEL_FILE_READ_ERROR, "refers to vertex 4, but there are 4 vertices"},
        {patched(26 + 48, -7), QEL_FILE_READ_ERROR, "refers to vertex -7"},
        {patched(14, 2), QEL_UNSUPPORTED_FORMAT, "Unsupported file version"},
        {"version_info!" + good.substr(13), QEL_UNSUPPORTED_FORMAT, "Unsupported file version"},
        {good + "x", QEL_UNSUPPORTED_FORMAT, "Unsupported file version"},
        {good + good.substr(0, 30), QEL_FILE_READ_ERROR, "triangulation 2"},
        // No vertices at all (found by fuzzing: an empty vertex block).
        {patched(18, 0).substr(0, 26) + good.substr(26 + 48), QEL_FILE_READ_ERROR,
         "but there are 0 vertices"},
    };
    for (SCase const& c : cases) {
        Write("lie.tri", c.bytes);
        CQEL_ObjectList<CTriangulation> list;
        list.AddNew();
        CTriangulationParser parser;
        try {
            parser.ReadTRIFile(Path("lie.tri"), &list);
            ADD_FAILURE() << c.message;
        } catch (CQEL_Exception const& e) {
            EXPECT_EQ(e.GetExceptionReason(), c.reason) << c.message;
            EXPECT_THAT(e.what(), HasSubstr(c.message));
            EXPECT_THAT(e.what(), HasSubstr("QEL::Core::CTriangulationParser::ReadTRIFile"));
        }
        EXPECT_EQ(list.GetNum(), 1);  // what the call added is gone again
    }
    // A binary STL count that the size does not back is refused without an exception.
    std::string stl = BinarySTL(square);
    stl[0] = char(0xC8);
    std::uint32_t const huge = 0xFFFFFFFFu;
    std::memcpy(stl.data() + 80, &huge, 4);
    Write("lie.stl", stl);
    CTriangulation mesh;
    EXPECT_FALSE(CTriangulationParser().ReadSTLFile(Path("lie.stl"), &mesh));
}

TEST_F(TriangleFiles, STLEdgeCases) {
    SIndexedMesh const square = MakeGrid(1, 1);
    CTriangulationParser parser;
    CTriangulation mesh;
    // A binary file whose first 1000 bytes are all 7-bit is read as ASCII (no "vertex": no triangles).
    SIndexedMesh flat = MakeGrid(4, 4);
    for (auto& p : flat.positions)
        p = {0.0, 0.0, 0.0};
    ASSERT_TRUE(parser.ReadSTLFile(Path("flat.stl"), &mesh) == false);  // missing file: false
    Write("flat.stl", BinarySTL(flat));
    ASSERT_TRUE(parser.ReadSTLFile(Path("flat.stl"), &mesh));
    EXPECT_EQ(mesh.GetNumTris(), 0);
    // One extra trailing byte: false, and the target untouched.
    Write("square.stl", BinarySTL(square, "\xC8 binary"));
    ASSERT_TRUE(parser.ReadSTLFile(Path("square.stl"), &mesh));
    EXPECT_EQ(mesh.GetNumTris(), 2);
    EXPECT_EQ(std::count_if(m_texts.begin(), m_texts.end(),
                            [](std::string const& t) { return t.rfind("STL file header text", 0) == 0; }),
              0);
    Write("long.stl", BinarySTL(square, "\xC8 binary") + "x");
    EXPECT_FALSE(parser.ReadSTLFile(Path("long.stl"), &mesh));
    EXPECT_EQ(mesh.GetNumTris(), 2);
    Write("short.stl", std::string(83, '\xC8'));
    EXPECT_FALSE(parser.ReadSTLFile(Path("short.stl"), &mesh));
    // A 7-bit header is announced; the record's high bits make the file binary.
    SIndexedMesh negative = square;
    negative.positions[0] = {-1.0, -2.0, -3.0};
    Write("negative.stl", BinarySTL(negative, "made by hand"));
    ASSERT_TRUE(parser.ReadSTLFile(Path("negative.stl"), &mesh));
    EXPECT_EQ(Count(m_texts, "STL file header text: made by hand"), 1);
    EXPECT_EQ(Count(m_texts, "  Number of points = 4"), 2);
    EXPECT_EQ(std::count_if(m_texts.begin(), m_texts.end(),
                            [](std::string const& t) { return t.rfind("STL import took = ", 0) == 0; }),
              3);
    // ASCII: a "vertex" without three numbers.
    Write("bad.stl", "solid x\n facet normal 0 0 1\n outer loop\n vertex 1 2\n endloop\n");
    EXPECT_EQ(ReasonOf([&] { parser.ReadSTLFile(Path("bad.stl"), &mesh); }), QEL_FILE_READ_ERROR);
    // Null targets.
    try {
        parser.ReadSTLFile(Path("square.stl"), nullptr);
        ADD_FAILURE();
    } catch (CQEL_Exception const& e) {
        EXPECT_EQ(e.GetExceptionReason(), QEL_NULL_PARAMETER);
        EXPECT_THAT(e.what(), HasSubstr("pTris"));
        EXPECT_THAT(e.what(), HasSubstr("Null Pointer"));
    }
    EXPECT_EQ(ReasonOf([&] { parser.ReadTRIFile(Path("x.tri"), nullptr); }), QEL_NULL_PARAMETER);
    EXPECT_EQ(ReasonOf([&] { parser.ReadRAWFile(Path("x.raw"), nullptr); }), QEL_NULL_PARAMETER);
}

TEST_F(TriangleFiles, RawEdgeCases) {
    // Ten points: three triangles and one warning.
    std::string text;
    for (int i = 0; i < 10; ++i)
        text += std::to_string(i) + " " + std::to_string(i * i) + " 1\n";
    Write("ten.raw", text);
    CTriangulationParser parser;
    CTriangulation mesh;
    ASSERT_TRUE(parser.ReadRAWFile(Path("ten.raw"), &mesh));
    EXPECT_EQ(mesh.GetNumTris(), 3);
    EXPECT_EQ(m_warnings, std::vector<std::string>{"Inconsistent point set"});
    // Writing and reading back rounds to six significant digits.
    Write("precise.raw", "1.23456789 -0.000123456789 98765.4321 2 0 0 0 2 0\n");
    ASSERT_TRUE(parser.ReadRAWFile(Path("precise.raw"), &mesh));
    ASSERT_TRUE(parser.WriteRAWFile(Path("rounded.raw"), mesh));
    EXPECT_EQ(Read("rounded.raw"), "1.23457 -0.000123457 98765.4 2 0 0 0 2 0\n");
    ASSERT_TRUE(parser.ReadRAWFile(Path("rounded.raw"), &mesh));
    EXPECT_EQ(mesh.get_Pts(0).get_x(), 1.23457);
    EXPECT_EQ(mesh.get_Pts(0).get_z(), 98765.4);
    EXPECT_EQ(Count(m_texts, "  Number of points = 3"), 2);
    // An empty ".tri" through the format table empties the target (a copy of an empty one would not).
    Write("empty.tri", Tri(SIndexedMesh{}));
    ASSERT_TRUE(FindTriangleFormat(Path("empty.tri"))->read(parser, Path("empty.tri"), &mesh));
    EXPECT_EQ(mesh.GetNumPts(), 0);
}

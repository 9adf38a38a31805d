// SPDX-License-Identifier: MIT
// PLY: point sets with every attribute and meshes through both encodings,
// hand-written files of each variant, headers that lie and files cut at
// every length.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <fstream>
#include <string>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CTriangulation.h"
#include "formats/CPlyParser.h"
#include "formats/CPointSetParser.h"
#include "formats/CTriangulationParser.h"
#include "test_helpers/IndexedMeshFixtures.h"
#include "test_helpers/PointSetFixtures.h"
#include "test_helpers/FileFolderTest.h"
#include "test_helpers/ReasonOf.h"
#include "test_helpers/TriangulationInvariants.h"

using namespace QEL::Core;
using namespace QEL::Test;
using ::testing::HasSubstr;

namespace {

using PlyFiles = QEL::Test::CFileFolderTest;

// Big-endian bytes of value.
template <class T>
std::string BE(T value) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    return std::string(std::rbegin(bytes), std::rend(bytes));
}

CTriangulation Assemble(SIndexedMesh const& mesh) {
    std::vector<float> xyz;
    for (auto const& p : mesh.positions)
        xyz.insert(xyz.end(), {float(p[0]), float(p[1]), float(p[2])});
    CTriangulation tris;
    SAssemblyOptions quiet;
    quiet.announce = false;
    CTriangulation_Merge_Parts(tris).MergeIndexed(xyz.data(), mesh.Vertices(), mesh.corners.data(),
                                                  mesh.Triangles(), quiet);
    return tris;
}

}  // namespace

TEST_F(PlyFiles, PointSetsKeepEveryAttributeInBothEncodings) {
    CPointSet set = MakeSet(1, 300, AllStored(), 5);
    CPointSet_Section& section = set.get_Sec(0);
    for (int i = 0; i < section.GetNumPts(); ++i)  // colours travel as bytes
        section.set_Col(i, CPoint3<double>((i % 256) / 255.0, ((7 * i) % 256) / 255.0, 1.0));
    for (bool ascii : {false, true}) {
        SCOPED_TRACE(ascii);
        SPlyOptions options;
        options.ascii = ascii;
        ASSERT_TRUE(CPlyParser::WritePointSet(Path("set.ply"), set, options));
        CPointSet copy;
        ASSERT_TRUE(CPlyParser::ReadPointSet(Path("set.ply"), &copy));
        ExpectSameSets(set, copy);
    }
    // Sections join into one vertex element; one without an attribute writes its defaults.
    CPointSet two = MakeSet(2, 10, CPtsData::def, 3);
    two.get_Sec(1).AddMetaData(CPtsData::nms);
    two.get_Sec(1).set_Nms(0, CVector3<double>(0, 0, 1));
    ASSERT_TRUE(FindPointFormat(Path("two.ply"))->write(Path("two.ply"), two, false, {}));
    CPointSet copy;
    ASSERT_TRUE(FindPointFormat(Path("two.ply"))->read(Path("two.ply"), &copy));
    ASSERT_EQ(copy.GetNumSec(), 1);
    ASSERT_EQ(copy.GetNumPts(), 20);
    EXPECT_EQ(copy.get_Sec(0).get_Nms(10).z, 1.0);
    EXPECT_EQ(copy.get_Sec(0).get_Nms(0).z, 0.0);
    EXPECT_EQ(copy.get_Sec(0).get_Pts(15).x, two.get_Sec(1).get_Pts(5).x);
    EXPECT_EQ(ReasonOf([&] { FindPointFormat(Path("two.ply"))->write(Path("two.ply"), two, true, {}); }),
              QEL_PARAMETER_OUT_OF_RANGE);
}

TEST_F(PlyFiles, MeshesRoundTripInBothEncodings) {
    CTriangulation const torus = Assemble(MakeTorus(24, 16));
    for (bool ascii : {false, true}) {
        SCOPED_TRACE(ascii);
        SPlyOptions options;
        options.ascii = ascii;
        options.floatValues = ascii;
        ASSERT_TRUE(CPlyParser::WriteTriangulation(Path("torus.ply"), torus, options));
        CTriangulation copy;
        SAssemblyReport report;
        ASSERT_TRUE(CPlyParser::ReadTriangulation(Path("torus.ply"), &copy, {}, &report));
        ASSERT_EQ(copy.GetNumPts(), torus.GetNumPts());
        ASSERT_EQ(copy.GetNumTris(), torus.GetNumTris());
        EXPECT_EQ(report.boundaryHalfEdges, 0);
        for (int t = 0; t < copy.GetNumTris(); ++t)
            for (int k = 0; k < 3; ++k)
                ASSERT_EQ(copy.get_Tris(t).GetPt(k)->GetPoint().x, torus.get_Tris(t).GetPt(k)->GetPoint().x);
        EXPECT_EQ(TriangulationInvariants(copy), "");
    }
    // Vertices alone: a point set, or a triangulation without triangles.
    CPointSet points;
    ASSERT_TRUE(CPlyParser::ReadPointSet(Path("torus.ply"), &points));
    EXPECT_EQ(points.GetNumPts(), torus.GetNumPts());
    EXPECT_THAT(m_warnings, ::testing::Contains(HasSubstr("faces were ignored")));
}

TEST_F(PlyFiles, HandWrittenVariants) {
    // Big-endian, faces before vertices, an unknown element with a list,
    // uchar colours, int8 and double positions, a quad and a short polygon.
    std::string big =
        "ply\r\nformat binary_big_endian 1.0\r\ncomment made by hand\r\n"
        "element face 2\r\nproperty list uint8 int32 vertex_indices\r\nproperty uchar flags\r\n"
        "element edge 1\r\nproperty list uchar float values\r\n"
        "element vertex 4\r\nproperty double x\r\nproperty int8 y\r\nproperty float z\r\n"
        "property uchar red\r\nproperty uchar green\r\nproperty uchar blue\r\nproperty float "
        "scalar_intensity\r\n"
        "end_header\r\n";
    big += std::string(1, '\4') + BE<int>(0) + BE<int>(1) + BE<int>(2) + BE<int>(3) + '\7';
    big += std::string(1, '\2') + BE<int>(0) + BE<int>(1) + '\0';
    big += std::string(1, '\2') + BE<float>(1.5f) + BE<float>(2.5f);
    double const x[] = {0.25, 1, 1, 0};
    signed char const y[] = {0, 0, 1, -1};
    for (int v = 0; v < 4; ++v)
        big += BE<double>(x[v]) + std::string(1, char(y[v])) + BE<float>(2.0f) +
               std::string("\xff\x00\x33", 3) + BE<float>(0.5f * float(v));
    Write("big.ply", big);
    CTriangulationParser parser;
    CTriangulation tris;
    ASSERT_TRUE(parser.ReadPLYFile(Path("big.ply"), &tris));
    EXPECT_EQ(tris.GetNumPts(), 4);
    EXPECT_EQ(tris.GetNumTris(), 2);  // the quad as a fan; the two-corner face skipped
    EXPECT_EQ(tris.get_Tris(1).GetPt(2)->GetPoint().y, -1.0);
    EXPECT_THAT(m_warnings, ::testing::Contains(HasSubstr("1 PLY faces of fewer than three corners")));
    CPointSet set;
    ASSERT_TRUE(CPlyParser::ReadPointSet(Path("big.ply"), &set));
    ASSERT_EQ(set.GetNumPts(), 4);
    CPointSet_Section const& s = set.get_Sec(0);
    EXPECT_EQ(s.get_Pts(0).x, 0.25);
    EXPECT_EQ(s.get_Pts(3).y, -1.0);
    EXPECT_EQ(s.get_Col(2).x, 1.0);
    EXPECT_EQ(s.get_Col(2).z, 0.2);
    EXPECT_EQ(s.get_Err(3), 1.5);

    // ASCII, "vertex_index", a pentagon, spread over lines as writers do it.
    Write("ascii.ply",
          "ply\nformat ascii 1.0\nelement vertex 5\nproperty float x\nproperty float y\nproperty float z\n"
          "property float nx\nproperty float ny\nproperty float nz\nelement face 1\n"
          "property list uchar uint vertex_index\nend_header\n"
          "0 0 0 0 0 1\n1 0 0 0 0 1\n2 1 0 0 0 1\n1 2 0 0 0 1\n0 1 0 0 0 1\n5 0 1 2 3 4\n");
    ASSERT_TRUE(parser.ReadPLYFile(Path("ascii.ply"), &tris));
    EXPECT_EQ(tris.GetNumTris(), 3);
    EXPECT_EQ(parser.GetLastReport().boundaryHalfEdges, 5);
    CPointSet normals;
    ASSERT_TRUE(CPlyParser::ReadPointSet(Path("ascii.ply"), &normals));
    EXPECT_TRUE(normals.get_Sec(0).HasMetaData(CPtsData::nms));
    EXPECT_EQ(normals.get_Sec(0).get_Nms(4).z, 1.0);
}

TEST_F(PlyFiles, DamagedFilesSayWhatIsWrong) {
    std::string const head = "ply\nformat binary_little_endian 1.0\nelement vertex ";
    std::string const props = "\nproperty float x\nproperty float y\nproperty float z\n";
    struct SCase {
        std::string bytes;
        char const* says;
        bool meshOnly = false;  // a point set skips the faces
    } const cases[] = {
        {head + "2000000000" + props + "end_header\n" + std::string(12, '\0'),
         "announces 2000000000 vertex rows"},
        {head + "99999999999" + props + "end_header\n", "bad element count"},
        {head + "1" + props, "no \"end_header\""},
        {head + "1\nproperty float x\nend_header\n" + std::string(4, '\0'), "no property \"y\""},
        {head + "1" + props + "element face 1\nproperty list uchar int vertex_indices\nend_header\n" +
             std::string(12, '\0') + "\3" + std::string(8, '\0') + std::string("\1\0\0\0", 4),
         "refers to vertex 1, but there are 1", true},
        {head + "1" + props + "element face 1\nproperty list uchar int vertex_indices\nend_header\n" +
             std::string(12, '\0') + "\xff" + std::string(8, '\0'),
         "a list of 255 items"},
        {"ply\nformat ascii 1.0\nelement vertex 2" + props + "end_header\n1 2 3\n4 5 x\n",
         "row 1: a value that is not"},
        {"ply\nformat binary 1.0\nend_header\n", "unknown format"},
        {"solid cube\n", "not a PLY file"},
    };
    for (SCase const& c : cases) {
        SCOPED_TRACE(c.says);
        Write("bad.ply", c.bytes);
        CPointSet set;
        CTriangulation tris;
        EXPECT_THAT(Message([&] { CPlyParser::ReadTriangulation(Path("bad.ply"), &tris); }),
                    HasSubstr(c.says));
        if (c.meshOnly) continue;
        EXPECT_EQ(ReasonOf([&] { CPlyParser::ReadPointSet(Path("bad.ply"), &set); }), QEL_FILE_READ_ERROR);
        EXPECT_EQ(set.GetNumSec(), 0);
    }
    CPointSet set;
    EXPECT_FALSE(CPlyParser::ReadPointSet(Path("missing.ply"), &set));
}

TEST_F(PlyFiles, FilesCutAtEveryLengthNeverCrash) {
    CTriangulation const square = Assemble(MakeGrid(1, 1));
    for (bool ascii : {false, true}) {
        SPlyOptions options;
        options.ascii = ascii;
        ASSERT_TRUE(CPlyParser::WriteTriangulation(Path("whole.ply"), square, options));
        std::ifstream in(m_dir / "whole.ply", std::ios::binary);
        std::string const whole(std::istreambuf_iterator<char>(in), {});
        for (std::size_t length = 0; length < whole.size(); ++length) {
            SCOPED_TRACE(std::to_string(ascii) + " cut at " + std::to_string(length));
            Write("cut.ply", whole.substr(0, length));
            CTriangulation tris;
            int const reason = ReasonOf([&] {
                if (CPlyParser::ReadTriangulation(Path("cut.ply"), &tris)) {
                    ASSERT_EQ(TriangulationInvariants(tris), "");
                }
            });
            // A text file cut inside its last number still reads (with a shorter number).
            ASSERT_TRUE(reason == QEL_FILE_READ_ERROR || (ascii && reason == -1)) << "reason " << reason;
        }
    }
}

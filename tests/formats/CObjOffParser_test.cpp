// SPDX-License-Identifier: MIT
// OBJ and OFF: round trips of meshes and points, hand-written files with
// negative indices, quads and comments, damaged files and lying counts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CPointSet.h"
#include "entities/CTriangulation.h"
#include "formats/CObjOffParser.h"
#include "formats/CPointSetParser.h"
#include "formats/CTriangulationParser.h"
#include "test_helpers/FileFolderTest.h"
#include "test_helpers/ReasonOf.h"
#include "test_helpers/TriangulationInvariants.h"

using namespace QEL::Core;

using ::testing::HasSubstr;

namespace {

using ObjOffFiles = QEL::Test::CFileFolderTest;

}  // namespace

TEST_F(ObjOffFiles, HandWrittenFilesWithEveryCornerFormAndNegativeIndices) {
    // A unit cube's top as a quad and its side as two triangles with negative
    // indices, corners in all four forms, groups and materials.
    Write("cube.obj",
          "# a comment\nmtllib cube.mtl\no cube\nv 0 0 1\nv 1 0 1\nv 1 1 1\nv 0 1 1 1.0\nvt 0 0\nvn 0 0 1\n"
          "g top\nusemtl red\ns off\nf 1/1/1 2/1/1 3//1 4\nv 0 0 0\nv 1 0 0\nf -2 -1 2/1\nf -2 2 1 # end\nf "
          "1 2\n");
    CTriangulationParser parser;
    CTriangulation tris;
    ASSERT_TRUE(parser.ReadOBJFile(Path("cube.obj"), &tris));
    EXPECT_EQ(tris.GetNumPts(), 6);
    EXPECT_EQ(tris.GetNumTris(), 4);
    EXPECT_EQ(tris.get_Tris(2).GetPt(1)->GetPoint().x, 1.0);  // -1: the sixth vertex (1, 0, 0)
    EXPECT_EQ(tris.get_Tris(2).GetPt(1)->GetPoint().z, 0.0);
    EXPECT_EQ(TriangulationInvariants(tris), "");
    EXPECT_THAT(m_warnings, ::testing::Contains(HasSubstr("mtllib,o,vt,g,usemtl,s")));
    EXPECT_THAT(m_warnings, ::testing::Contains(HasSubstr("1 faces of fewer than three corners")));

    // OFF with comments, counts on the keyword's line, a quad, colour values after a face.
    Write("quad.off",
          "OFF 5 2 0\n# corners\n0 0 0\n1 0 0\n\n1 1 0\n0 1 0\n2 2 2\n4 0 1 2 3\n3 1 4 2 255 0 0\n");
    ASSERT_TRUE(parser.ReadOFFFile(Path("quad.off"), &tris));
    EXPECT_EQ(tris.GetNumPts(), 5);
    EXPECT_EQ(tris.GetNumTris(), 3);
    EXPECT_EQ(parser.GetLastReport().nonManifoldEdges + parser.GetLastReport().orientationConflicts, 0);

    // Without faces: points; OBJ normals become the points' normals.
    Write("points.obj", "v 1 2 3\nvn 0 0 1\nv 4 5 6\nvn 0 1 0\n");
    CPointSet set;
    ASSERT_TRUE(FindPointFormat(Path("points.obj"))->read(Path("points.obj"), &set));
    ASSERT_EQ(set.GetNumPts(), 2);
    EXPECT_EQ(set.get_Sec(0).get_Pts(1).z, 6.0);
    ASSERT_TRUE(set.get_Sec(0).HasMetaData(CPtsData::nms));
    EXPECT_EQ(set.get_Sec(0).get_Nms(1).y, 1.0);
    EXPECT_FALSE(CObjOffParser::HoldsFaces(Path("points.obj")));
    EXPECT_TRUE(CObjOffParser::HoldsFaces(Path("cube.obj")));
    EXPECT_TRUE(CObjOffParser::HoldsFaces(Path("quad.off")));
}

TEST_F(ObjOffFiles, PointSetsRoundTrip) {
    CPointSet set(2, 3, CPtsData::nms);
    for (int s = 0; s < 2; ++s)
        for (int i = 0; i < 3; ++i) {
            set.get_Sec(s).set_Pts(i, CPoint3<double>(0.1 * i, 1.0 / 3 + s, -1e-300));
            set.get_Sec(s).set_Nms(i, CVector3<double>(0, 0.6, 0.8));
        }
    for (char const* name : {"set.obj", "set.off"}) {
        SCOPED_TRACE(name);
        SPointFormat const* format = FindPointFormat(Path(name));
        ASSERT_TRUE(format->write(Path(name), set, false, {}));
        CPointSet copy;
        ASSERT_TRUE(format->read(Path(name), &copy));
        ASSERT_EQ(copy.GetNumPts(), 6);
        EXPECT_EQ(copy.get_Sec(0).get_Pts(4).y, set.get_Sec(1).get_Pts(1).y);
        EXPECT_EQ(copy.get_Sec(0).get_Pts(4).z, -1e-300);
        EXPECT_EQ(copy.get_Sec(0).HasMetaData(CPtsData::nms), name == std::string("set.obj"));
        EXPECT_EQ(ReasonOf([&] { format->write(Path(name), set, true, {}); }), QEL_PARAMETER_OUT_OF_RANGE);
    }
}

TEST_F(ObjOffFiles, DamagedFilesSayWhatIsWrong) {
    struct SCase {
        char const* name;
        std::string bytes;
        char const* says;
    } const cases[] = {
        {"a.obj", "v 0 0 0\nv 1 0\n", "line 2: \"v\" without three numbers"},
        {"b.obj", "v 0 0 0\nf 1 2 3\n", "refers to vertex 2, but there are 1"},
        {"c.obj", "v 0 0 0\nf -2 1 1\n", "refers to no vertex"},
        {"d.obj", "v 0 0 0\nf 1 x 1\n", "a face corner \"x\""},
        {"e.off", "OFF\n2000000000 1 0\n0 0 0\n", "2e+09 vertices and 1 faces cannot fit"},
        {"f.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n", "refers to vertex 3, but there are 3"},
        {"g.off", "OFF\n3 1 0\n0.0 0.0 0.0\n1.0 0.0\n0.0 1.0 0.0\n3 0 1 2\n",
         "line 4: a vertex without three numbers"},
        {"h.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n9 0 1 2\n", "line 6: a face"},
        {"i.off", "PLY\n", "not an OFF file"},
        {"j.off", "OFF\n3 2 0\n0.0 0.0 0.0\n1.0 0.0 0.0\n0.0 1.0 0.0\n3 0 1 2\n",
         "the file ends before its faces do"},
    };
    for (SCase const& c : cases) {
        SCOPED_TRACE(c.name);
        Write(c.name, c.bytes);
        CTriangulation tris;
        CTriangulationParser parser;
        EXPECT_THAT(Message([&] { FindTriangleFormat(Path(c.name))->read(parser, Path(c.name), &tris); }),
                    HasSubstr(c.says));
        CPointSet set;
        EXPECT_EQ(ReasonOf([&] { FindPointFormat(Path(c.name))->read(Path(c.name), &set); }),
                  QEL_FILE_READ_ERROR);
        EXPECT_EQ(set.GetNumPts(), 0);
    }
    // Every cut of a file reads or is refused with reason 23.
    std::string const whole = "OFF\n4 2 0\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n3 0 1 2\n3 0 2 3\n";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Write("cut.off", whole.substr(0, length));
        CTriangulation tris;
        int const reason = ReasonOf([&] { CObjOffParser::ReadOFF(Path("cut.off"), &tris); });
        ASSERT_TRUE(reason == QEL_FILE_READ_ERROR || reason == -1) << length;
    }
}

// SPDX-License-Identifier: MIT
// ".xyz" and ".pts": round trips with their attributes, hand-written files
// with and without intensity and colours, and lines that are not points.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CPointSet.h"
#include "formats/CXyzPtsParser.h"
#include "test_helpers/FileFolderTest.h"
#include "test_helpers/ReasonOf.h"

using namespace QEL::Core;
using ::testing::HasSubstr;

namespace {

using XyzPtsFiles = QEL::Test::CFileFolderTest;

}  // namespace

TEST_F(XyzPtsFiles, RoundTripsKeepTheirAttributes) {
    CPointSet set(2, 4, CPtsData::nms | CPtsData::err | CPtsData::col);
    for (int s = 0; s < 2; ++s)
        for (int i = 0; i < 4; ++i) {
            set.get_Sec(s).set_Pts(i, CPoint3<double>(0.1 * i, 1.0 / 3 + s, -2.5e-7));
            set.get_Sec(s).set_Nms(i, CVector3<double>(0, 0.6, 0.8));
            set.get_Sec(s).set_Err(i, 0.125 * i);
            set.get_Sec(s).set_Col(i, CPoint3<double>(1, 0, 51 / 255.0));
        }
    SPointFileOptions exact;
    exact.significantDigits = 17;
    ASSERT_TRUE(CXyzPtsParser::WriteXYZ(Path("a.xyz"), set, false, exact));
    ASSERT_TRUE(CXyzPtsParser::WriteXYZ(Path("a.xyz"), set, true, exact));
    ASSERT_TRUE(CXyzPtsParser::WritePTS(Path("a.pts"), set, false, exact));
    EXPECT_EQ(ReasonOf([&] { CXyzPtsParser::WritePTS(Path("a.pts"), set, true, exact); }),
              QEL_PARAMETER_OUT_OF_RANGE);
    CPointSet xyz, pts;
    ASSERT_TRUE(CXyzPtsParser::ReadXYZ(Path("a.xyz"), &xyz));
    ASSERT_TRUE(CXyzPtsParser::ReadPTS(Path("a.pts"), &pts));
    ASSERT_EQ(xyz.GetNumPts(), 16);
    ASSERT_EQ(pts.GetNumPts(), 8);
    EXPECT_EQ(xyz.get_Sec(0).get_Pts(13).y, set.get_Sec(1).get_Pts(1).y);
    EXPECT_EQ(xyz.get_Sec(0).get_Nms(13).z, 0.8);
    EXPECT_FALSE(xyz.get_Sec(0).HasMetaData(CPtsData::err));
    EXPECT_EQ(pts.get_Sec(0).get_Pts(5).x, set.get_Sec(1).get_Pts(1).x);
    EXPECT_EQ(pts.get_Sec(0).get_Err(7), 0.375);
    EXPECT_EQ(pts.get_Sec(0).get_Col(6).z, 0.2);
    EXPECT_FALSE(pts.get_Sec(0).HasMetaData(CPtsData::nms));
    EXPECT_TRUE(m_warnings.empty());
}

TEST_F(XyzPtsFiles, HandWrittenVariants) {
    // PTS without colours, with a count that lies, a comment and a short line.
    Write("plain.pts", "5\n1 2 3 -1200\n4 5 6 30\n# scanner\n7 8\n");
    CPointSet plain;
    ASSERT_TRUE(CXyzPtsParser::ReadPTS(Path("plain.pts"), &plain));
    ASSERT_EQ(plain.GetNumPts(), 2);
    EXPECT_EQ(plain.get_Sec(0).get_Err(0), -1200.0);
    EXPECT_FALSE(plain.get_Sec(0).HasMetaData(CPtsData::col));
    EXPECT_THAT(m_warnings, ::testing::Contains(HasSubstr("announces 5 points, but 2 were read")));
    EXPECT_THAT(m_warnings, ::testing::Contains(HasSubstr("2 lines without three numbers")));
    // PTS with colours, with and without intensity, in CRLF lines.
    Write("colour.pts", "2\r\n1 2 3 255 0 51\r\n4 5 6 -7 0 255 0\r\n");
    CPointSet colour;
    ASSERT_TRUE(CXyzPtsParser::ReadPTS(Path("colour.pts"), &colour));
    ASSERT_EQ(colour.GetNumPts(), 2);
    EXPECT_EQ(colour.get_Sec(0).get_Col(0).z, 0.2);
    EXPECT_EQ(colour.get_Sec(0).get_Col(1).y, 1.0);
    EXPECT_EQ(colour.get_Sec(0).get_Err(1), -7.0);
    // XYZ: normals from the first six-number line on; each file its own section.
    Write("n.xyz", "1 2 3\n4 5 6 0 0 1\n");
    ASSERT_TRUE(CXyzPtsParser::ReadXYZ(Path("n.xyz"), &colour));
    ASSERT_EQ(colour.GetNumSec(), 2);
    EXPECT_EQ(colour.get_Sec(1).get_Nms(1).z, 1.0);
    EXPECT_EQ(colour.get_Sec(1).get_Nms(0).z, 0.0);
    EXPECT_FALSE(CXyzPtsParser::ReadXYZ(Path("missing.xyz"), &colour));
}
